#include <vqkudmrt/UDMUpdateWrapper.h>

#include <vqkudmrt/UDMItem.h>

namespace vqkudm {

const char* SignalOptionName(SignalOption option) {
  switch (option) {
    case SIGNAL_NONE: return "none";
    case SIGNAL_CREATED: return "created";
    case SIGNAL_MODIFIED: return "modified";
    case SIGNAL_ATTRIBUTE_SET: return "attribute set";
    case SIGNAL_CHILD_ADDED: return "child added";
    case SIGNAL_CHILD_REMOVED: return "child removed";
    case SIGNAL_DELETED: return "deleted";
    case SIGNAL_UNDELETED: return "restored";
    case SIGNAL_OBLITERATED: return "obliterated";
    case SIGNAL_CHECKED_OUT: return "checked out";
    case SIGNAL_PERSISTED: return "persisted";
    case SIGNAL_SAVED: return "saved";
    case SIGNAL_CHECKOUT_UNDONE: return "check-out undone";
  }
  return "unknown";
}

boost::shared_ptr<UDMItem> UDMUpdateWrapper::GetEntity() const {
  return m_record ? m_record->entity : boost::shared_ptr<UDMItem>();
}
UDMUID UDMUpdateWrapper::GetUID() const { return m_record ? m_record->uid : UDMUID(); }
vqString UDMUpdateWrapper::GetURL() const { return m_record ? m_record->url : vqString(); }
vqString UDMUpdateWrapper::GetSessionId() const { return m_record ? m_record->sessionId : vqString(); }
vqString UDMUpdateWrapper::GetAttributeName() const { return m_record ? m_record->attributeName : vqString(); }
vqVariant UDMUpdateWrapper::GetAttributeValue() const { return m_record ? m_record->attributeValue : vqVariant(); }
boost::shared_ptr<UDMItem> UDMUpdateWrapper::GetChild() const {
  return m_record ? m_record->child : boost::shared_ptr<UDMItem>();
}
UDMUpdateWrapper UDMUpdateWrapper::GetParentUpdate() const {
  return m_record ? UDMUpdateWrapper(m_record->parent) : UDMUpdateWrapper();
}

IUDMSlot::~IUDMSlot() = default;
void IUDMSlot::update(UDMUpdateWrapper) {}

UDMUIDSlot::~UDMUIDSlot() = default;

void UDMUIDSlot::update(UDMUpdateWrapper change) {
  if (m_target && change.GetUID().GetDmUid() == m_uid.GetDmUid()) m_target->update(change);
}

}  // namespace vqkudm
