// udm rm, restore, relate and classify: deletion, relations and categories.

#include <iostream>

#include "Editing.h"
#include "Failure.h"
#include "Output.h"
#include "Tool.h"

namespace udm {

namespace {

const char* const kCategoryClass = "Categories";

struct RecordArguments {
  std::string item;
  std::string other;
  std::string type = "UDMRelGeneral";
};

void Remove(const Options& options, const RecordArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  const std::string path = names.PathOf(item);
  repository.profile().DeleteRootEntity(item, false, false);
  Output(options.json).Print({{"id", item.GetUID().str()}, {"path", path}},
                             [&](std::ostream& out) { out << "Deleted " << path << "\n"; });
}

void Restore(const Options& options, const RecordArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  const vqkudm::UDMItemHandle item = names.ResolveDeleted(arguments.item);
  repository.profile().UnDeleteEntity(item);
  nlohmann::json document = ItemJson(item);
  document["path"] = names.PathOf(item);
  Output(options.json).Print(document, [&](std::ostream& out) {
    out << "Restored " << document["path"].get<std::string>() << "\n";
  });
}

void Relate(const Options& options, const RecordArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  vqkudm::UDMItemHandle left = names.Resolve(arguments.item);
  vqkudm::UDMItemHandle right = names.Resolve(arguments.other);
  RequireEditable(names, left, "relate");
  const vqkudm::UDMRelationHandle relation = repository.profile().CreateRelation(left, right, arguments.type, false);
  repository.profile().Save(left, "", false);
  const nlohmann::json document = {{"id", relation.GetUID().str()},
                                   {"type", relation.GetCdef().str()},
                                   {"left", ItemJson(left)},
                                   {"right", ItemJson(right)}};
  Output(options.json).Print(document, [&](std::ostream& out) {
    out << "Related " << names.PathOf(left) << " to " << names.PathOf(right) << " (" << arguments.type << ")\n";
  });
}

void Classify(const Options& options, const RecordArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  vqkudm::UDMItemHandle category = names.Resolve(arguments.other);
  if (category.GetCdef() != kCategoryClass) {
    Refuse("classify", "\"" + names.PathOf(category) + "\" is a " + category.GetCdef() + ", not a category",
           vqkudm::ExcSubGeneral);
  }
  RequireEditable(names, item, "classify");
  repository.profile().AddClassification(item, category);
  repository.profile().Save(item, "", false);
  nlohmann::json document = ItemJson(item);
  document["category"] = ItemJson(category);
  Output(options.json).Print(document, [&](std::ostream& out) {
    out << "Classified " << names.PathOf(item) << " under " << names.PathOf(category) << "\n";
  });
}

}  // namespace

void AddRecordCommands(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<RecordArguments>();
  const Options& options = tool.options;
  CLI::App* rm = tool.Add(app, "rm", "Deletes an item; `udm restore` brings it back.\nExample: udm rm bracket",
                          [&options, arguments] { Remove(options, *arguments); });
  rm->add_option("ITEM", arguments->item, "the item")->required();

  CLI::App* restore = tool.Add(app, "restore", "Brings a deleted item back.\nExample: udm restore bracket",
                               [&options, arguments] { Restore(options, *arguments); });
  restore->add_option("ITEM", arguments->item, "the deleted item's name or identifier")->required();

  CLI::App* relate = tool.Add(app, "relate",
                              "Relates a checked-out or new LEFT item to RIGHT.\n"
                              "Example: udm relate bracket drawing --type UDMRelTraceability",
                              [&options, arguments] { Relate(options, *arguments); });
  relate->add_option("LEFT", arguments->item, "the relation's left end")->required();
  relate->add_option("RIGHT", arguments->other, "the relation's right end")->required();
  relate->add_option("--type", arguments->type, "the relation definition")->capture_default_str();

  CLI::App* classify = tool.Add(app, "classify",
                                "Classifies a checked-out or new item under a category (an item of the "
                                "Categories class).\nExample: udm classify bracket fasteners",
                                [&options, arguments] { Classify(options, *arguments); });
  classify->add_option("ITEM", arguments->item, "the item")->required();
  classify->add_option("CATEGORY", arguments->other, "the category")->required();
}

}  // namespace udm
