// The versioned URLs of items.

#include <vqkudmrt/UDMItem.h>

#include <deque>
#include <set>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include "../url/VersionedUrl.h"
#include "SessionOf.h"

namespace vqkudm {

using model::SessionOf;

vqString UDMItem::GetUrlPath(bool storedOnly) {
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  url::VersionedUrl url;
  url.repository = session->GetSessionConfig()->GetRepositoryName();
  std::deque<url::UrlStep> steps;
  std::set<vqString> seen;
  for (UDMItemPtr node = boost::static_pointer_cast<UDMItem>(shared_from_this()); node;) {
    if (storedOnly && node->IsNew()) {
      ThrowStateException(UDM_FUNCSIG,
                          ToString("") + " has no URL yet: " +
                              (node.get() == this ? vqString("it") : node->ToString("")) + " is not persisted",
                          ExcSubGeneral);
    }
    UDMItemPtr parent = node->GetParent();
    if (parent && !seen.insert(parent->GetUID().GetDmUid()).second) parent.reset();
    steps.push_front({parent ? parent->GetChildGroup(node) : vqString(), node->GetName(), node->GetRevision()});
    node = parent;
  }
  steps.front().group.clear();
  url.steps.assign(steps.begin(), steps.end());
  return url::FormatVersionedUrl(url);
}

void UDMItem::CreateUrlPath(bool storedOnly) {
  SessionOf(*this, UDM_FUNCSIG)->IndexUrl(GetUrlPath(storedOnly), boost::static_pointer_cast<UDMItem>(shared_from_this()));
}

void UDMItem::GetLatestParentUrl(vqString& out) {
  if (UDMItemPtr parent = GetParent()) out = parent->GetUrlPath(false);
}

}  // namespace vqkudm
