#include "RepositoryLocation.h"

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqlmosa/osaDirectory.h>

namespace vqkudm::session {

namespace {

const char* const kLocalDatabaseFile = "repository.db";

void CreateDirectory(const vqString& path, const char* signature) {
  const osaStatus status = osaDirectory::Create(path, 0777, true);
  if (!status.IsOk()) ThrowFileException(signature, status.GetText(), ExcSubFolderCreation);
}

// A libpq keyword value: quoted, with quotes and backslashes escaped.
vqString QuoteConnectionValue(const vqString& value) {
  vqString quoted = "'";
  for (char c : value) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

vqString Setting(const UDMSessionConfig& config, const char* key) {
  auto it = config.GetLMRepoClientSettings().find(key);
  return it == config.GetLMRepoClientSettings().end() ? vqString() : it->second;
}

}  // namespace

RepositoryLocation LocateRepository(const UDMSessionConfig& config) {
  if (config.GetRepositoryName().empty()) ThrowEmptyArgument(UDM_FUNCSIG, "RepositoryName ");
  if (config.IsLocalDataSource()) {
    if (config.GetRepositoryBaseDir().empty()) ThrowEmptyArgument(UDM_FUNCSIG, "RepositoryBaseDir ");
    if (config.GetRepositoryName().find_first_of("/\\") != vqString::npos ||
        config.GetRepositoryName() == "." || config.GetRepositoryName() == "..") {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "the repository name \"" + config.GetRepositoryName() +
                                   "\" must be a plain directory name",
                               ExcSubWrongType);
    }
    const vqString dir = config.GetRepositoryBaseDir() + "/" + config.GetRepositoryName();
    CreateDirectory(dir, UDM_FUNCSIG);
    return {"sqlite", LocalDatabaseFile(config), dir + "/vault"};
  }
  if (config.GetDataSource().EqualsNoCase("PostGres")) {
    vqString connection = Setting(config, "dbconnectstring");
    if (connection.empty()) {
      const struct {
        const char* keyword;
        const char* setting;
      } parts[] = {{"host", "dbhost"}, {"port", "dbport"}, {"user", "dbusername"}, {"password", "dbpasswd"}};
      for (const auto& part : parts) {
        const vqString value = Setting(config, part.setting);
        if (!value.empty()) connection += vqString(part.keyword) + "=" + QuoteConnectionValue(value) + " ";
      }
      connection += "dbname=" + QuoteConnectionValue(config.GetRepositoryName());
    }
    return {"postgres", connection, Setting(config, "vaultdir")};
  }
  ThrowInvalidArgException(UDM_FUNCSIG,
                           "unknown data source \"" + config.GetDataSource() +
                               "\"; a session opens \"local\" or \"PostGres\" repositories",
                           ExcSubNotFound);
}

vqString LocalDatabaseFile(const UDMSessionConfig& config) {
  return config.GetRepositoryBaseDir() + "/" + config.GetRepositoryName() + "/" + kLocalDatabaseFile;
}

vqString WorkspaceDirectory(const UDMSessionConfig& config) {
  if (config.GetWorkspaceBaseDir().empty() || config.GetWorkspaceName().empty()) return vqString();
  return config.GetWorkspaceBaseDir() + "/" + config.GetWorkspaceName();
}

vqString PrepareWorkspace(const UDMSessionConfig& config) {
  const vqString dir = WorkspaceDirectory(config);
  if (!dir.empty()) CreateDirectory(dir, UDM_FUNCSIG);
  return dir;
}

}  // namespace vqkudm::session
