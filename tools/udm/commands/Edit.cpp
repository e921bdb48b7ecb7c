// udm new and udm set: changes saved as drafts, so the next udm process
// finds them checked out to the user.

#include <iostream>

#include "Editing.h"
#include "Output.h"
#include "Tool.h"

namespace udm {

namespace {

struct EditArguments {
  std::string cls;
  std::string name;
  std::string under;
  std::string group;
  std::string item;
  std::vector<std::string> assignments;
};

void New(const Options& options, const EditArguments& arguments) {
  OpenRepository repository(options);
  vqkudm::IUDMProfile& profile = repository.profile();
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item;
  if (arguments.under.empty()) {
    item = profile.CreateEntity(arguments.cls, arguments.name);
    Assign(profile, item, arguments.assignments);
    profile.Save(item, "", false);
  } else {
    vqkudm::UDMItemHandle parent = names.Resolve(arguments.under);
    RequireEditable(names, parent, "new");
    const std::string group =
        arguments.group.empty() ? DefaultGroup(repository, parent, arguments.cls, "new") : arguments.group;
    item = profile.CreateAndAdd(arguments.cls, arguments.name, parent, group);
    Assign(profile, item, arguments.assignments);
    // The parent's draft carries the new use; saving it saves the child too.
    profile.Save(parent, "", true);
  }
  nlohmann::json document = ItemJson(item);
  document["path"] = names.PathOf(item);
  Output(options.json).Print(document, [&](std::ostream& out) { out << item.GetUID() << "\n"; });
}

void Set(const Options& options, const EditArguments& arguments) {
  OpenRepository repository(options);
  vqkudm::IUDMProfile& profile = repository.profile();
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  RequireEditable(names, item, "set");
  Assign(profile, item, arguments.assignments);
  profile.Save(item, "", false);
  Output(options.json).Print(ItemJson(item), [&](std::ostream& out) {
    out << "Saved " << names.PathOf(item) << " (" << item.GetUID() << ")\n";
  });
}

}  // namespace

void AddEditCommands(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<EditArguments>();
  const Options& options = tool.options;
  CLI::App* create = tool.Add(app, "new",
                              "Creates an item checked out to you and saves it as a draft; prints its id.\n"
                              "Example: udm new UDMPart bracket --under assembly --set material=steel",
                              [&options, arguments] { New(options, *arguments); });
  create->add_option("CLASS", arguments->cls, "the item's definition, e.g. UDMPart")->required();
  create->add_option("NAME", arguments->name, "the item's name")->required();
  create->add_option("--under", arguments->under, "a checked-out or new parent ITEM");
  create->add_option("--group", arguments->group, "the parent's child group (default: the first admitting CLASS)")
      ->needs("--under");
  create->add_option("--set", arguments->assignments, "attr=value, repeatable");

  CLI::App* set = tool.Add(app, "set",
                           "Sets attributes of a checked-out or new item and saves the draft.\n"
                           "Example: udm set assembly/bracket mass=0.25 material=steel",
                           [&options, arguments] { Set(options, *arguments); });
  set->add_option("ITEM", arguments->item, "the item")->required();
  set->add_option("ASSIGNMENTS", arguments->assignments, "attr=value ...")->required();
}

}  // namespace udm
