#pragma once

// Where a command's repository is and how it is opened, in the layout of
// vqkudm/UDMRepositoryLayout.h: an embedded repository made by `udm init
// DIR` lives in DIR/.udm/<name>/; others are found in the registry.

#include <filesystem>
#include <memory>
#include <string>

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMProfileExtensions.h>

namespace udm {

struct Options;

using ConfigMap = vqStlMap<vqString, vqVariant>;

// The .udm directory of `dir`.
std::filesystem::path UdmDirectory(const std::filesystem::path& dir);
// The map that opens the embedded repository `name` of the .udm directory `udmDir`.
ConfigMap LocalConfiguration(const std::filesystem::path& udmDir, const std::string& name);
// The name of the one repository in the .udm directory `udmDir`; refused when it holds none.
std::string LocalRepositoryName(const std::filesystem::path& udmDir);
// The registry's directory: NORVEL_VQK_UDMRT_DB_DIR, else ~/.vqkudm.
std::filesystem::path RegistryDirectory();
// The map that opens the registered repository of that name or identifier,
// with its workspace (its base directory's, or one beside the registry).
ConfigMap RegisteredConfiguration(const std::string& nameOrId);
// The repository the command names: --repo, else UDM_REPO, else the .udm of
// the working directory or a parent, else the registered default.
ConfigMap Locate(const Options& options);

// The repository a command works on, opened for the life of the object.
class OpenRepository {
 public:
  // What a command sees: the user's saved work taken up (kWork), or only
  // what is stored, leaving the user's check-outs where they are (kStored).
  enum Mode { kWork, kStored };
  explicit OpenRepository(const Options& options, Mode mode = kWork);
  ~OpenRepository();
  OpenRepository(const OpenRepository&) = delete;
  OpenRepository& operator=(const OpenRepository&) = delete;

  vqkudm::IUDMProfile& profile() const { return *m_profile; }
  const boost::shared_ptr<vqkudm::IUDMProfile>& pointer() const { return m_profile; }
  // The drafts and check-outs of the user, as taken up when opening.
  const vqStlVector<vqkudm::UDMResumedWork>& work() const { return m_work; }
  // The user's work on `item`, or null.
  const vqkudm::UDMResumedWork* WorkOf(const vqkudm::UDMItemHandle& item) const;
  // Never checked in.
  bool IsNew(const vqkudm::UDMItemHandle& item) const;

 private:
  boost::shared_ptr<vqkudm::IUDMProfile> m_profile;
  vqStlVector<vqkudm::UDMResumedWork> m_work;
};

// The stored revisions, read where no draft stands in for one: the user's
// session hands back a checked-out revision (even named ITEM@REV) as the
// working copy. A second session without the saved work is opened, on first
// use, only when there is some.
class StoredRevisions {
 public:
  StoredRevisions(const Options& options, const OpenRepository& repository)
      : m_options(options), m_repository(repository) {}

  vqkudm::IUDMProfile& profile() const;

 private:
  const Options& m_options;
  const OpenRepository& m_repository;
  mutable std::unique_ptr<OpenRepository> m_stored;
};

}  // namespace udm
