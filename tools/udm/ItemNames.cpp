#include "ItemNames.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>

#include "Failure.h"

namespace udm {

namespace {

bool AllOf(const std::string& text, int (*test)(int)) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [test](unsigned char c) { return test(c); });
}

bool IsDmid(const std::string& text) {
  return text.size() == kDmidLength && vqkudm::UDMUID(text + "0").IsValid();
}

std::string DmidOf(const vqkudm::UDMItemHandle& item) { return item.GetUID().substr(0, kDmidLength); }

[[noreturn]] void NotFound(const std::string& text) {
  Refuse("", "no item \"" + text + "\"", vqkudm::ExcSubNotFound);
}

}  // namespace

boost::shared_ptr<vqkudm::UDMCoreEntityHandle> Core(const vqkudm::UDMItemHandle& item) {
  return boost::dynamic_pointer_cast<vqkudm::UDMCoreEntityHandle>(item.GetEntityHandlePtr());
}

std::string QueryLiteral(const std::string& text) {
  std::string literal = "'";
  for (char c : text) literal += c == '\'' ? std::string("''") : std::string(1, c);
  return literal + "'";
}

vqkudm::UDMItemHandle ItemNames::Resolve(const std::string& text) const {
  const std::size_t at = text.rfind('@');
  if (at == std::string::npos || !AllOf(text.substr(at + 1), ::isdigit)) return ResolveLatest(text);
  const vqkudm::UDMItemHandle item = ResolveLatest(text.substr(0, at));
  const std::string revision = text.substr(at + 1);
  int number = 0;
  if (!vqString(revision).ToInt(number) || number > item.GetLatestRevision() || revision != std::to_string(number)) {
    Refuse("", "\"" + text.substr(0, at) + "\" has no stored revision " + revision, vqkudm::ExcSubNotFound);
  }
  return m_repository.profile().GetUDMItemHandle(DmidOf(item) + revision);
}

vqkudm::UDMItemHandle ItemNames::ResolveDeleted(const std::string& text) const {
  vqStlVector<vqkudm::UDMItemHandle> deleted;
  m_repository.profile().GetDeletedContents(deleted);
  for (const vqkudm::UDMItemHandle& item : deleted) {
    if (item.GetUID() == text || DmidOf(item) == text) return item;
  }
  for (const vqkudm::UDMItemHandle& item : deleted) {
    if (item.GetDisplayName() == text) return Unique(text, &deleted);
  }
  Refuse("", "no deleted item \"" + text + "\"", vqkudm::ExcSubNotFound);
}

vqkudm::UDMItemHandle ItemNames::ResolveLatest(const std::string& text) const {
  if (text.empty()) Refuse("", "an item name is empty", vqkudm::ExcSubEmpty);
  if (IsDmid(text)) return ByDmid(text);
  if (vqkudm::UDMUID(text).IsValid()) {
    try {
      return m_repository.profile().GetUDMItemHandle(text);
    } catch (const vqkudm::UDMException&) {
      NotFound(text);
    }
  }
  if (text.find('/') != std::string::npos) return ByPath(text);
  return Unique(text, nullptr);
}

vqkudm::UDMItemHandle ItemNames::ByDmid(const std::string& dmid) const {
  for (const vqkudm::UDMResumedWork& work : m_repository.work()) {
    if (DmidOf(work.item) == dmid) return work.item;
  }
  vqStlVector<vqkudm::UDMItemHandle> found;
  m_repository.profile().QueryEntities(found, "uid like " + QueryLiteral(dmid + "*"),
                                        vqkudm::UDMQuerySettingHandle(), false, false);
  if (found.empty()) NotFound(dmid);
  return found.front();
}

vqkudm::UDMItemHandle ItemNames::ByPath(const std::string& path) const {
  vqStlVector<vqkudm::UDMItemHandle> scope = Roots();
  vqkudm::UDMItemHandle item;
  std::size_t start = 0;
  while (start <= path.size()) {
    const std::size_t slash = std::min(path.find('/', start), path.size());
    const std::string name = path.substr(start, slash - start);
    if (!name.empty()) {
      item = Unique(name, &scope);
      scope.clear();
      vqStlVector<vqkudm::UDMUseInfo> uses;
      Core(item)->GetUses(uses, "");
      for (const vqkudm::UDMUseInfo& use : uses) {
        scope.push_back(m_repository.profile().GetUDMItemHandle(use.child->GetUID(true)));
      }
    }
    start = slash + 1;
  }
  if (item.IsEmpty()) NotFound(path);
  return item;
}

vqkudm::UDMItemHandle ItemNames::Unique(const std::string& name,
                                        const vqStlVector<vqkudm::UDMItemHandle>* scope) const {
  vqStlVector<vqkudm::UDMItemHandle> candidates;
  std::set<std::string> seen;
  for (const vqkudm::UDMItemHandle& item : scope ? *scope : Named(name)) {
    if (item.GetDisplayName() == name && seen.insert(DmidOf(item)).second) candidates.push_back(item);
  }
  if (candidates.empty()) NotFound(name);
  if (candidates.size() > 1) {
    std::string paths;
    for (const vqkudm::UDMItemHandle& candidate : candidates) {
      paths += (paths.empty() ? "" : ", ") + PathOf(candidate) + " (" + candidate.GetUID() + ")";
    }
    Refuse("", "\"" + name + "\" names several items: " + paths, vqkudm::ExcSubConflict);
  }
  return candidates.front();
}

vqStlVector<vqkudm::UDMItemHandle> ItemNames::Named(const std::string& name) const {
  vqStlVector<vqkudm::UDMItemHandle> found;
  // The user's own work first: new items are in no query, and an edited
  // one may have been renamed.
  for (const vqkudm::UDMResumedWork& work : m_repository.work()) found.push_back(work.item);
  m_repository.profile().QueryEntities(found, "name = " + QueryLiteral(name), vqkudm::UDMQuerySettingHandle(),
                                        false, false);
  return found;
}

std::string ItemNames::PathOf(const vqkudm::UDMItemHandle& item) const {
  // Climb to a root or to an ancestor whose path is known, then remember the
  // ancestors' paths: listings name many items under the same parents.
  std::vector<std::pair<std::string, std::string>> chain;  // (dmid, name), item first
  std::string prefix;
  boost::shared_ptr<vqkudm::IUDMEntityHandle> entity = item.GetEntityHandlePtr();
  std::string name = item.GetDisplayName();
  for (int depth = 0; depth < kMaxDepth; ++depth) {
    const std::string dmid = entity->GetUID(true).substr(0, kDmidLength);
    if (auto known = m_paths.find(dmid); known != m_paths.end()) {
      prefix = known->second;
      break;
    }
    chain.emplace_back(dmid, name);
    vqStlVector<boost::shared_ptr<vqkudm::IUDMEntityHandle>> parents;
    boost::dynamic_pointer_cast<vqkudm::UDMCoreEntityHandle>(entity)->GetParents(parents, 1, false);
    if (parents.empty()) break;
    entity = parents.front();
    name = m_repository.profile().GetUDMItemHandle(entity->GetUID(true)).GetDisplayName();
  }
  for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
    prefix = prefix.empty() ? link->second : prefix + "/" + link->second;
    // The item itself may be an older revision under another name.
    if (std::next(link) != chain.rend()) m_paths.emplace(link->first, prefix);
  }
  return prefix;
}

vqStlVector<vqkudm::UDMItemHandle> ItemNames::Roots() const {
  vqStlVector<vqkudm::UDMItemHandle> roots;
  for (const vqkudm::UDMResumedWork& work : m_repository.work()) {
    vqStlVector<boost::shared_ptr<vqkudm::IUDMEntityHandle>> parents;
    if (work.isNew) Core(work.item)->GetParents(parents, 1, false);
    if (work.isNew && parents.empty()) roots.push_back(work.item);
  }
  vqkudm::UDMProfileExtensions::RootItems(m_repository.pointer(), roots);
  return roots;
}

}  // namespace udm
