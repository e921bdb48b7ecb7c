// udm diff: what changed between two revisions of an item, a revision and
// the working copy, or two items; --recursive down the structure.

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <vqkudm/UDMProfileMgr.h>

#include "Failure.h"
#include "ItemDiff.h"
#include "ItemNames.h"
#include "Output.h"
#include "Tool.h"

namespace udm {

namespace {


struct DiffArguments {
  std::vector<std::string> items;
  bool recursive = false;
  bool exitCode = false;
};

DiffSide StoredSide(const StoredRevisions& stored, const std::string& uid) {
  vqkudm::IUDMProfile& profile = stored.profile();
  return {&profile, profile.GetUDMItemHandle(uid), false};
}

bool NamesRevision(const std::string& text) {
  const std::size_t at = text.rfind('@');
  if (at == std::string::npos || at + 1 == text.size()) return false;
  for (std::size_t i = at + 1; i < text.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

struct Sides {
  DiffSide before, after;
  std::string path, beforePath;
};

// One argument: the stored revision and the working copy of a checked-out
// item (nothing before a new one); else the revision and the one before it.
Sides OfOne(const OpenRepository& repository, const ItemNames& names, const StoredRevisions& stored, const std::string& text) {
  const vqkudm::UDMItemHandle item = names.Resolve(text);
  Sides sides;
  sides.path = sides.beforePath = names.PathOf(item);
  const vqkudm::UDMResumedWork* work = NamesRevision(text) ? nullptr : repository.WorkOf(item);
  if (work) {
    sides.after = {&repository.profile(), item, true};
    if (!work->isNew) sides.before = StoredSide(stored, item.GetUID());
    return sides;
  }
  sides.after = StoredSide(stored, item.GetUID());
  const int revision = sides.after.item.GetRevision();
  if (revision > 0) {
    sides.before = StoredSide(stored, item.GetUID().substr(0, kDmidLength) + std::to_string(revision - 1));
  }
  return sides;
}

// Of two arguments: a bare name (or id) of an item of the user's work is its
// working copy; everything else a stored revision.
DiffSide SideOf(const OpenRepository& repository, const StoredRevisions& stored, const vqkudm::UDMItemHandle& item,
                const std::string& text) {
  if (!NamesRevision(text) && text != item.GetUID().str() && repository.WorkOf(item)) {
    return {&repository.profile(), item, true};
  }
  return StoredSide(stored, item.GetUID());
}

std::string Text(const nlohmann::json& value) {
  if (value.is_null()) return "(none)";
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string Label(const nlohmann::json& side) {
  if (side.is_null()) return "(none)";
  const std::string path = side["path"];
  return side["workingCopy"].get<bool>() ? path + " (working copy)" : path + "@" + side["revision"].dump();
}

nlohmann::json ChangesJson(const std::vector<AttributeChange>& changes) {
  nlohmann::json out = nlohmann::json::array();
  for (const AttributeChange& change : changes) {
    out.push_back({{"name", change.name}, {"before", change.before}, {"after", change.after}});
  }
  return out;
}

nlohmann::json DifferencesJson(const ItemDifferences& differences) {
  nlohmann::json changedUses = nlohmann::json::array();
  for (const UseChange& change : differences.usesChanged) {
    nlohmann::json use = change.use;
    use["changes"] = ChangesJson(change.attributes);
    changedUses.push_back(use);
  }
  nlohmann::json changedFiles = nlohmann::json::array();
  for (const FileChange& change : differences.filesChanged) {
    changedFiles.push_back({{"name", change.name}, {"before", change.before}, {"after", change.after}});
  }
  return {{"path", differences.path},
          {"before", differences.before},
          {"after", differences.after},
          {"attributes", ChangesJson(differences.attributes)},
          {"uses", {{"added", differences.usesAdded}, {"removed", differences.usesRemoved}, {"changed", changedUses}}},
          {"files",
           {{"added", differences.filesAdded}, {"removed", differences.filesRemoved}, {"changed", changedFiles}}},
          {"relations", {{"added", differences.relationsAdded}, {"removed", differences.relationsRemoved}}},
          {"classifications",
           {{"added", differences.classificationsAdded}, {"removed", differences.classificationsRemoved}}}};
}

class Printer {
 public:
  Printer(std::ostream& out, bool colour) : m_out(out), m_colour(colour) {}

  void Item(const nlohmann::json& item) {
    m_out << Paint("\033[1m", "diff " + Label(item["before"]) + " " + Label(item["after"])) << "\n";
    for (const nlohmann::json& a : item["attributes"]) {
      const std::string name = a["name"];
      if (a["before"].is_null()) {
        Line('+', name + ": " + Text(a["after"]));
      } else if (a["after"].is_null()) {
        Line('-', name + ": " + Text(a["before"]));
      } else {
        Line('~', name + ": " + Text(a["before"]) + " -> " + Text(a["after"]));
      }
    }
    for (const nlohmann::json& use : item["uses"]["removed"]) Line('-', Use(use) + Attributes(use));
    for (const nlohmann::json& use : item["uses"]["added"]) Line('+', Use(use) + Attributes(use));
    for (const nlohmann::json& use : item["uses"]["changed"]) {
      std::string text;
      for (const nlohmann::json& c : use["changes"]) {
        text += (text.empty() ? ": " : ", ") + c["name"].get<std::string>() + " " + Text(c["before"]) + " -> " +
                Text(c["after"]);
      }
      Line('~', Use(use) + text);
    }
    for (const nlohmann::json& file : item["files"]["removed"]) Line('-', File(file));
    for (const nlohmann::json& file : item["files"]["added"]) Line('+', File(file));
    for (const nlohmann::json& change : item["files"]["changed"]) {
      const nlohmann::json &before = change["before"], &after = change["after"];
      Line('~', "file " + change["name"].get<std::string>() + "  " + before["size"].dump() + " -> " +
                    after["size"].dump() + " bytes  " + before["contentKey"].get<std::string>() + " -> " +
                    after["contentKey"].get<std::string>());
    }
    for (const nlohmann::json& r : item["relations"]["removed"]) Line('-', Relation(r));
    for (const nlohmann::json& r : item["relations"]["added"]) Line('+', Relation(r));
    for (const nlohmann::json& c : item["classifications"]["removed"]) Line('-', "category " + Text(c["name"]));
    for (const nlohmann::json& c : item["classifications"]["added"]) Line('+', "category " + Text(c["name"]));
  }

 private:
  static std::string Use(const nlohmann::json& use) {
    return "use " + use["name"].get<std::string>() + " (" + use["group"].get<std::string>() + ")";
  }
  static std::string Attributes(const nlohmann::json& use) {
    std::string text;
    for (const auto& [name, value] : use["attributes"].items()) text += " " + name + "=" + Text(value);
    return text;
  }
  static std::string File(const nlohmann::json& file) {
    return "file " + file["name"].get<std::string>() + "  " + file["size"].dump() + " bytes  " +
           file["contentKey"].get<std::string>();
  }
  static std::string Relation(const nlohmann::json& r) {
    return "relation " + r["type"].get<std::string>() + " " + Text(r["left"]["name"]) + " -> " +
           Text(r["right"]["name"]);
  }
  void Line(char marker, const std::string& text) {
    const char* colour = marker == '+' ? "\033[32m" : marker == '-' ? "\033[31m" : "\033[33m";
    m_out << Paint(colour, std::string(1, marker) + " " + text) << "\n";
  }
  std::string Paint(const char* colour, const std::string& text) const {
    return m_colour ? colour + text + "\033[0m" : text;
  }

  std::ostream& m_out;
  bool m_colour;
};

bool Colour() {
  const char* noColour = std::getenv("NO_COLOR");
  return isatty(fileno(stdout)) && !(noColour && *noColour);
}

// Whether anything differs.
bool Diff(const Options& options, const DiffArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  const StoredRevisions stored(options, repository);
  Sides sides;
  if (arguments.items.size() == 1) {
    sides = OfOne(repository, names, stored, arguments.items[0]);
  } else {
    const vqkudm::UDMItemHandle before = names.Resolve(arguments.items[0]);
    const vqkudm::UDMItemHandle after = names.Resolve(arguments.items[1]);
    sides.before = SideOf(repository, stored, before, arguments.items[0]);
    sides.after = SideOf(repository, stored, after, arguments.items[1]);
    sides.beforePath = names.PathOf(before);
    sides.path = names.PathOf(after);
  }
  const std::vector<ItemDifferences> found =
      CompareItems(sides.before, sides.after, sides.path, sides.beforePath, arguments.recursive);
  bool different = false;
  nlohmann::json items = nlohmann::json::array();
  for (const ItemDifferences& differences : found) {
    different = different || !differences.Empty();
    items.push_back(DifferencesJson(differences));
  }
  Output(options.json).Print({{"items", items}, {"different", different}}, [&](std::ostream& out) {
    Printer printer(out, Colour());
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (!found[i].Empty()) printer.Item(items[i]);
    }
  });
  return different;
}

}  // namespace

void AddDiffCommand(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<DiffArguments>();
  CLI::App* diff = tool.Add(
      app, "diff",
      "Shows what changed between two revisions of an item (default: the stored revision and your working copy, "
      "else the latest and the one before), or between two items.\n"
      "Example: udm diff assembly@0 assembly@2 --recursive",
      [&tool, arguments] {
        if (Diff(tool.options, *arguments) && arguments->exitCode) tool.status = 1;
      });
  diff->add_option("ITEM", arguments->items, "the item, ITEM@REV for a stored revision; a second ITEM to compare with")
      ->required()
      ->expected(1, 2);
  diff->add_flag("--recursive", arguments->recursive, "also each child both sides use, down the structure");
  diff->add_flag("--exit-code", arguments->exitCode, "exit with 1 when there are differences, 0 when none");
}

}  // namespace udm
