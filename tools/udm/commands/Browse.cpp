// udm ls and udm show: reading the structure and one item.

#include <iostream>

#include "Attributes.h"
#include "ItemNames.h"
#include "ItemParts.h"
#include "Output.h"
#include "Tool.h"

namespace udm {

namespace {

struct BrowseArguments {
  std::string item;
};

void List(const Options& options, const BrowseArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  nlohmann::json items = nlohmann::json::array();
  if (arguments.item.empty()) {
    for (const vqkudm::UDMItemHandle& root : names.Roots()) items.push_back(ItemJson(root));
  } else {
    items = UsesJson(repository.profile(), names.Resolve(arguments.item));
  }
  Output(options.json).Print({{"items", items}}, [&](std::ostream& out) {
    std::string group;
    for (const nlohmann::json& entry : items) {
      if (entry.contains("group") && entry["group"] != group) {
        group = entry["group"].get<std::string>();
        out << group << ":\n";
      }
      out << (group.empty() ? "" : "  ") << entry["name"].get<std::string>() << "  " << entry["class"].get<std::string>()
          << "  " << entry["id"].get<std::string>() << "\n";
    }
  });
}

nlohmann::json RevisionsJson(const OpenRepository& repository, const vqkudm::UDMItemHandle& item) {
  nlohmann::json out = nlohmann::json::array();
  if (repository.IsNew(item)) return out;
  const std::string dmid = item.GetUID().substr(0, 32);
  for (int revision = 0; revision <= item.GetLatestRevision(); ++revision) {
    const vqkudm::UDMItemHandle version = repository.profile().GetUDMItemHandle(dmid + std::to_string(revision));
    out.push_back({{"revision", revision},
                   {"id", version.GetUID().str()},
                   {"comment", version.GetAttributeValue("smd_comment").ToString().str()},
                   {"by", version.GetModifiedBy().ToString().str()},
                   {"time", version.GetModifiedTime().ToString().str()}});
  }
  return out;
}

void Show(const Options& options, const BrowseArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  nlohmann::json document = ItemJson(item);
  document["path"] = names.PathOf(item);
  document["checkedOut"] = item.IsEditable();
  document["attributes"] = AttributesJson(repository.profile(), item);
  document["files"] = FilesJson(repository.profile(), item);
  document["children"] = UsesJson(repository.profile(), item);
  document["relations"] = RelationsJson(repository.profile(), item);
  document["classifications"] = ClassificationsJson(repository.profile(), item);
  document["revisions"] = RevisionsJson(repository, item);
  Output(options.json).Print(document, [&](std::ostream& out) {
    out << document["path"].get<std::string>() << "  " << document["class"].get<std::string>() << "  "
        << document["id"].get<std::string>() << (item.IsEditable() ? "  (checked out)" : "") << "\n";
    for (const nlohmann::json& a : document["attributes"]) {
      if (!a["value"].is_null()) out << "  " << a["name"].get<std::string>() << " (" << a["type"].get<std::string>()
                                     << ") = " << (a["value"].is_string() ? a["value"].get<std::string>() : a["value"].dump()) << "\n";
    }
    for (const nlohmann::json& f : document["files"]) {
      out << "  file " << f["name"].get<std::string>() << "  " << f["size"].dump() << " bytes  "
          << f["contentKey"].get<std::string>() << "\n";
    }
    for (const nlohmann::json& c : document["children"]) {
      out << "  " << c["group"].get<std::string>() << ": " << c["name"].get<std::string>() << "  "
          << c["id"].get<std::string>() << "\n";
    }
    for (const nlohmann::json& r : document["relations"]) {
      out << "  " << r["type"].get<std::string>() << ": " << r["left"]["name"].get<std::string>() << " -> "
          << r["right"]["name"].get<std::string>() << "\n";
    }
    for (const nlohmann::json& c : document["classifications"]) {
      out << "  category " << c["name"].get<std::string>() << "  " << c["id"].get<std::string>() << "\n";
    }
    for (const nlohmann::json& r : document["revisions"]) {
      out << "  revision " << r["revision"].dump() << "  " << r["by"].get<std::string>() << "  "
          << r["time"].get<std::string>() << "  " << r["comment"].get<std::string>() << "\n";
    }
  });
}

}  // namespace

void AddBrowseCommands(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<BrowseArguments>();
  const Options& options = tool.options;
  CLI::App* ls = tool.Add(app, "ls", "Lists the root items, or an item's children by group.\nExample: udm ls assembly",
                          [&options, arguments] { List(options, *arguments); });
  ls->add_option("ITEM", arguments->item, "the item whose children to list");
  CLI::App* show = tool.Add(app, "show",
                            "Shows an item: attributes with their types, files, children, relations, categories and revisions.\n"
                            "Example: udm show assembly/bracket@0",
                            [&options, arguments] { Show(options, *arguments); });
  show->add_option("ITEM", arguments->item, "the item, ITEM@REV for a stored revision")->required();
}

}  // namespace udm
