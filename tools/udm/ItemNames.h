#pragma once

// ITEM arguments: an identifier (a revision's, or the 32-hex-digit id for
// its latest revision), a unique name, or a path of names from a root
// ("assembly/bracket"); "ITEM@REV" names a stored revision of the item.

#include <map>
#include <string>

#include <vqkudm/UDMCoreEntityHandle.h>

#include "Repository.h"

namespace udm {

// The length of an item's id, a revision's identifier without its revision.
inline constexpr std::size_t kDmidLength = vqkudm::UDMUID::kDmUidLength;
// Deeper than any real structure; stops a walk along a structure that loops.
inline constexpr int kMaxDepth = 256;

class ItemNames {
 public:
  explicit ItemNames(const OpenRepository& repository) : m_repository(repository) {}

  // Refused when nothing matches, or (naming every candidate by path) when
  // several items do.
  vqkudm::UDMItemHandle Resolve(const std::string& text) const;
  // A deleted item, by identifier or name; deleted items are in no query.
  vqkudm::UDMItemHandle ResolveDeleted(const std::string& text) const;
  // Names from a root down to the item, joined by "/".
  std::string PathOf(const vqkudm::UDMItemHandle& item) const;
  // The root items: stored ones and the user's new ones.
  vqStlVector<vqkudm::UDMItemHandle> Roots() const;

 private:
  vqkudm::UDMItemHandle ResolveLatest(const std::string& text) const;
  vqkudm::UDMItemHandle ByDmid(const std::string& dmid) const;
  vqkudm::UDMItemHandle ByPath(const std::string& path) const;
  // The items of that name among `scope`, or among every item when `scope` is null.
  vqkudm::UDMItemHandle Unique(const std::string& name, const vqStlVector<vqkudm::UDMItemHandle>* scope) const;
  vqStlVector<vqkudm::UDMItemHandle> Named(const std::string& name) const;

  const OpenRepository& m_repository;
  // Paths found so far, by item id.
  mutable std::map<std::string, std::string> m_paths;
};

// The core entity behind an item handle, for what the profile does not offer.
boost::shared_ptr<vqkudm::UDMCoreEntityHandle> Core(const vqkudm::UDMItemHandle& item);
// A text as a literal of the query language.
std::string QueryLiteral(const std::string& text);

}  // namespace udm
