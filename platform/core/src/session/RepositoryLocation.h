#pragma once

#include <vqutl/vqString.h>

namespace vqkudm {
class UDMSessionConfig;
}

namespace vqkudm::session {

struct RepositoryLocation {
  vqString driver;      // database driver name
  vqString connection;  // the driver's connection text
  // Where file contents live: a directory (local repositories beside their
  // database; server repositories at the client setting "vaultdir", shared
  // by every client), or empty for the repository database itself.
  vqString vaultDir;
};

// Where the configured repository lives. "local": one SQLite file in
// RepositoryBaseDir/RepositoryName/ (created on first use). "PostGres": the
// server named by the client settings, database RepositoryName. Raises
// UDMException naming what is missing or unusable.
RepositoryLocation LocateRepository(const UDMSessionConfig& config);

// The SQLite file of a local repository.
vqString LocalDatabaseFile(const UDMSessionConfig& config);
// WorkspaceBaseDir/WorkspaceName, or empty when the configuration names none.
vqString WorkspaceDirectory(const UDMSessionConfig& config);

// The workspace directory WorkspaceBaseDir/WorkspaceName, created when
// missing; empty when the configuration names none.
vqString PrepareWorkspace(const UDMSessionConfig& config);

}  // namespace vqkudm::session
