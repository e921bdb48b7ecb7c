#include <vqkudm/UDMDataConnectionMgr.h>

#include <filesystem>
#include <mutex>
#include <system_error>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMSession.h>
#include <vqlmosa/osaDynamicObject.h>
#include <vqlmosa/osaLibrary.h>

#include "ConnectionWorkspace.h"
#include "ProfileMgrSupport.h"

namespace vqkudm {

using connection::RaiseState;

namespace {

const char* const kSignature = VQ_SIG(VQ_T_PROFILE_PTR, "UDMDataConnectionMgr",
                                      "GetDataConnectionProfile(" VQ_T_SHARED("class vqkudm::UDMConnectConfig") " &)");
const char* const kLibraryBase = "vqkudmrt_connectprofile";

// Guards the instance and every manager's map; the plug-in's Init runs
// under it, so one connection is never made twice at once.
std::mutex& ManagerMutex() {
  static std::mutex mutex;
  return mutex;
}

bool IsDirectory(const vqString& path) {
  std::error_code error;
  return std::filesystem::is_directory(path.str(), error);
}

// A failed open leaves no trace: its session closes, and a working
// directory it made goes.
class WorkingSessionGuard {
 public:
  explicit WorkingSessionGuard(const boost::shared_ptr<UDMSessionConfig>& config)
      : m_directory(config->GetRepositoryBaseDir()), m_existed(IsDirectory(m_directory)) {
    boost::shared_ptr<UDMSessionConfig> opened = config;
    m_session = boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->CreateSession(opened));
  }
  ~WorkingSessionGuard() {
    if (m_kept || !m_session) return;
    UDMFramework::GetInstance()->DeleteSession(m_session);
    m_session.reset();
    std::error_code ignored;
    if (!m_existed) std::filesystem::remove_all(m_directory.str(), ignored);
  }
  WorkingSessionGuard(const WorkingSessionGuard&) = delete;
  WorkingSessionGuard& operator=(const WorkingSessionGuard&) = delete;

  const boost::shared_ptr<UDMSession>& Session() const { return m_session; }
  void Keep() { m_kept = true; }

 private:
  vqString m_directory;
  bool m_existed;
  bool m_kept = false;
  boost::shared_ptr<UDMSession> m_session;
};

}  // namespace

boost::shared_ptr<UDMDataConnectionMgr> UDMDataConnectionMgr::_instance;

boost::shared_ptr<UDMDataConnectionMgr> UDMDataConnectionMgr::GetInstance() {
  std::lock_guard<std::mutex> lock(ManagerMutex());
  if (!_instance) _instance.reset(new UDMDataConnectionMgr());
  return _instance;
}

void UDMDataConnectionMgr::DestroyInstance() {
  boost::shared_ptr<UDMDataConnectionMgr> last;
  std::lock_guard<std::mutex> lock(ManagerMutex());
  last.swap(_instance);
  // Profiles are released after the lock: their sessions close then.
}

UDMDataConnectionMgr::~UDMDataConnectionMgr() = default;

boost::shared_ptr<IUDMProfile> UDMDataConnectionMgr::GetDataConnectionProfile(
    boost::shared_ptr<UDMConnectConfig>& config) {
  if (!config) ThrowUDMException(kSignature, "UDMConnectConfigPtr Not available", ExcCatState, ExcSubNull);
  const vqString identifier = config->GetIdentifier();
  std::lock_guard<std::mutex> lock(ManagerMutex());
  auto found = m_profiles.find(identifier);
  if (found != m_profiles.end()) return found->second;
  boost::shared_ptr<IUDMProfile> profile = CreateProfile(config);
  m_profiles[identifier] = profile;
  return profile;
}

boost::shared_ptr<IUDMProfile> UDMDataConnectionMgr::CreateProfile(const boost::shared_ptr<UDMConnectConfig>& config) {
  if (config->GetIdentifier().empty()) ThrowEmptyArgument(kSignature, "ConnectionIdentifier ");
  const vqString directory = config->GetPluginDirectory() + "/" + osaLibrary::GetPlatform();
  if (!IsDirectory(directory)) ThrowStateException(kSignature, "Not a directory :" + directory, ExcSubDatabase);
  const vqString library = directory + "/" + osaLibrary::GetAbsoluteLibraryName(kLibraryBase);
  if (!m_library || m_library->GetName() != library) {
    auto loaded = std::make_shared<osaDynamicObject>();
    // Kept loaded even when the manager goes: profiles it made run its code.
    const osaStatus status = loaded->LoadLibrary(library, true);
    if (!status.IsOk()) RaiseState(kSignature, "Failed to load lib:" + library, ExcSubDatabase, status.GetText());
    m_library = loaded;
  }
  auto create = reinterpret_cast<UDMCreatePluginFunction>(m_library->FindSymbol("CreateInstance"));
  if (!create) ThrowStateException(kSignature, "Failed to find symbol for CreateInstance.", ExcSubDatabase);
  boost::shared_ptr<IUDMPlugin> plugin;
  create(plugin);
  boost::shared_ptr<IUDMProfile> profile = boost::dynamic_pointer_cast<IUDMProfile>(plugin);
  if (!profile) ThrowUDMException(kSignature, "Failed to get plugin.", ExcCatState, ExcSubNull);

  WorkingSessionGuard working(connection::WorkingSessionConfig(*config));
  const boost::shared_ptr<UDMPluginConfig> pluginConfig(new UDMConnectPluginConfig(kLibraryBase, library, config));
  if (profile->Init(working.Session(), pluginConfig) != UDM_SUCCESS) {
    ThrowUDMException(kSignature, "The connect profile of " + config->GetIdentifier() + " did not initialise",
                      ExcCatState, ExcSubGeneral);
  }
  working.Keep();
  return profile;
}

void UDMDataConnectionMgr::RemoveDataConnectionProfile(const vqString& identifier) {
  boost::shared_ptr<IUDMProfile> released;
  std::lock_guard<std::mutex> lock(ManagerMutex());
  auto found = m_profiles.find(identifier);
  if (found == m_profiles.end()) return;
  released.swap(found->second);
  m_profiles.erase(found);
}

void UDMDataConnectionMgr::RemoveDataConnectionProfile(const IUDMProfile* profile) {
  boost::shared_ptr<IUDMProfile> released;
  std::lock_guard<std::mutex> lock(ManagerMutex());
  for (auto it = m_profiles.begin(); it != m_profiles.end(); ++it) {
    if (it->second.get() != profile) continue;
    released.swap(it->second);
    m_profiles.erase(it);
    return;
  }
}

}  // namespace vqkudm
