#include "ItemDiff.h"

#include <functional>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "ItemNames.h"
#include "ItemParts.h"
#include "Output.h"

namespace udm {

namespace {


std::string Dmid(const nlohmann::json& item) { return item["id"].get<std::string>().substr(0, kDmidLength); }

nlohmann::json SideJson(const DiffSide& side, const std::string& path) {
  if (!side.profile) return nullptr;
  nlohmann::json out = ItemJson(side.item);
  out["path"] = path;
  out["workingCopy"] = side.workingCopy;
  return out;
}

struct Parts {
  nlohmann::json uses = nlohmann::json::array(), files = nlohmann::json::array(),
                 relations = nlohmann::json::array(), classifications = nlohmann::json::array();
};

Parts Read(const DiffSide& side) {
  Parts parts;
  if (!side.profile) return parts;
  vqkudm::UDMItemHandle item = side.item;
  parts.uses = UsesJson(*side.profile, item);
  parts.files = FilesJson(*side.profile, item);
  parts.relations = RelationsJson(*side.profile, item);
  parts.classifications = ClassificationsJson(*side.profile, item);
  return parts;
}

std::vector<AttributeChange> UseAttributeChanges(const nlohmann::json& before, const nlohmann::json& after) {
  std::vector<AttributeChange> changes;
  for (const auto& [name, value] : after.items()) {
    const nlohmann::json old = before.contains(name) ? before[name] : nlohmann::json();
    if (old != value) changes.push_back({name, old, value});
  }
  for (const auto& [name, value] : before.items()) {
    if (!after.contains(name) && !value.is_null()) changes.push_back({name, value, nullptr});
  }
  return changes;
}

// Pairs of (before, after) indexes of the same use: by use id, which a use
// keeps in every revision of its parent; what is left (another item's uses,
// a child unlinked and linked again) by child and group, in order.
std::vector<std::pair<std::size_t, std::size_t>> MatchUses(const nlohmann::json& before, const nlohmann::json& after) {
  std::vector<std::pair<std::size_t, std::size_t>> pairs;
  std::vector<bool> taken(before.size(), false), matched(after.size(), false);
  std::map<std::string, std::size_t> byId;
  for (std::size_t i = 0; i < before.size(); ++i) byId.emplace(before[i]["use"].get<std::string>(), i);
  for (std::size_t j = 0; j < after.size(); ++j) {
    auto found = byId.find(after[j]["use"].get<std::string>());
    if (found == byId.end() || taken[found->second]) continue;
    taken[found->second] = matched[j] = true;
    pairs.emplace_back(found->second, j);
  }
  for (std::size_t j = 0; j < after.size(); ++j) {
    if (matched[j]) continue;
    for (std::size_t i = 0; i < before.size(); ++i) {
      if (taken[i] || Dmid(before[i]) != Dmid(after[j]) || before[i]["group"] != after[j]["group"]) continue;
      taken[i] = matched[j] = true;
      pairs.emplace_back(i, j);
      break;
    }
  }
  return pairs;
}

// A relation as seen from the item, whichever revision its ends are at:
// type, direction and the other end.
std::string RelationKey(const nlohmann::json& relation, const std::string& ownDmid) {
  const bool outgoing = Dmid(relation["left"]) == ownDmid;
  return relation["type"].get<std::string>() + (outgoing ? ">" : "<") + Dmid(relation[outgoing ? "right" : "left"]);
}

using KeyOf = std::function<std::string(const nlohmann::json&)>;

// The entries of `after` whose key is not among `before`'s, and the reverse.
void AddedAndRemoved(const nlohmann::json& before, const nlohmann::json& after, const KeyOf& beforeKey,
                     const KeyOf& afterKey, nlohmann::json& added, nlohmann::json& removed) {
  std::set<std::string> old, current;
  for (const nlohmann::json& entry : before) old.insert(beforeKey(entry));
  for (const nlohmann::json& entry : after) current.insert(afterKey(entry));
  for (const nlohmann::json& entry : after) {
    if (!old.count(afterKey(entry))) added.push_back(entry);
  }
  for (const nlohmann::json& entry : before) {
    if (!current.count(beforeKey(entry))) removed.push_back(entry);
  }
}

void CompareFiles(const nlohmann::json& before, const nlohmann::json& after, ItemDifferences& out) {
  std::map<std::string, nlohmann::json> old;
  for (const nlohmann::json& file : before) old.emplace(file["name"].get<std::string>(), file);
  for (const nlohmann::json& file : after) {
    const std::string name = file["name"];
    auto found = old.find(name);
    if (found == old.end()) {
      out.filesAdded.push_back(file);
      continue;
    }
    if (found->second["contentKey"] != file["contentKey"] || found->second["size"] != file["size"]) {
      out.filesChanged.push_back({name, found->second, file});
    }
    old.erase(found);
  }
  for (const nlohmann::json& file : before) {
    if (old.count(file["name"].get<std::string>())) out.filesRemoved.push_back(file);
  }
}

std::vector<AttributeChange> Attributes(const DiffSide& before, const DiffSide& after) {
  if (before.profile && after.profile) return AttributeChanges(*after.profile, before.item, after.item);
  std::vector<AttributeChange> changes;
  const DiffSide& present = before.profile ? before : after;
  if (!present.profile) return changes;
  for (const nlohmann::json& attribute : AttributesJson(*present.profile, present.item)) {
    if (attribute["value"].is_null()) continue;
    if (before.profile) {
      changes.push_back({attribute["name"], attribute["value"], nullptr});
    } else {
      changes.push_back({attribute["name"], nullptr, attribute["value"]});
    }
  }
  return changes;
}

class Walk {
 public:
  Walk(bool recursive, std::vector<ItemDifferences>& out) : m_recursive(recursive), m_out(out) {}

  void Compare(const DiffSide& before, const DiffSide& after, const std::string& path, const std::string& beforePath,
               int depth) {
    ItemDifferences differences;
    differences.path = path;
    differences.beforePath = beforePath;
    differences.before = SideJson(before, beforePath);
    differences.after = SideJson(after, path);
    differences.attributes = Attributes(before, after);
    const Parts old = Read(before), current = Read(after);

    const auto pairs = MatchUses(old.uses, current.uses);
    std::vector<bool> oldMatched(old.uses.size(), false), currentMatched(current.uses.size(), false);
    for (const auto& [i, j] : pairs) {
      oldMatched[i] = currentMatched[j] = true;
      auto changes = UseAttributeChanges(old.uses[i]["attributes"], current.uses[j]["attributes"]);
      if (!changes.empty()) differences.usesChanged.push_back({current.uses[j], std::move(changes)});
    }
    for (std::size_t i = 0; i < old.uses.size(); ++i) {
      if (!oldMatched[i]) differences.usesRemoved.push_back(old.uses[i]);
    }
    for (std::size_t j = 0; j < current.uses.size(); ++j) {
      if (!currentMatched[j]) differences.usesAdded.push_back(current.uses[j]);
    }

    CompareFiles(old.files, current.files, differences);

    const std::string oldDmid = before.profile ? before.item.GetUID().substr(0, kDmidLength) : "";
    const std::string currentDmid = after.profile ? after.item.GetUID().substr(0, kDmidLength) : "";
    AddedAndRemoved(
        old.relations, current.relations, [&](const nlohmann::json& r) { return RelationKey(r, oldDmid); },
        [&](const nlohmann::json& r) { return RelationKey(r, currentDmid); }, differences.relationsAdded,
        differences.relationsRemoved);
    const KeyOf category = [](const nlohmann::json& c) { return Dmid(c); };
    AddedAndRemoved(old.classifications, current.classifications, category, category, differences.classificationsAdded,
                    differences.classificationsRemoved);

    if (depth == 0 || !differences.Empty()) m_out.push_back(std::move(differences));
    if (!m_recursive || depth >= kMaxDepth) return;
    for (const auto& [i, j] : pairs) {
      DiffSide childBefore{before.profile, before.profile->GetUDMItemHandle(old.uses[i]["id"].get<std::string>()), false};
      DiffSide childAfter{after.profile, after.profile->GetUDMItemHandle(current.uses[j]["id"].get<std::string>()), false};
      childBefore.workingCopy = childBefore.item.IsEditable();
      childAfter.workingCopy = childAfter.item.IsEditable();
      // One session's same revision is the same state all the way down.
      if (before.profile == after.profile && childBefore.item.GetUID() == childAfter.item.GetUID()) continue;
      if (!m_seen.emplace(childBefore.profile, childBefore.item.GetUID().str(), childAfter.profile,
                          childAfter.item.GetUID().str())
               .second) {
        continue;
      }
      Compare(childBefore, childAfter, path + "/" + current.uses[j]["name"].get<std::string>(),
              beforePath + "/" + old.uses[i]["name"].get<std::string>(), depth + 1);
    }
  }

 private:
  bool m_recursive;
  std::vector<ItemDifferences>& m_out;
  // The pairs of states compared, each state by its session and revision.
  std::set<std::tuple<const vqkudm::IUDMProfile*, std::string, const vqkudm::IUDMProfile*, std::string>> m_seen;
};

}  // namespace

bool ItemDifferences::Empty() const {
  return attributes.empty() && usesAdded.empty() && usesRemoved.empty() && usesChanged.empty() && filesAdded.empty() &&
         filesRemoved.empty() && filesChanged.empty() && relationsAdded.empty() && relationsRemoved.empty() &&
         classificationsAdded.empty() && classificationsRemoved.empty();
}

std::vector<ItemDifferences> CompareItems(const DiffSide& before, const DiffSide& after, const std::string& path,
                                          const std::string& beforePath, bool recursive) {
  std::vector<ItemDifferences> out;
  // Children exist on both sides only when both sides do.
  Walk(recursive && before.profile && after.profile, out).Compare(before, after, path, beforePath, 0);
  return out;
}

}  // namespace udm
