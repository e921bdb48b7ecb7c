#pragma once

// The installation's registry of the repositories and workspaces its
// sessions have used: one JSON file, "registry.json", in the directory named
// by NORVEL_VQK_UDMRT_DB_DIR, else in ~/.vqkudm. Sessions register their
// repository and workspace when they open; applications list them, add an
// existing repository, remove one and choose the default. Written whole to
// a temporary file and renamed, so a crash never leaves half a registry.

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class UDMSessionConfig;

struct VQKUDMRT_API UDMRepositoryRecord {
  vqString id;           // stable identifier of the registration
  vqString name;         // RepositoryName
  vqString type;         // "local" or "PostGres"
  vqString profileName;  // the user profile it was opened with
  vqString baseDir;      // RepositoryBaseDir (local)
  vqString databaseFile; // the SQLite file (local)
  vqString dbHost, dbPort;
  vqString userName;     // who registered it
  bool isDefault = false;
};

struct VQKUDMRT_API UDMWorkspaceRecord {
  vqString name;
  vqString workingDir;
  vqString hostName;
  vqString userName;
  bool isDefault = false;
};

class VQKUDMRT_API UDMRegistry {
 public:
  // The registry file of this installation and user.
  static vqString DefaultFile();
  explicit UDMRegistry(const vqString& file = DefaultFile());

  // Registers the configuration's repository and workspace when they are not
  // yet known; the first repository registered becomes the default.
  void Register(const UDMSessionConfig& config, const vqString& userName);

  // Repositories registered by `userName` (empty: by anyone), in registration order.
  vqStlVector<UDMRepositoryRecord> GetRepositories(const vqString& userName) const;
  vqStlVector<UDMWorkspaceRecord> GetWorkspaces(const vqString& userName) const;
  // False when no repository has that identifier or name.
  bool FindRepository(const vqString& idOrName, UDMRepositoryRecord& out) const;

  // Registers a repository that exists already under `name` (a local one
  // must have its database file); raises naming what is missing. Returns
  // the registration's identifier.
  vqString AddExistingRepository(const UDMSessionConfig& config, const vqString& name, const vqString& userName);
  // Forgets the configuration's repository; with `deleteData` a local
  // repository's directory is removed too. Raises when it is not registered.
  // Forgets the repository; with `deleteData` first removes its data: an
  // embedded repository's directory (database and vault), a server
  // repository's tables and shared vault directory.
  void DeleteRepository(const UDMSessionConfig& config, bool deleteData);
  // Forgets the workspace of that directory; an unknown one is ignored.
  void DeleteWorkspace(const vqString& workingDir);
  void SetDefaultRepository(const UDMSessionConfig& config);

  // Whether two configurations name the same repository.
  static bool SameRepository(const UDMSessionConfig& a, const UDMSessionConfig& b);

 private:
  struct Contents {
    vqStlVector<UDMRepositoryRecord> repositories;
    vqStlVector<UDMWorkspaceRecord> workspaces;
  };
  Contents Read() const;
  void Write(const Contents& contents) const;
  static void RemoveRepositoryData(const UDMSessionConfig& config);
  static UDMRepositoryRecord RecordOf(const UDMSessionConfig& config, const vqString& userName);
  static bool Matches(const UDMRepositoryRecord& record, const UDMSessionConfig& config);

  vqString m_file;
};

}  // namespace vqkudm
