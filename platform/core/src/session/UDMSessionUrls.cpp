// Finding entities by versioned URL.

#include <vqkudmrt/UDMSession.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include "../store/EntityStore.h"
#include "../url/VersionedUrl.h"

namespace vqkudm {

int UDMSession::_GetProjectVersion(const vqString& url) const {
  const char* const signature = "UDMSession::_GetProjectVersion";
  const std::size_t mark = url.find("~v");
  if (mark == vqString::npos) {
    ThrowStateException(signature,
                        "Unable to obtain project version from URL " + url + " during where used query on entity",
                        ExcSubGeneral);
  }
  const std::size_t end = url.find('/', mark);
  if (end == vqString::npos) {
    ThrowStateException(signature,
                        "Unable to obtain end of project version from URL " + url +
                            " during where used query on entity ",
                        ExcSubGeneral);
  }
  if (end == mark + 2) {
    ThrowStateException(signature,
                        "Unable to determine bounds for revision string for root entity from URL " + url +
                            " during where used query on entity ",
                        ExcSubGeneral);
  }
  const vqString digits = url.substr(mark + 2, end - mark - 2);
  int revision = 0;
  if (!digits.ToInt(revision)) {
    ThrowStateException(signature,
                        "Unable to extract revision from " + digits + " for root entity from URL " + url +
                            " during where used query on entity ",
                        ExcSubGeneral);
  }
  return revision;
}

void UDMSession::IndexUrl(const vqString& url, const boost::shared_ptr<UDMItem>& item) { m_urlIndex[url] = item; }

boost::shared_ptr<UDMItem> UDMSession::FindItemByUrl(const vqString& text, bool includeDeleted) {
  // The root's revision first: its failures have texts of their own.
  const int rootRevision = _GetProjectVersion(text);
  const url::VersionedUrl url = url::ParseVersionedUrl(text);
  auto indexed = m_urlIndex.find(text);
  if (indexed != m_urlIndex.end()) {
    if (boost::shared_ptr<UDMItem> item = indexed->second.lock()) return item;
    m_urlIndex.erase(indexed);
  }
  if (url.repository != m_config->GetRepositoryName()) return boost::shared_ptr<UDMItem>();
  boost::shared_ptr<UDMItem> node;
  for (const UDMUID& uid : m_store->FindRootRevisions(url.steps[0].name, rootRevision)) {
    if ((node = FindItemById(uid, true, vqString()))) break;
  }
  for (std::size_t i = 1; node && i < url.steps.size(); ++i) {
    const url::UrlStep& step = url.steps[i];
    boost::shared_ptr<UDMItem> next;
    for (const store::LinkRecord& link :
         m_store->GetChildrenAt(node->GetUID().GetDmUid(), node->GetRevision(), step.group)) {
      boost::shared_ptr<UDMItem> child =
          FindItemById(UDMUID(link.childDmid + vqString::FromInt(step.revision)), true, vqString());
      if (child && child->GetName() == step.name) {
        next = child;
        break;
      }
    }
    node = next;
  }
  if (node && node->IsDeleted() && !includeDeleted) return boost::shared_ptr<UDMItem>();
  return node;
}

vqString UDMSession::GetDisplayUrl(const boost::shared_ptr<UDMItem>& item) {
  if (!item) ThrowNullArgument(UDM_FUNCSIG, "item ");
  if (m_config->GetMode() == UDMSessionConfig::ModeVersionedUrl || m_config->GetModeSubtype() == 1) {
    return item->GetUrlPath(false);
  }
  return item->GetUID().ToString();
}

}  // namespace vqkudm
