#pragma once

// Where a command's repository is and how it is opened. An embedded
// repository made by `udm init DIR` lives in DIR/.udm/<name>/ with its
// workspace in DIR/.udm/workspace; others are found in the registry.

#include <filesystem>
#include <string>

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMProfileExtensions.h>

namespace udm {

struct Options;

using ConfigMap = vqStlMap<vqString, vqVariant>;

// The workspace directory name under DIR/.udm; no repository may take it.
inline constexpr const char* kWorkspaceName = "workspace";

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

// The repository a command works on, opened for the life of the object with
// the user's saved work taken up again.
class OpenRepository {
 public:
  explicit OpenRepository(const Options& options);
  ~OpenRepository();
  OpenRepository(const OpenRepository&) = delete;
  OpenRepository& operator=(const OpenRepository&) = delete;

  vqkudm::IUDMProfile& profile() const { return *m_profile; }
  const boost::shared_ptr<vqkudm::IUDMProfile>& pointer() const { return m_profile; }
  // The drafts and check-outs of the user, as taken up when opening.
  const vqStlVector<vqkudm::UDMResumedWork>& work() const { return m_work; }

 private:
  boost::shared_ptr<vqkudm::IUDMProfile> m_profile;
  vqStlVector<vqkudm::UDMResumedWork> m_work;
};

}  // namespace udm
