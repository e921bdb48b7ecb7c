#include "Repository.h"

#include <cstdlib>

#include <vqkudm/UDMProfileMgr.h>
#include <vqkudm/UDMRepositoryLayout.h>

#include "Failure.h"
#include "Tool.h"

namespace fs = std::filesystem;

namespace udm {

namespace {

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// The nearest directory from `start` upwards that holds a .udm directory.
bool FindUpwards(const fs::path& start, fs::path& out) {
  for (fs::path dir = fs::absolute(start); !dir.empty(); dir = dir.parent_path()) {
    if (fs::is_directory(UdmDirectory(dir))) {
      out = dir;
      return true;
    }
    if (dir == dir.parent_path()) break;
  }
  return false;
}

ConfigMap ConfigurationOfDirectory(const fs::path& dir) {
  const fs::path udmDir = UdmDirectory(dir);
  return LocalConfiguration(udmDir, LocalRepositoryName(udmDir));
}

ConfigMap DefaultConfiguration() {
  ConfigMap everyone = {{"username", vqVariant("")}};
  vqStlVector<vqString> ids;
  vqkudm::UDMProfileMgr::GetRepositoryIds(ids, everyone, 0);
  for (const vqString& id : ids) {
    vqStlMap<vqString, vqString> info;
    vqkudm::UDMProfileMgr::GetRepositoryInfo(info, id, everyone);
    if (info["is_default"] == "true") return RegisteredConfiguration(id);
  }
  Refuse("", "no repository here: run `udm init`, or name one with --repo or UDM_REPO", vqkudm::ExcSubNotFound);
}

}  // namespace

fs::path UdmDirectory(const fs::path& dir) { return vqkudm::UDMRepositoryLayout::UdmDirectory(dir.string()).str(); }

ConfigMap LocalConfiguration(const fs::path& udmDir, const std::string& name) {
  return vqkudm::UDMRepositoryLayout::LocalConfiguration(udmDir.string(), name);
}

std::string LocalRepositoryName(const fs::path& udmDir) {
  const vqString name = vqkudm::UDMRepositoryLayout::LocalRepositoryName(udmDir.string());
  if (name.empty()) Refuse("", "no repository in " + udmDir.string(), vqkudm::ExcSubNotFound);
  return name.str();
}

fs::path RegistryDirectory() { return vqkudm::UDMRepositoryLayout::RegistryDirectory().str(); }

ConfigMap RegisteredConfiguration(const std::string& nameOrId) {
  return vqkudm::UDMRepositoryLayout::RegisteredConfiguration(nameOrId);
}

ConfigMap Locate(const Options& options) {
  const std::string named = !options.repo.empty() ? options.repo : Environment("UDM_REPO");
  if (!named.empty()) {
    if (fs::is_directory(UdmDirectory(named))) return ConfigurationOfDirectory(named);
    return RegisteredConfiguration(named);
  }
  fs::path dir;
  if (FindUpwards(fs::current_path(), dir)) return ConfigurationOfDirectory(dir);
  return DefaultConfiguration();
}

OpenRepository::OpenRepository(const Options& options, Mode mode)
    : m_profile(vqkudm::UDMProfileMgr::GetProfile(Locate(options))) {
  if (mode == kWork) vqkudm::UDMProfileExtensions::ResumeSavedWork(m_profile, m_work);
}

OpenRepository::~OpenRepository() {
  m_work.clear();
  try {
    vqkudm::UDMProfileMgr::DiscardProfile(m_profile);
  } catch (const vqkudm::UDMException&) {
    // The command's own outcome is what the user needs; the process ends anyway.
  }
}

const vqkudm::UDMResumedWork* OpenRepository::WorkOf(const vqkudm::UDMItemHandle& item) const {
  for (const vqkudm::UDMResumedWork& work : m_work) {
    if (work.item == item) return &work;
  }
  return nullptr;
}

bool OpenRepository::IsNew(const vqkudm::UDMItemHandle& item) const {
  const vqkudm::UDMResumedWork* work = WorkOf(item);
  return work && work->isNew;
}

vqkudm::IUDMProfile& StoredRevisions::profile() const {
  if (m_repository.work().empty()) return m_repository.profile();
  if (!m_stored) m_stored = std::make_unique<OpenRepository>(m_options, OpenRepository::kStored);
  return m_stored->profile();
}

}  // namespace udm
