#pragma once

// The process's runtime: its logger and where the runtime is installed.
// Sessions and the repository registry are added by the session layer.

#include <map>
#include <mutex>

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class IUDMSession;
class UDMLogger;
class UDMRetrieveConfig;
class UDMSessionConfig;

// Directories of an installed (or built) runtime. All absolute.
struct VQKUDMRT_API UDMInstallLayout {
  vqString homeDir;     // the installation prefix
  vqString libraryDir;  // holds the runtime's shared libraries
  vqString pluginDir;   // loadable plug-ins
  vqString driverDir;   // database drivers
  vqString dataDir;     // default configuration and definitions

  // The layout under an installation prefix.
  static UDMInstallLayout UnderHome(const vqString& homeDir);
  // The layout around a directory that holds the runtime's libraries.
  static UDMInstallLayout AroundLibraryDir(const vqString& libraryDir);
};

class VQKUDMRT_API UDMFramework {
 public:
  // The process's framework; created on first use, never null.
  static UDMFramework* GetInstance();

  // The runtime's logger. By default it appends to "udmrt.log" in the
  // directory named by UDMRT_LOGDIR at threshold info, or writes warnings
  // and worse to standard error when that variable is not set.
  boost::shared_ptr<UDMLogger> GetLogger();
  void SetLogger(const boost::shared_ptr<UDMLogger>& logger);

  // Where plug-ins, drivers and the default data are. Found relative to the
  // directory of the runtime's own library, so an installed copy works from
  // any prefix; UDMRT_HOME, when set, names the prefix instead.
  const UDMInstallLayout& GetInstallLayout() const { return m_layout; }

  // Opens a session on the repository the configuration names. The framework
  // is the only strong owner of its sessions: after DeleteSession every weak
  // reference to the session expires. Raises UDMException when the
  // repository cannot be opened; never returns null.
  boost::shared_ptr<IUDMSession> CreateSession(boost::shared_ptr<UDMSessionConfig>& config);
  void DeleteSession(const boost::shared_ptr<IUDMSession>& session);
  // The open session of that identifier, or null.
  boost::shared_ptr<IUDMSession> FindSession(const vqString& sessionId);

  // The registry of repositories and workspaces (UDMRegistry): sessions
  // register theirs when they open. The retrieve configuration's user name
  // filters (empty: everyone's).
  void GetRepositories(vqStlVector<vqString>& ids, const boost::shared_ptr<UDMRetrieveConfig>& config);
  void GetWorkspaces(vqStlVector<vqString>& names, const boost::shared_ptr<UDMRetrieveConfig>& config);
  vqString AddExistingRepository(const boost::shared_ptr<UDMSessionConfig>& config, const vqString& name);
  // Refuses while a session of this process has the repository open, unless `force`.
  void DeleteRepository(const boost::shared_ptr<UDMSessionConfig>& config, bool deleteData, bool force);
  void SetDefaultRepository(const boost::shared_ptr<UDMSessionConfig>& config);
  // Removes the workspace directory the configuration names and forgets it;
  // refused while a session of this process works in it.
  void DeleteWorkspace(const boost::shared_ptr<UDMSessionConfig>& config);

  // Tries a connection without opening a repository; false with the reason
  // in `message` when it cannot be made. "local" (or empty): `file` is the
  // repository base directory, which must exist and be writable; "UDMXML":
  // `file` must exist; "PostGres": connects to `database` on `host`:`port`
  // as `user` and reports the server's own error; "Teamcenter" and
  // "Windchill": reaches `host`:`port` within a few seconds.
  bool CheckConnection(const vqString& dataSource, const vqString& host, const vqString& port,
                       const vqString& database, const vqString& user, const vqString& password, const vqString& file,
                       vqString& message);

  UDMFramework(const UDMFramework&) = delete;
  UDMFramework& operator=(const UDMFramework&) = delete;

 private:
  UDMFramework();
  ~UDMFramework();

  std::mutex m_mutex;
  boost::shared_ptr<UDMLogger> m_logger;
  std::map<vqString, boost::shared_ptr<IUDMSession>> m_sessions;
  UDMInstallLayout m_layout;
};

}  // namespace vqkudm
