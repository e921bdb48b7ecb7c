#include <vqkudmrt/UDMAbstractBaseEntity.h>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>

#include "../store/EntityStore.h"

namespace vqkudm {

UDMAbstractBaseEntity::UDMAbstractBaseEntity(const boost::shared_ptr<UDMSession>& session,
                                             const boost::shared_ptr<UDMContentDefinition>& cdef,
                                             UDMUID uid)
    : m_session(session), m_cdef(cdef), m_cdefType(cdef->GetType()), m_uid(std::move(uid)) {}

UDMAbstractBaseEntity::~UDMAbstractBaseEntity() = default;

vqVariant UDMAbstractBaseEntity::GetAttributeValue(const vqString& name) const {
  auto it = m_attributes.find(name);
  if (it != m_attributes.end()) return it->second;
  if (const UDMContentDefinition::Composite* composite = m_cdef->GetComposite(name)) {
    vqString joined;
    for (std::size_t i = 0; i < composite->members.size(); ++i) {
      auto member = m_attributes.find(composite->members[i]);
      if (i) joined += composite->delimiter;
      if (member != m_attributes.end()) joined += member->second.ToString();
    }
    return vqVariant(joined);
  }
  if (!m_cdef->GetAttributeDefinition(name)) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             ToString("") + " has no attribute \"" + name + "\"", ExcSubNotFound);
  }
  return vqVariant();
}

int UDMAbstractBaseEntity::GetLatestRevision() const {
  if (m_isNew) return m_latestRevision;
  boost::shared_ptr<UDMSession> session = GetSession();
  int latest = m_latestRevision;
  if (session) session->Store().GetLatestRevision(m_uid.GetDmUid(), latest);
  return latest;
}

void UDMAbstractBaseEntity::RequireEditable(const char* signature, const vqString& what) const {
  if (!m_checkedOut) {
    ThrowStateException(signature, "cannot " + what + ": " + ToString("") + " is not checked out",
                        ExcSubGeneral);
  }
}

bool UDMAbstractBaseEntity::SetAttribute(const vqString& name, const vqVariant& value) {
  boost::shared_ptr<UDMAttributeDefinition> definition = m_cdef->GetAttributeDefinition(name);
  if (!definition) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             ToString("") + " has no attribute \"" + name + "\"", ExcSubNotFound);
  }
  if (definition->IsSystem() && name != kSmdName) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "attribute \"" + name + "\" of " + ToString("") +
                                 " is maintained by the system",
                             ExcSubGeneral);
  }
  // Its message is built only when it is needed: this is every attribute's path.
  if (!m_checkedOut) RequireEditable(UDM_FUNCSIG, "set attribute \"" + name + "\"");
  vqVariant checked = definition->CheckValue(value, [this] { return ToString(""); });
  if (name == kSmdName) {
    const vqString* text = checked.GetString();
    if (!text || text->empty()) {
      ThrowInvalidArgException(UDM_FUNCSIG, "the name of " + ToString("") + " cannot be empty",
                               ExcSubEmpty);
    }
    if (text->find_first_of(kReservedCharacters) != vqString::npos) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "the name \"" + *text + "\" of " + ToString("") +
                                   " contains one of the reserved characters " + kReservedCharacters,
                               ExcSubWrongType);
    }
  }
  if (checked.IsEmpty()) m_attributes.erase(name);
  const vqVariant& stored = checked.IsEmpty() ? checked : (m_attributes[name] = std::move(checked));
  m_modified = true;
  if (m_notify) {
    if (boost::shared_ptr<UDMSession> session = GetSession()) {
      session->Notify(SIGNAL_ATTRIBUTE_SET, boost::dynamic_pointer_cast<UDMItem>(shared_from_this()), name,
                      stored);
    }
  }
  return true;
}

void UDMAbstractBaseEntity::GetFilteredAttributeNameList(vqStlVector<vqString>& out,
                                                          bool includeSystem) const {
  for (const auto& [name, value] : m_attributes) {
    if (!includeSystem) {
      boost::shared_ptr<UDMAttributeDefinition> definition = m_cdef->GetAttributeDefinition(name);
      if (definition && definition->IsSystem()) continue;
    }
    out.push_back(name);
  }
}

namespace {

vqString Text(const UDMAttributeMap& attributes, const vqString& name) {
  auto it = attributes.find(name);
  return it == attributes.end() ? vqString() : it->second.ToString();
}

}  // namespace

vqString UDMAbstractBaseEntity::GetName() const { return Text(m_attributes, kSmdName); }

vqString UDMAbstractBaseEntity::GetDisplayName() const {
  vqString property;
  m_cdef->GetDNamePropertyName(property);
  const vqString display = property.empty() ? vqString() : Text(m_attributes, property);
  return display.empty() ? GetName() : display;
}

void UDMAbstractBaseEntity::SetDisplayName(const vqString& name) {
  vqString property;
  m_cdef->GetDNamePropertyName(property);
  SetAttribute(property.empty() ? kSmdName : property, vqVariant(name));
}

vqString UDMAbstractBaseEntity::GetCreatedBy() const { return Text(m_attributes, kSmdCreateduser); }
vqString UDMAbstractBaseEntity::GetCreationTime() const { return Text(m_attributes, kSmdCreatime); }
vqString UDMAbstractBaseEntity::GetModifiedBy() const { return Text(m_attributes, kSmdUser); }
vqString UDMAbstractBaseEntity::GetModifiedTime() const { return Text(m_attributes, kSmdLstmodtime); }

vqString UDMAbstractBaseEntity::ToString(const vqString& indent) const {
  return indent + m_cdefType + " '" + GetName() + "' (" + m_uid.ToString() + ")";
}

}  // namespace vqkudm
