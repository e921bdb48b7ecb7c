// udm checkout, checkin, undo, status: the check-out lifecycle across processes.

#include <iostream>

#include <vqkudmrt/UDMContentDefinition.h>

#include "Failure.h"
#include "ItemNames.h"
#include "Output.h"
#include "Tool.h"

namespace udm {

namespace {

struct LifecycleArguments {
  std::string item;
  std::string message;
  bool recursive = false;
};

// An older revision can only be checked out as the start of a branch, which
// the item's definition must allow.
bool StartsBranch(vqkudm::IUDMProfile& profile, const ItemNames& names, const vqkudm::UDMItemHandle& item) {
  const auto entity = item.GetEntityHandlePtr();
  if (!entity || entity->IsLatestVersion()) return false;
  const auto definition = profile.GetProfileUtils().GetContentDefinition(entity->GetCdef());
  if (definition && definition->CanBranch()) return true;
  Refuse("checkout",
         "\"" + names.PathOf(item) + "\" is revision " + std::to_string(entity->GetRevision()) + " and " +
             entity->GetCdef().str() + " items do not branch: check out the latest, revision " +
             std::to_string(entity->GetLatestRevision()),
         vqkudm::ExcSubGeneral);
}

void Checkout(const Options& options, const LifecycleArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  if (item.IsEditable()) {
    Refuse("checkout", "\"" + names.PathOf(item) + "\" is checked out to you already", vqkudm::ExcSubConflict);
  }
  const bool branch = StartsBranch(repository.profile(), names, item);
  repository.profile().Checkout(item, arguments.message);
  // A draft is what lets the next process take the check-out up again.
  repository.profile().Save(item, arguments.message, false);
  Output(options.json).Print(ItemJson(item), [&](std::ostream& out) {
    out << "Checked out " << names.PathOf(item) << " (" << item.GetUID() << ")"
        << (branch ? ", starting a branch from revision " + std::to_string(item.GetRevision()) : "") << "\n";
  });
}

void Checkin(const Options& options, const LifecycleArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  repository.profile().Persist(item, arguments.message, false, arguments.recursive, false);
  Output(options.json).Print(ItemJson(item), [&](std::ostream& out) {
    out << "Checked in " << names.PathOf(item) << " as " << item.GetUID() << "\n";
  });
}

void Undo(const Options& options, const LifecycleArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  const std::string path = names.PathOf(item);
  const std::string id = item.GetUID();
  repository.profile().UndoCheckout(item);
  Output(options.json).Print({{"id", id}, {"path", path}},
                             [&](std::ostream& out) { out << "Undid the check-out of " << path << "\n"; });
}

void Status(const Options& options) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  nlohmann::json items = nlohmann::json::array();
  for (const vqkudm::UDMResumedWork& work : repository.work()) {
    nlohmann::json entry = ItemJson(work.item);
    entry["path"] = names.PathOf(work.item);
    entry["state"] = work.isNew ? "new" : "checked out";
    entry["modified"] = work.modified;
    items.push_back(entry);
  }
  Output(options.json).Print({{"items", items}}, [&](std::ostream& out) {
    if (items.empty()) out << "Nothing checked out.\n";
    for (const nlohmann::json& entry : items) {
      out << (entry["state"] == "new" ? "new         " : "checked out ") << (entry["modified"].get<bool>() ? "M " : "  ")
          << entry["path"].get<std::string>() << "  " << entry["id"].get<std::string>() << "\n";
    }
  });
}

}  // namespace

void AddLifecycleCommands(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<LifecycleArguments>();
  const Options& options = tool.options;
  CLI::App* checkout = tool.Add(app, "checkout", "Checks an item out to you.\nExample: udm checkout bracket -m \"new hole\"",
                                [&options, arguments] { Checkout(options, *arguments); });
  checkout->add_option("ITEM", arguments->item, "the item")->required();
  checkout->add_option("-m,--message", arguments->message, "why");

  CLI::App* checkin = tool.Add(app, "checkin",
                               "Checks an item in as its next revision; --recursive takes the new and checked-out "
                               "items below along.\nExample: udm checkin assembly -m \"first release\" --recursive",
                               [&options, arguments] { Checkin(options, *arguments); });
  checkin->add_option("ITEM", arguments->item, "the item")->required();
  checkin->add_option("-m,--message", arguments->message, "the revision's comment")->required();
  checkin->add_flag("--recursive", arguments->recursive, "check in the new and checked-out items below too");

  CLI::App* undo = tool.Add(app, "undo",
                            "Drops the changes and the check-out of an item; a new item is discarded.\n"
                            "Example: udm undo bracket",
                            [&options, arguments] { Undo(options, *arguments); });
  undo->add_option("ITEM", arguments->item, "the item")->required();

  tool.Add(app, "status", "Lists what you hold checked out or new; M marks changes.\nExample: udm status --json",
           [&options] { Status(options); });
}

}  // namespace udm
