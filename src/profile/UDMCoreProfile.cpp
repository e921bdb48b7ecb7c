#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMCoreProfile.h>
#include <vqkudm/UDMProfileUpdate.h>

#include <new>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMSession.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

// The plug-in entry the session's plug-in manager looks up by name.
VQ_MODULE_ENTRY UDMResult CreateInstance(boost::shared_ptr<IUDMPlugin>& out) {
  return UDMCoreProfile::CreateInstance(out);
}

UDMResult UDMCoreProfile::CreateInstance(boost::shared_ptr<IUDMPlugin>& out) {
  boost::shared_ptr<UDMCoreProfile> profile(new (std::nothrow) UDMCoreProfile());
  if (!profile) return UDM_NOT_CREATED;
  out = profile;
  return out ? UDM_SUCCESS : UDM_NOT_CREATED;
}

UDMCoreProfile::~UDMCoreProfile() {
  // A bridge without its profile can only fail: take them out of a session
  // that outlives this profile.
  if (boost::shared_ptr<UDMSession> session = m_session.lock()) {
    for (const auto& subscription : m_subscribers) session->UnregisterSlot(subscription.second);
  }
}

vqString UDMCoreProfile::GetDisplayName() { return "UDMCoreProfile"; }
vqString UDMCoreProfile::GetInterfaceName() { return "IUDMProfile"; }
vqString UDMCoreProfile::GetKey() { return "Core"; }
boost::shared_ptr<IUDMPlugin> UDMCoreProfile::Clone() { return boost::shared_ptr<IUDMPlugin>(); }
boost::shared_ptr<IUDMPlugin> UDMCoreProfile::CreateNew() { return boost::shared_ptr<IUDMPlugin>(); }
void UDMCoreProfile::Shutdown() {}

UDMResult UDMCoreProfile::Init(const boost::weak_ptr<UDMSession>& session,
                               const boost::shared_ptr<UDMPluginConfig>& pluginConfig) {
  static const char* const kSignature =
      "enum vqkudm::UDMResult __cdecl vqkudm::UDMCoreProfile::Init(const class boost::weak_ptr<class "
      "vqkudm::UDMSession> &,const class boost::shared_ptr<class vqkudm::UDMPluginConfig> &)";
  if (!session.lock()) ThrowNullArgument(kSignature, "session weak Ptr ");
  if (!pluginConfig) ThrowNullArgument(kSignature, "pluginConfig Ptr ");
  m_session = session;
  m_pluginConfig = pluginConfig;
  boost::shared_ptr<IUDMHandleFactory> factory;
  UDMCoreProfileHandleFactory::CreateInstance(factory, GetThisPtr());
  if (!factory) {
    ThrowUDMException(kSignature, "Unable to instantiate IUDMHandleFactoryPtr", ExcCatState, ExcSubNull);
  }
  m_handleFactory = factory;
  return UDM_SUCCESS;
}

void UDMCoreProfile::GetSession(boost::shared_ptr<IUDMSession>& out) const {
  out = m_session.lock();
  if (!out) {
    ThrowUDMException(
        "void __cdecl vqkudm::UDMCoreProfile::GetSession(class boost::shared_ptr<class vqkudm::IUDMSession> &) const",
        "Session Ptr is NULL", ExcCatState, ExcSubNull);
  }
}

boost::shared_ptr<IUDMSession> UDMCoreProfile::Session() const {
  boost::shared_ptr<IUDMSession> session;
  GetSession(session);
  return session;
}

vqString UDMCoreProfile::GetSessionId() { return Session()->GetSessionId(); }

vqString UDMCoreProfile::GetUName() { return Session()->GetUserName(); }

vqString UDMCoreProfile::getWorkspaceDir() const { return Session()->GetWorkspaceDir(); }

void UDMCoreProfile::Lock() { Session()->Lock(); }

void UDMCoreProfile::Unlock() { Session()->Unlock(); }

// The dump goes to the runtime's log, where diagnostics are collected.
void UDMCoreProfile::DumpSession() {
  UDMFramework::GetInstance()->GetLogger()->LogMessage(Session()->DumpSession(), UDMLogger::LevelInfo);
}

void UDMCoreProfile::Discard() const { UDMFramework::GetInstance()->DeleteSession(Session()); }

boost::shared_ptr<IUDMProfile> UDMCoreProfile::GetThisPtr() { return shared_from_this(); }

UDMProfileUtils UDMCoreProfile::GetProfileUtils() {
  return UDMProfileUtils(boost::shared_ptr<IUDMProfile>(shared_from_this()));
}

UDMItemHandle UDMCoreProfile::GetUDMItemHandle(const vqString& id) {
  // Before Init there is no factory, and no session to say so but this one.
  if (!m_handleFactory) Session();
  return m_handleFactory->CreateItemHandle(id);
}

boost::shared_ptr<UDMCoreEntityHandle> UDMCoreProfile::_GetCoreHandle(const UDMItemHandle& entity) const {
  boost::shared_ptr<IUDMEntityHandle> object = entity.GetEntityHandlePtr();
  if (!object) {
    ThrowUDMException(VQ_PROFILE_SIG(VQ_T_SHARED("class vqkudm::UDMCoreEntityHandle"),
                                     "_GetCoreHandle(" VQ_T_ITEM_CREF ") const"),
                      "No concrete handle found for handle " + entity.ToString(), ExcCatState, ExcSubNull);
  }
  return boost::dynamic_pointer_cast<UDMCoreEntityHandle>(object);
}

boost::shared_ptr<UDMItem> UDMCoreProfile::_GetUDMItem(const UDMItemHandle& entity) const {
  boost::shared_ptr<UDMCoreEntityHandle> core = _GetCoreHandle(entity);
  if (!core) {
    ThrowUDMException(VQ_PROFILE_SIG(VQ_T_SHARED("class vqkudm::UDMItem"), "_GetUDMItem(" VQ_T_ITEM_CREF ") const"),
                      "No concrete handle found for handle " + entity.ToString(), ExcCatState, ExcSubNull);
  }
  return core->_GetUDMItemPtr();
}

boost::shared_ptr<UDMCoreEntityHandle> UDMCoreProfile::ResolveEntity(const char* signature,
                                                                     const UDMItemHandle& entity) const {
  boost::shared_ptr<UDMCoreEntityHandle> core = _GetCoreHandle(entity);
  if (!core) {
    ThrowUDMException(signature, "Unable to get Entity with Info " + entity.ToString(), ExcCatInvalidArgument,
                      ExcSubNull);
  }
  return core;
}

boost::shared_ptr<UDMItem> UDMCoreProfile::ResolveItem(const char* signature, const UDMItemHandle& entity) const {
  boost::shared_ptr<UDMItem> item = _GetUDMItem(entity);
  if (!item) {
    ThrowUDMException(signature, "Invalid input item " + entity.ToString(), ExcCatInvalidArgument, ExcSubNull);
  }
  return item;
}

void UDMCoreProfile::AppendItemHandles(vqStlVector<UDMItemHandle>& out,
                                       const vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& entities) {
  const boost::shared_ptr<IUDMProfile> self = GetThisPtr();
  for (const boost::shared_ptr<IUDMEntityHandle>& entity : entities) out.push_back(UDMItemHandle(entity, self));
}

boost::shared_ptr<IUDMEntityHandle> UDMCoreProfile::FindEntityHandleById(const vqString& id) {
  boost::shared_ptr<IUDMSession> session = Session();
  boost::shared_ptr<UDMItem> item = session->FindItemById(UDMUID(id), true, vqString());
  if (!item) {
    ThrowNullArgument(VQ_PROFILE_SIG(VQ_T_SHARED("class vqkudm::IUDMEntityHandle"),
                                     "FindEntityHandleById(" VQ_T_STRING_CREF ")"),
                      "invalid Identifier provided. Identifier " + id);
  }
  boost::shared_ptr<IUDMEntityHandle> handle;
  UDMCoreEntityHandle::CreateInstance(handle, item);
  return handle;
}

boost::shared_ptr<IUDMRelationHandle> UDMCoreProfile::FindRelationHandleById(const vqString& id) {
  boost::shared_ptr<IUDMSession> session = Session();
  boost::shared_ptr<UDMRelation> relation;
  if (boost::shared_ptr<UDMSession> concrete = boost::dynamic_pointer_cast<UDMSession>(session)) {
    relation = concrete->FindRelationById(UDMUID(id));
  }
  if (!relation) {
    ThrowNullArgument(VQ_PROFILE_SIG(VQ_T_SHARED("class vqkudm::IUDMRelationHandle"),
                                     "FindRelationHandleById(" VQ_T_STRING_CREF ")"),
                      "invalid Identifier provided. Identifier " + id);
  }
  boost::shared_ptr<IUDMRelationHandle> handle;
  UDMCoreRelationHandle::CreateInstance(handle, relation);
  return handle;
}

// ---- UDMCoreProfileHandleFactory

#define VQ_FACTORY_SIG(result, rest) VQ_SIG(result, "UDMCoreProfileHandleFactory", rest)

bool UDMCoreProfileHandleFactory::CreateInstance(boost::shared_ptr<IUDMHandleFactory>& out,
                                                 const boost::shared_ptr<IUDMProfile>& profile) {
  if (!profile) {
    ThrowUDMException(VQ_FACTORY_SIG("bool", "CreateInstance(" VQ_T_SHARED("class vqkudm::IUDMHandleFactory") " &,const "
                                             VQ_T_SHARED("class vqkudm::IUDMProfile") " &)"),
                      "Unable to instantiate UDMCoreProfileHandleFactory with NULL IUDMProfilePtr ", ExcCatState,
                      ExcSubNull);
  }
  out = boost::shared_ptr<IUDMHandleFactory>(new UDMCoreProfileHandleFactory(profile));
  return static_cast<bool>(out);
}

UDMCoreProfileHandleFactory::~UDMCoreProfileHandleFactory() = default;

UDMItemHandle UDMCoreProfileHandleFactory::CreateItemHandle(const vqString& id) {
  static const char* const kSignature = VQ_FACTORY_SIG(VQ_T_ITEM, "CreateItemHandle(" VQ_T_STRING_CREF ")");
  boost::shared_ptr<IUDMProfile> profile = m_profile.lock();
  if (!profile) ThrowUDMException(kSignature, "IUDMProfilePtr empty during CreateItemHandle", ExcCatState, ExcSubNull);
  boost::shared_ptr<IUDMEntityHandle> entity = profile->FindEntityHandleById(id);
  if (!entity) ThrowNullArgument(kSignature, "invalid Identifier provided. Identifier " + id);
  return UDMItemHandle(entity, profile);
}

UDMRelationHandle UDMCoreProfileHandleFactory::CreateRelationHandle(const vqString& id) {
  static const char* const kSignature = VQ_FACTORY_SIG(VQ_T_RELATION, "CreateRelationHandle(" VQ_T_STRING_CREF ")");
  boost::shared_ptr<IUDMProfile> profile = m_profile.lock();
  if (!profile) {
    ThrowUDMException(kSignature, "IUDMProfilePtr empty during CreateRealtionHandle", ExcCatState, ExcSubNull);
  }
  boost::shared_ptr<IUDMRelationHandle> relation = profile->FindRelationHandleById(id);
  if (!relation) ThrowNullArgument(kSignature, "invalid Identifier provided. Identifier " + id);
  return UDMRelationHandle(relation, profile);
}

}  // namespace vqkudm
