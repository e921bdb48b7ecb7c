// udm link, unlink, tree and where-used: uses of children, with the use
// attributes of their group.

#include <fstream>
#include <iostream>

#include "Editing.h"
#include "Failure.h"
#include "Output.h"
#include "Tool.h"
#include "views/StructurePicture.h"

namespace udm {

namespace {

struct StructureArguments {
  std::string parent;
  std::string child;
  std::string group;
  std::vector<std::string> assignments;
  int depth = kMaxDepth;
  std::string svg;
  std::string html;
};

void Link(const Options& options, const StructureArguments& arguments) {
  OpenRepository repository(options);
  vqkudm::IUDMProfile& profile = repository.profile();
  const ItemNames names(repository);
  vqStlMap<vqString, vqVariant> attributes;
  for (const std::string& text : arguments.assignments) {
    const auto [name, value] = Assignment(text);
    attributes[name] = vqVariant(value);
  }
  vqkudm::UDMItemHandle parent = names.Resolve(arguments.parent);
  const vqkudm::UDMItemHandle child = names.Resolve(arguments.child);
  RequireEditable(names, parent, "link");
  const std::string group =
      arguments.group.empty() ? DefaultGroup(repository, parent, child.GetCdef(), "link") : arguments.group;
  const vqString use = Core(parent)->AddUse(Core(child), group, attributes);
  // A new child is saved along, as `udm new --under` does.
  profile.Save(parent, "", true);
  nlohmann::json document = ItemJson(child);
  document["parent"] = ItemJson(parent);
  document["group"] = group;
  document["use"] = use.str();
  Output(options.json).Print(document, [&](std::ostream& out) {
    out << "Linked " << names.PathOf(child) << " under " << names.PathOf(parent) << " (" << group << ")\n";
  });
}

void Unlink(const Options& options, const StructureArguments& arguments) {
  OpenRepository repository(options);
  vqkudm::IUDMProfile& profile = repository.profile();
  const ItemNames names(repository);
  vqkudm::UDMItemHandle parent = names.Resolve(arguments.parent);
  vqkudm::UDMItemHandle child = names.Resolve(arguments.child);
  RequireEditable(names, parent, "unlink");
  const std::string parentPath = names.PathOf(parent);
  profile.RemoveChildFromParent(parent, child);
  profile.Save(parent, "", false);
  nlohmann::json document = ItemJson(child);
  document["parent"] = ItemJson(parent);
  Output(options.json).Print(document, [&](std::ostream& out) {
    out << "Unlinked " << child.GetDisplayName() << " from " << parentPath << "\n";
  });
}

// The uses below `item`, `levels` deep, each with its own.
nlohmann::json Uses(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item, int levels) {
  nlohmann::json out = nlohmann::json::array();
  if (levels <= 0) return out;
  vqStlVector<vqkudm::UDMUseInfo> uses;
  Core(item)->GetUses(uses, "");
  for (const vqkudm::UDMUseInfo& use : uses) {
    nlohmann::json entry = UseJson(profile, use);
    const nlohmann::json& attributes = entry["attributes"];
    entry["quantity"] = attributes.contains("quantity") ? attributes["quantity"] : nlohmann::json(nullptr);
    entry["children"] = Uses(profile, profile.GetUDMItemHandle(use.child->GetUID(true)), levels - 1);
    out.push_back(entry);
  }
  return out;
}

void PrintTree(std::ostream& out, const nlohmann::json& uses, const std::string& indent) {
  for (const nlohmann::json& use : uses) {
    out << indent << use["name"].get<std::string>() << "  " << use["class"].get<std::string>();
    if (!use["quantity"].is_null()) out << "  x" << use["quantity"].dump();
    out << "  (" << use["group"].get<std::string>() << ")\n";
    PrintTree(out, use["children"], indent + "  ");
  }
}

// Each item's files by item id, for the pictures.
void CollectFiles(vqkudm::IUDMProfile& profile, const nlohmann::json& item, StructureView& view) {
  const std::string id = item["id"];
  if (view.files.count(id)) return;
  nlohmann::json& files = view.files[id] = nlohmann::json::array();
  vqStlVector<vqkudm::UDMGenericDocument> documents;
  profile.GetFileInfoList(profile.GetUDMItemHandle(id), documents, true);
  for (const vqkudm::UDMGenericDocument& document : documents) {
    if (!document.IsPreviewImage()) files.push_back({{"name", document.GetName().str()}, {"size", document.GetSize()}});
  }
  for (const nlohmann::json& use : item["children"]) CollectFiles(profile, use, view);
}

void WritePicture(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  out.close();
  if (!out) Refuse("tree", "cannot write " + path, vqkudm::ExcSubIo);
}

void Tree(const Options& options, const StructureArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  const vqkudm::UDMItemHandle item = names.Resolve(arguments.parent);
  nlohmann::json document = ItemJson(item);
  document["path"] = names.PathOf(item);
  document["children"] = Uses(repository.profile(), item, arguments.depth);
  if (arguments.svg.empty() && arguments.html.empty()) {
    Output(options.json).Print(document, [&](std::ostream& out) {
      out << document["path"].get<std::string>() << "  " << document["class"].get<std::string>() << "\n";
      PrintTree(out, document["children"], "  ");
    });
    return;
  }
  StructureView view{document, {}};
  CollectFiles(repository.profile(), document, view);
  const std::string picture = StructureSvg(view);
  nlohmann::json written = nlohmann::json::array();
  if (!arguments.svg.empty()) {
    WritePicture(arguments.svg, picture);
    written.push_back(arguments.svg);
  }
  if (!arguments.html.empty()) {
    WritePicture(arguments.html, StructureHtml(view, picture));
    written.push_back(arguments.html);
  }
  Output(options.json).Print({{"item", ItemJson(item)}, {"written", written}}, [&](std::ostream& out) {
    for (const nlohmann::json& path : written) out << "Wrote " << path.get<std::string>() << "\n";
  });
}

void WhereUsed(const Options& options, const StructureArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  const vqkudm::UDMItemHandle item = names.Resolve(arguments.parent);
  vqStlVector<vqkudm::UDMWhereUsedInfo> users;
  Core(item)->GetWhereUsed(users, 0);
  nlohmann::json items = nlohmann::json::array();
  for (const vqkudm::UDMWhereUsedInfo& user : users) {
    const vqkudm::UDMItemHandle parent = repository.profile().GetUDMItemHandle(user.parent->GetUID(true));
    nlohmann::json entry = ItemJson(parent);
    entry["path"] = names.PathOf(parent);
    entry["level"] = user.level;
    entry["group"] = user.group.str();
    entry["uses"] = user.uses;
    items.push_back(entry);
  }
  Output(options.json).Print({{"items", items}}, [&](std::ostream& out) {
    if (items.empty()) out << "No assembly uses " << names.PathOf(item) << ".\n";
    for (const nlohmann::json& entry : items) {
      out << "level " << entry["level"].dump() << "  " << entry["path"].get<std::string>() << "  "
          << entry["uses"].dump() << (entry["uses"] == 1 ? " use" : " uses") << "  (" << entry["group"].get<std::string>()
          << ")\n";
    }
  });
}

}  // namespace

void AddStructureCommands(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<StructureArguments>();
  const Options& options = tool.options;
  CLI::App* link = tool.Add(app, "link",
                            "Adds a use of CHILD to a checked-out or new PARENT, with use attributes.\n"
                            "Example: udm link assembly bolt --set quantity=4 --set findnumber=10",
                            [&options, arguments] { Link(options, *arguments); });
  link->add_option("PARENT", arguments->parent, "the using item")->required();
  link->add_option("CHILD", arguments->child, "the used item")->required();
  link->add_option("--group", arguments->group, "the parent's child group (default: the first admitting CHILD)");
  link->add_option("--set", arguments->assignments, "a use attribute, attr=value, repeatable");

  CLI::App* unlink = tool.Add(app, "unlink",
                              "Removes the last use of CHILD from a checked-out or new PARENT.\n"
                              "Example: udm unlink assembly bolt",
                              [&options, arguments] { Unlink(options, *arguments); });
  unlink->add_option("PARENT", arguments->parent, "the using item")->required();
  unlink->add_option("CHILD", arguments->child, "the used item")->required();

  CLI::App* tree = tool.Add(app, "tree",
                            "Shows the structure below an item, each use with its quantity.\n"
                            "Example: udm tree assembly --depth 2 --html assembly.html",
                            [&options, arguments] { Tree(options, *arguments); });
  tree->add_option("ITEM", arguments->parent, "the item")->required();
  tree->add_option("--depth", arguments->depth, "levels to show (default: all)")->check(CLI::PositiveNumber);
  tree->add_option("--svg", arguments->svg, "draw the structure as an SVG picture into FILE");
  tree->add_option("--html", arguments->html, "write a page with the picture and a foldable outline into FILE");

  CLI::App* whereUsed = tool.Add(app, "where-used",
                                 "Lists every assembly that uses an item, at every level, with its number of uses.\n"
                                 "Example: udm where-used bolt",
                                 [&options, arguments] { WhereUsed(options, *arguments); });
  whereUsed->add_option("ITEM", arguments->parent, "the used item")->required();
}

}  // namespace udm
