#include <vqkudmrt/UDMFramework.h>

#include <filesystem>

#include <unistd.h>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMRegistry.h>
#include <vqkudmrt/UDMRetrieveConfig.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmosa/osaLibrary.h>
#include <vqlmosa/osaNetwork.h>
#include <vqutl/vqLMUtils.h>

#include "../session/RepositoryLocation.h"

namespace vqkudm {

namespace {

// Anything whose address lies in this library.
void LibraryAnchor() {}

vqString Join(const vqString& base, const char* relative) {
  return (std::filesystem::path(base.str()) / relative).lexically_normal().string();
}

vqString StripTrailingSeparator(vqString path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

boost::shared_ptr<UDMLogger> CreateDefaultLogger() {
  const vqString logDir = vqLMUtils::UtilsGetEnv(kEnvUdmrtLogDir);
  if (!logDir.empty()) {
    return boost::shared_ptr<UDMLogger>(new UDMLogger(Join(logDir, "udmrt.log"), UDMLogger::LevelInfo));
  }
  return boost::shared_ptr<UDMLogger>(new UDMLogger(vqString(), UDMLogger::LevelWarning));
}

UDMInstallLayout FindInstallLayout() {
  const vqString home = vqLMUtils::UtilsGetEnv(kEnvUdmrtHome);
  if (!home.empty()) return UDMInstallLayout::UnderHome(home);
  const vqString self = osaLibrary::GetLibraryPathOf(reinterpret_cast<const void*>(&LibraryAnchor));
  return UDMInstallLayout::AroundLibraryDir(std::filesystem::path(self.str()).parent_path().string());
}

}  // namespace

UDMInstallLayout UDMInstallLayout::UnderHome(const vqString& homeDir) {
  return AroundLibraryDir(Join(homeDir, VQKUDM_INSTALL_LIBDIR));
}

UDMInstallLayout UDMInstallLayout::AroundLibraryDir(const vqString& libraryDir) {
  UDMInstallLayout layout;
  layout.libraryDir = StripTrailingSeparator(Join(libraryDir, "."));
  layout.homeDir = StripTrailingSeparator(Join(libraryDir, VQKUDM_REL_HOMEDIR));
  layout.pluginDir = Join(libraryDir, VQKUDM_REL_PLUGINDIR);
  layout.driverDir = Join(libraryDir, VQKUDM_REL_DRIVERDIR);
  layout.dataDir = Join(libraryDir, VQKUDM_REL_DATADIR);
  return layout;
}

UDMFramework* UDMFramework::GetInstance() {
  static UDMFramework instance;
  return &instance;
}

UDMFramework::UDMFramework() : m_layout(FindInstallLayout()) {}

UDMFramework::~UDMFramework() = default;

boost::shared_ptr<UDMLogger> UDMFramework::GetLogger() {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_logger) m_logger = CreateDefaultLogger();
  return m_logger;
}

void UDMFramework::SetLogger(const boost::shared_ptr<UDMLogger>& logger) {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_logger = logger;
}

boost::shared_ptr<IUDMSession> UDMFramework::CreateSession(boost::shared_ptr<UDMSessionConfig>& config) {
  boost::shared_ptr<IUDMSession> session = UDMSession::Open(config);
  if (config->IsRegistered()) {
    try {
      UDMRegistry().Register(*config, session->GetUserName());
    } catch (const UDMException& e) {
      // The registry is a convenience; a repository works without it.
      GetLogger()->LogMessage(vqString("cannot register the repository: ") + e.what(), UDMLogger::LevelWarning);
    }
  }
  std::lock_guard<std::mutex> lock(m_mutex);
  m_sessions[session->GetSessionId()] = session;
  return session;
}

void UDMFramework::DeleteSession(const boost::shared_ptr<IUDMSession>& session) {
  if (!session) return;
  boost::shared_ptr<IUDMSession> last;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_sessions.find(session->GetSessionId());
    if (it == m_sessions.end()) return;
    last = it->second;
    m_sessions.erase(it);
  }
  // `last` (and the caller's reference) release the session outside the lock.
}

void UDMFramework::GetRepositories(vqStlVector<vqString>& ids, const boost::shared_ptr<UDMRetrieveConfig>& config) {
  for (const UDMRepositoryRecord& r : UDMRegistry().GetRepositories(config ? config->GetUserName() : vqString())) {
    ids.push_back(r.id);
  }
}

void UDMFramework::GetWorkspaces(vqStlVector<vqString>& names, const boost::shared_ptr<UDMRetrieveConfig>& config) {
  for (const UDMWorkspaceRecord& w : UDMRegistry().GetWorkspaces(config ? config->GetUserName() : vqString())) {
    names.push_back(w.name);
  }
}

vqString UDMFramework::AddExistingRepository(const boost::shared_ptr<UDMSessionConfig>& config, const vqString& name) {
  if (!config) ThrowNullArgument(UDM_FUNCSIG, "session configuration ");
  return UDMRegistry().AddExistingRepository(*config, name, config->GetUserName());
}

void UDMFramework::DeleteRepository(const boost::shared_ptr<UDMSessionConfig>& config, bool deleteData, bool force) {
  if (!config) ThrowNullArgument(UDM_FUNCSIG, "session configuration ");
  if (!force) {
    vqString openIn;
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      for (const auto& [id, session] : m_sessions) {
        boost::shared_ptr<UDMSessionConfig> open = session->GetSessionConfig();
        if (open && UDMRegistry::SameRepository(*open, *config)) openIn = id;
      }
    }
    // Raised outside the lock: raising logs through the framework.
    if (!openIn.empty()) {
      ThrowStateException(UDM_FUNCSIG,
                          "the repository \"" + config->GetRepositoryName() + "\" is open in session " + openIn,
                          ExcSubConflict);
    }
  }
  UDMRegistry().DeleteRepository(*config, deleteData);
}

void UDMFramework::SetDefaultRepository(const boost::shared_ptr<UDMSessionConfig>& config) {
  if (!config) ThrowNullArgument(UDM_FUNCSIG, "session configuration ");
  UDMRegistry().SetDefaultRepository(*config);
}

void UDMFramework::DeleteWorkspace(const boost::shared_ptr<UDMSessionConfig>& config) {
  if (!config) ThrowNullArgument(UDM_FUNCSIG, "session configuration ");
  const vqString directory = session::WorkspaceDirectory(*config);
  if (directory.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "workspace name ");
  vqString usedBy;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& [id, open] : m_sessions) {
      if (open->GetWorkspaceDir() == directory) usedBy = id;
    }
  }
  if (!usedBy.empty()) {
    ThrowStateException(UDM_FUNCSIG, "the workspace " + directory + " is in use by session " + usedBy, ExcSubConflict);
  }
  std::error_code error;
  std::filesystem::remove_all(directory.str(), error);
  if (error) ThrowFileException(UDM_FUNCSIG, "cannot remove " + directory + ": " + error.message(), ExcSubIo);
  UDMRegistry().DeleteWorkspace(directory);
}

bool UDMFramework::CheckConnection(const vqString& dataSource, const vqString& host, const vqString& port,
                                   const vqString& database, const vqString& user, const vqString& password,
                                   const vqString& file, vqString& message) {
  auto answer = [&](bool ok, const vqString& text) {
    message = text;
    return ok;
  };
  if (dataSource.empty() || dataSource == "local" || dataSource == "UDMXML") {
    if (!std::filesystem::exists(file.str())) return answer(false, "File " + file + " does not exist.");
    if (dataSource == "UDMXML") return answer(true, "File " + file + " exists.");
    if (::access(file.c_str(), W_OK) != 0) return answer(false, "Directory " + file + " is not writable.");
    return answer(true, "Repositories can be kept in " + file + ".");
  }
  if (dataSource == "PostGres") {
    UDMSessionConfig config;
    config.SetDataSource(dataSource);
    config.SetRepositoryName(database);
    config.SetLMRepoClientSettings({{"dbhost", host}, {"dbport", port}, {"dbusername", user}, {"dbpasswd", password}});
    try {
      const session::RepositoryLocation location = session::LocateRepository(config);
      store::ConnectDatabase(location.driver, location.connection);
    } catch (const UDMException& e) {
      return answer(false, e.what());
    }
    return answer(true, "Connected to the database " + database + " on " + host + ":" + port + ".");
  }
  if (dataSource == "Teamcenter" || dataSource == "Windchill") {
    int number = 0;
    if (!port.ToInt(number)) return answer(false, "The port \"" + port + "\" of " + host + " is not a number.");
    const osaStatus reached = osaNetwork::TryConnect(host, number, 3000);
    if (!reached.IsOk()) return answer(false, reached.GetText());
    return answer(true, "Reached " + host + ":" + port + ".");
  }
  return answer(false, "Unknown DataSource \"" + dataSource +
                           "\": expected local, PostGres, UDMXML, Teamcenter or Windchill");
}

boost::shared_ptr<IUDMSession> UDMFramework::FindSession(const vqString& sessionId) {
  std::lock_guard<std::mutex> lock(m_mutex);
  auto it = m_sessions.find(sessionId);
  return it == m_sessions.end() ? boost::shared_ptr<IUDMSession>() : it->second;
}

}  // namespace vqkudm
