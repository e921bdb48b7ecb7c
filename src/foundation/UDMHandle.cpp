#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMHandle.h>

#include <vqkudmrt/UDMException.h>

#include "HandleText.h"
#include "SignatureText.h"

namespace vqkudm {

IUDMHandle::~IUDMHandle() = default;
UDMHandle::~UDMHandle() = default;
IUDMEntityHandle::~IUDMEntityHandle() = default;
IUDMRelationHandle::~IUDMRelationHandle() = default;
IUDMProfile::~IUDMProfile() = default;
IUDMHandleFactory::~IUDMHandleFactory() = default;

vqString UDMHandle::ToString() const { return vqString(); }

// Item and relation handles keep the same fields; they share these bodies.
template <class Handle>
void AssignHandle(Handle& target, const Handle& source) {
  if (&target == &source) return;
  target.m_uid = source.m_uid;
  target.m_cdef = source.m_cdef;
  target.m_url = source.m_url;
  target.m_object = source.m_object;
  target.m_profile = source.m_profile;
}

template <class Handle>
vqString RefreshedUID(const Handle& handle) {
  if (handle.m_object) {
    const vqString current = handle.m_object->GetUID(true);
    if (current != handle.m_uid) handle.m_uid = current;
  }
  return handle.m_uid;
}

// ---- UDMItemHandle

UDMItemHandle::UDMItemHandle() = default;

UDMItemHandle::UDMItemHandle(const boost::shared_ptr<IUDMEntityHandle>& entity,
                             const boost::shared_ptr<IUDMProfile> profile) {
  if (!entity) {
    ThrowUDMException(
        "__cdecl vqkudm::UDMItemHandle::UDMItemHandle(const class boost::shared_ptr<class "
        "vqkudm::IUDMEntityHandle> &,const class boost::shared_ptr<class vqkudm::IUDMProfile>)",
        "Null iEntityHandlePtr ptr while creating a item handle", ExcCatState, ExcSubNull);
  }
  m_uid = entity->GetUID(false);
  m_cdef = entity->GetCdef();
  m_url = entity->GetUrl();
  m_object = entity;
  m_profile = profile;
}

UDMItemHandle::UDMItemHandle(const UDMItemHandle& other) : UDMHandle(other) { AssignHandle(*this, other); }

UDMItemHandle& UDMItemHandle::operator=(const UDMItemHandle& other) {
  AssignHandle(*this, other);
  return *this;
}

UDMItemHandle::~UDMItemHandle() = default;

bool UDMItemHandle::operator==(const UDMItemHandle& other) const {
  return m_uid == other.m_uid && m_cdef == other.m_cdef && m_url == other.m_url;
}

bool UDMItemHandle::IsEmpty() const { return m_uid.empty() && m_cdef.empty() && m_url.empty(); }

vqString UDMItemHandle::ToString() const { return HandleText(m_uid, m_cdef, m_url); }

vqString UDMItemHandle::GetCdef() const { return m_cdef; }
vqString UDMItemHandle::GetUrl() const { return m_url; }
vqString UDMItemHandle::GetUID() const { return RefreshedUID(*this); }

namespace {

// The entity behind `handle`, raising with `signature` when it has none.
const IUDMEntityHandle& EntityOf(const UDMItemHandle& handle, const char* signature) {
  if (!handle.GetEntityHandlePtr()) {
    ThrowUDMException(signature, "Null Core Entity Ptr for handle " + handle.ToString(), ExcCatState, ExcSubNull);
  }
  return *handle.GetEntityHandlePtr();
}

boost::shared_ptr<IUDMProfile> ProfileOf(const UDMItemHandle& handle, const char* signature) {
  boost::shared_ptr<IUDMProfile> profile = handle.GetProfilePtr();
  if (!profile) {
    ThrowUDMException(signature, "Null Profile Ptr for handle " + handle.ToString(), ExcCatState, ExcSubNull);
  }
  return profile;
}

#define VQ_ITEM_SIG(result, rest) VQ_SIG(result, "UDMItemHandle", rest)

}  // namespace

vqVariant UDMItemHandle::GetCreatedBy() const {
  return EntityOf(*this, VQ_ITEM_SIG(VQ_T_VARIANT, "GetCreatedBy(void) const")).GetCreatedBy();
}
vqVariant UDMItemHandle::GetCreationTime() const {
  return EntityOf(*this, VQ_ITEM_SIG(VQ_T_VARIANT, "GetCreationTime(void) const")).GetCreationTime();
}
vqVariant UDMItemHandle::GetModifiedBy() const {
  return EntityOf(*this, VQ_ITEM_SIG(VQ_T_VARIANT, "GetModifiedBy(void) const")).GetModifiedBy();
}
vqVariant UDMItemHandle::GetModifiedTime() const {
  return EntityOf(*this, VQ_ITEM_SIG(VQ_T_VARIANT, "GetModifiedTime(void) const")).GetModifiedTime();
}
vqStlVector<vqString> UDMItemHandle::GetFileNameList() const {
  return EntityOf(*this, VQ_ITEM_SIG(VQ_T_VECTOR(VQ_T_STRING), "GetFileNameList(void) const")).GetFileNameList();
}
vqStlVector<vqString> UDMItemHandle::GetFilteredAttributeNameList(bool includeSystem) const {
  return EntityOf(*this, VQ_ITEM_SIG(VQ_T_VECTOR(VQ_T_STRING), "GetFilteredAttributeNameList(bool) const"))
      .GetFilteredAttributeNameList(includeSystem);
}
int UDMItemHandle::GetRevision() const {
  return EntityOf(*this, VQ_ITEM_SIG("int", "GetRevision(void) const")).GetRevision();
}
int UDMItemHandle::GetLatestRevision() const {
  return EntityOf(*this, VQ_ITEM_SIG("int", "GetLatestRevision(void) const")).GetLatestRevision();
}
bool UDMItemHandle::IsLatestRevision() const {
  return EntityOf(*this, VQ_ITEM_SIG("bool", "IsLatestRevision(void) const")).IsLatestVersion();
}
bool UDMItemHandle::IsDeleted() const {
  return EntityOf(*this, VQ_ITEM_SIG("bool", "IsDeleted(void) const")).IsDeleted();
}
bool UDMItemHandle::IsEditable() const {
  return EntityOf(*this, VQ_ITEM_SIG("bool", "IsEditable(void) const")).IsEditable();
}
bool UDMItemHandle::IsModified() const {
  return EntityOf(*this, VQ_ITEM_SIG("bool", "IsModified(void) const")).IsModified();
}
bool UDMItemHandle::IsOccurrence() const {
  return EntityOf(*this, VQ_ITEM_SIG("bool", "IsOccurrence(void) const")).IsOccurrence();
}
bool UDMItemHandle::IsPrototype() const {
  return EntityOf(*this, VQ_ITEM_SIG("bool", "IsPrototype(void) const")).IsPrototype();
}
bool UDMItemHandle::IsRootEntity() const {
  return EntityOf(*this, VQ_ITEM_SIG("bool", "IsRootEntity(void) const")).IsRootEntity();
}
bool UDMItemHandle::hasparent() const {
  return EntityOf(*this, VQ_ITEM_SIG("bool", "hasparent(void) const")).hasparent();
}

vqVariant UDMItemHandle::GetAttributeValue(const vqString& name) const {
  return ProfileOf(*this, VQ_ITEM_SIG(VQ_T_VARIANT, "GetAttributeValue(" VQ_T_STRING_CREF ") const"))
      ->GetAttributeValue(*this, name);
}
vqString UDMItemHandle::GetDisplayName() const {
  return ProfileOf(*this, VQ_ITEM_SIG(VQ_T_STRING, "GetDisplayName(void) const"))->GetDisplayName(*this);
}

// ---- UDMRelationHandle

UDMRelationHandle::UDMRelationHandle() = default;

UDMRelationHandle::UDMRelationHandle(const boost::shared_ptr<IUDMRelationHandle>& relation,
                                     const boost::shared_ptr<IUDMProfile> profile) {
  if (!relation) {
    ThrowUDMException(
        "__cdecl vqkudm::UDMRelationHandle::UDMRelationHandle(const class boost::shared_ptr<class "
        "vqkudm::IUDMRelationHandle> &,const class boost::shared_ptr<class vqkudm::IUDMProfile>)",
        "Null iRelationHandlePtr ptr while creating a relation handle", ExcCatState, ExcSubNull);
  }
  m_uid = relation->GetUID(false);
  m_cdef = relation->GetCdef();
  m_url = relation->GetUrl();
  m_object = relation;
  m_profile = profile;
}

UDMRelationHandle::UDMRelationHandle(const UDMRelationHandle& other) : UDMHandle(other) {
  AssignHandle(*this, other);
}

UDMRelationHandle& UDMRelationHandle::operator=(const UDMRelationHandle& other) {
  AssignHandle(*this, other);
  return *this;
}

UDMRelationHandle::~UDMRelationHandle() = default;

bool UDMRelationHandle::operator==(const UDMRelationHandle& other) const {
  return m_uid == other.m_uid && m_cdef == other.m_cdef && m_url == other.m_url;
}

vqString UDMRelationHandle::GetCdef() const { return m_cdef; }
vqString UDMRelationHandle::GetUrl() const { return m_url; }
vqString UDMRelationHandle::GetUID() const { return RefreshedUID(*this); }

namespace {

// The relation behind `handle`; an empty handle has none.
const IUDMRelationHandle& RelationOf(const boost::shared_ptr<IUDMRelationHandle>& object, const char* signature) {
  if (!object) ThrowUDMException(signature, "Null Core Relation Ptr for an empty relation handle", ExcCatState, ExcSubNull);
  return *object;
}

}  // namespace

int UDMRelationHandle::GetRelationType() const {
  return RelationOf(m_object, VQ_SIG("int", "UDMRelationHandle", "GetRelationType(void) const")).GetRelationType();
}

namespace {

boost::shared_ptr<IUDMProfile> RelationProfile(const boost::weak_ptr<IUDMProfile>& profileRef,
                                                const char* signature) {
  boost::shared_ptr<IUDMProfile> profile = profileRef.lock();
  if (!profile) ThrowUDMException(signature, "Null IUDMProfilePtr", ExcCatState, ExcSubNull);
  return profile;
}

}  // namespace

UDMItemHandle UDMRelationHandle::GetLeftEntity() const {
  static const char* const kSignature = VQ_SIG(VQ_T_ITEM, "UDMRelationHandle", "GetLeftEntity(void) const");
  const auto profile = RelationProfile(m_profile, kSignature);
  return profile->GetUDMItemHandle(RelationOf(m_object, kSignature).GetLeftEntityId().ToString());
}

UDMItemHandle UDMRelationHandle::GetRightEntity() const {
  static const char* const kSignature = VQ_SIG(VQ_T_ITEM, "UDMRelationHandle", "GetRightEntity(void) const");
  const auto profile = RelationProfile(m_profile, kSignature);
  return profile->GetUDMItemHandle(RelationOf(m_object, kSignature).GetRightEntityId().ToString());
}

}  // namespace vqkudm
