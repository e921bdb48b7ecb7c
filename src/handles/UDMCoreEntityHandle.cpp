#include <vqkudm/UDMCoreEntityHandle.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include "../foundation/HandleText.h"
#include "../foundation/SignatureText.h"

namespace vqkudm {

bool UDMCoreEntityHandle::CreateInstance(boost::shared_ptr<IUDMEntityHandle>& out,
                                         const boost::shared_ptr<UDMItem>& iItemPtr) {
  if (!iItemPtr) {
    ThrowUDMException(VQ_ENTITY_SIG("bool", "CreateInstance(" VQ_T_SHARED("class vqkudm::IUDMEntityHandle") " &,const "
                                            VQ_T_SHARED("class vqkudm::UDMItem") " &)"),
                      "Unable to instantiate UDMCoreEntityHandle with NULL iItemPtr", ExcCatState, ExcSubNull);
  }
  out = boost::shared_ptr<UDMCoreEntityHandle>(new UDMCoreEntityHandle(iItemPtr));
  return true;
}

UDMCoreEntityHandle::UDMCoreEntityHandle(const boost::shared_ptr<UDMItem>& item)
    : m_item(item), m_uid(item->GetUID().ToString()), m_cdef(item->GetContentDefinitionType()) {
  boost::shared_ptr<UDMSession> session = item->GetSession();
  m_session = session;
  const boost::shared_ptr<UDMSessionConfig> config = session ? session->GetSessionConfig() : nullptr;
  const bool urlMode = config && (config->GetMode() == 1 || config->GetModeSubtype() == 1);
  // Only URL-mode handles keep a URL; the others are found again by identifier.
  if (!urlMode) return;
  try {
    m_url = item->GetUrlPath(true);
  } catch (const UDMException&) {
    m_url = item->GetUrlPath(false);
  }
}

UDMCoreEntityHandle::~UDMCoreEntityHandle() = default;

vqString UDMCoreEntityHandle::ToString() const {
  return HandleText(m_uid, m_cdef, m_url);
}

boost::shared_ptr<UDMItem> UDMCoreEntityHandle::_GetUDMItemPtr() const {
  static const char* const kSignature =
      VQ_ENTITY_SIG(VQ_T_SHARED("class vqkudm::UDMItem"), "_GetUDMItemPtr(void) const");
  boost::shared_ptr<UDMItem> item = m_item.lock();
  if (GetUID(false).empty() && GetUrl().empty()) {
    ThrowInvalidArgException(kSignature, "ItemHandle is not correct.", ExcSubGeneral);
  }
  if (!item) {
    if (boost::shared_ptr<UDMSession> session = m_session.lock()) {
      item = m_url.empty() ? session->FindItemById(UDMUID(m_uid), true, GetCdef())
                           : session->FindItemByUrl(m_url, false);
    }
  }
  if (!item) ThrowUDMException(kSignature, "No entity found for handle " + ToString(), ExcCatState, ExcSubNull);

  // A later revision found on its own is not linked under its parent yet:
  // loading the latest parent's children links it. Revision 0 is asked
  // first: it needs no parent and costs no lookup.
  if (item->GetUID().ToString().empty() || item->GetRevision() == 0 || item->IsRootEntity() || item->GetParent()) {
    return item;
  }
  vqString parentUrl;
  item->GetLatestParentUrl(parentUrl);
  if (parentUrl.empty()) {
    ThrowUDMException(kSignature,
                      FormatArgumentMessage(kSignature, kArgEmptyPattern,
                                            "Latest parent URL is Empty for entity " + item->ToString(vqString())),
                      ExcCatInvalidArgument, ExcSubEmpty);
  }
  if (boost::shared_ptr<UDMSession> session = item->GetSession()) {
    if (boost::shared_ptr<UDMItem> parent = session->FindItemByUrl(parentUrl, false)) {
      vqStlVector<boost::shared_ptr<UDMItem>> scratch;
      parent->GetChildren(scratch, vqString());
    }
  }
  return item;
}

boost::shared_ptr<UDMItem> UDMCoreEntityHandle::Resolve(const char* signature) const {
  boost::shared_ptr<UDMItem> item = _GetUDMItemPtr();
  if (!item) ThrowUDMException(signature, "Null Entity Ptr for handle " + ToString(), ExcCatState, ExcSubNull);
  return item;
}

vqString UDMCoreEntityHandle::GetUrl() const { return m_url; }
vqString UDMCoreEntityHandle::GetCdef() const { return m_cdef; }

vqString UDMCoreEntityHandle::GetUID(bool refresh) const {
  if (refresh) {
    const vqString current = _GetUDMItemPtr()->GetUID().ToString();
    if (current != m_uid) m_uid = current;
  }
  return m_uid;
}

const vqVariant UDMCoreEntityHandle::GetAttributeValue(const vqString& name) const {
  return Resolve(VQ_ENTITY_SIG("const " VQ_T_VARIANT, "GetAttributeValue(" VQ_T_STRING_CREF ") const"))
      ->GetAttributeValue(name);
}

bool UDMCoreEntityHandle::SetAttribute(const vqString& name, const vqVariant& value) {
  return Resolve(VQ_ENTITY_SIG("bool", "SetAttribute(" VQ_T_STRING "," VQ_T_VARIANT ")"))->SetAttribute(name, value);
}

const vqStlVector<vqString> UDMCoreEntityHandle::GetFilteredAttributeNameList(const bool includeSystem) const {
  vqStlVector<vqString> names;
  Resolve(VQ_ENTITY_SIG("const " VQ_T_VECTOR(VQ_T_STRING), "GetFilteredAttributeNameList(const bool) const"))
      ->GetFilteredAttributeNameList(names, includeSystem);
  return names;
}

vqString UDMCoreEntityHandle::GetDisplayName() const {
  return Resolve(VQ_ENTITY_SIG(VQ_T_STRING, "GetDisplayName(void) const"))->GetDisplayName();
}

void UDMCoreEntityHandle::SetDisplayName(const vqString& name) {
  Resolve(VQ_ENTITY_SIG("void", "SetDisplayName(" VQ_T_STRING ")"))->SetDisplayName(name);
}

const vqVariant UDMCoreEntityHandle::GetCreatedBy() const {
  return vqVariant(Resolve(VQ_ENTITY_SIG("const " VQ_T_VARIANT, "GetCreatedBy(void) const"))->GetCreatedBy());
}
const vqVariant UDMCoreEntityHandle::GetCreationTime() const {
  return vqVariant(Resolve(VQ_ENTITY_SIG("const " VQ_T_VARIANT, "GetCreationTime(void) const"))->GetCreationTime());
}
const vqVariant UDMCoreEntityHandle::GetModifiedBy() const {
  return vqVariant(Resolve(VQ_ENTITY_SIG("const " VQ_T_VARIANT, "GetModifiedBy(void) const"))->GetModifiedBy());
}
const vqVariant UDMCoreEntityHandle::GetModifiedTime() const {
  return vqVariant(Resolve(VQ_ENTITY_SIG("const " VQ_T_VARIANT, "GetModifiedTime(void) const"))->GetModifiedTime());
}
int UDMCoreEntityHandle::GetRevision() const {
  return Resolve(VQ_ENTITY_SIG("const int", "GetRevision(void) const"))->GetRevision();
}
int UDMCoreEntityHandle::GetLatestRevision() const {
  return Resolve(VQ_ENTITY_SIG("const int", "GetLatestRevision(void) const"))->GetLatestRevision();
}
bool UDMCoreEntityHandle::IsLatestVersion() const {
  return Resolve(VQ_ENTITY_SIG("const bool", "IsLatestVersion(void) const"))->IsLatestVersion();
}
bool UDMCoreEntityHandle::IsDeleted() const {
  return Resolve(VQ_ENTITY_SIG("bool", "IsDeleted(void) const"))->IsDeleted();
}
bool UDMCoreEntityHandle::IsModified() const {
  return Resolve(VQ_ENTITY_SIG("bool", "IsModified(void) const"))->IsModified();
}
bool UDMCoreEntityHandle::IsEditable() const {
  return Resolve(VQ_ENTITY_SIG("bool", "IsEditable(void) const"))->IsCheckedOut();
}
bool UDMCoreEntityHandle::IsPrototype() const {
  return Resolve(VQ_ENTITY_SIG("bool", "IsPrototype(void) const"))->IsPrototype();
}
bool UDMCoreEntityHandle::IsOccurrence() const {
  return Resolve(VQ_ENTITY_SIG("bool", "IsOccurrence(void) const"))->IsOccurrence();
}

bool UDMCoreEntityHandle::IsRootEntity() const {
  boost::shared_ptr<UDMItem> item = Resolve(VQ_ENTITY_SIG("bool", "IsRootEntity(void) const"));
  try {
    return item->IsRootEntity();
  } catch (const UDMException&) {
    return false;
  }
}

bool UDMCoreEntityHandle::hasparent() const {
  boost::shared_ptr<UDMItem> item = Resolve(VQ_ENTITY_SIG("bool", "hasparent(void) const"));
  try {
    return item->HasParent();
  } catch (const UDMException&) {
    return false;
  }
}

boost::shared_ptr<UDMContentDefinition> UDMCoreEntityHandle::GetContentDefinition() {
  return Resolve(VQ_ENTITY_SIG(VQ_T_SHARED("class vqkudm::UDMContentDefinition"), "GetContentDefinition(void)"))
      ->GetContentDefinition();
}

}  // namespace vqkudm
