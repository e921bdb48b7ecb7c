#include "FuzzSupport.h"

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/pointer_cast.hpp>

#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>

namespace vqkudm::fuzz {

namespace fs = std::filesystem;

namespace {

// Never destroyed: CleanUp, an exit handler, may run after static destructors.
std::vector<boost::shared_ptr<UDMSession>>& OpenSessions() {
  static auto* sessions = new std::vector<boost::shared_ptr<UDMSession>>;
  return *sessions;
}

void CleanUp() {
  for (const auto& session : OpenSessions()) UDMFramework::GetInstance()->DeleteSession(session);
  OpenSessions().clear();
  std::error_code ignored;
  fs::remove_all(ScratchDir(), ignored);
}

}  // namespace

const std::string& ScratchDir() {
  // Never destroyed, like OpenSessions.
  static const std::string* dir = new std::string([] {
    std::string pattern = (fs::temp_directory_path() / "vqkudm-fuzz-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) std::abort();
    fs::create_directories(fs::path(pattern) / "tmp");
    // Archives unpack, and exports stage, under the temporary directory.
    ::setenv("TMPDIR", (fs::path(pattern) / "tmp").c_str(), 1);
    ::setenv("NORVEL_VQK_UDMRT_DB_DIR", (fs::path(pattern) / "registry").c_str(), 1);
    ::unsetenv("UDMRT_LOGDIR");
    // The framework first, so that it is still there when CleanUp runs.
    UDMFramework::GetInstance();
    std::atexit(CleanUp);
    return pattern;
  }());
  return *dir;
}

std::string WriteScratchFile(const std::string& name, const std::uint8_t* data, std::size_t size) {
  const fs::path path = fs::path(ScratchDir()) / name;
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  return path.string();
}

boost::shared_ptr<UDMSession> OpenRepository(const std::string& name, int mode) {
  auto config = boost::make_shared<UDMSessionConfig>();
  config->SetRepositoryBaseDir(ScratchDir());
  config->SetRepositoryName(name);
  config->SetWorkspaceBaseDir(ScratchDir());
  config->SetWorkspaceName("ws-" + name);
  config->SetUserName("fuzz");
  config->SetDataSource("local");
  config->SetMode(mode);
  config->SetRegistered(false);
  auto session =
      boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->CreateSession(config));
  if (!session) std::abort();
  OpenSessions().push_back(session);
  return session;
}

void CloseRepository(boost::shared_ptr<UDMSession>& session) {
  if (!session) return;
  const fs::path repository =
      fs::path(ScratchDir()) / session->GetSessionConfig()->GetRepositoryName().str();
  const fs::path workspace = session->GetWorkspaceDir().str();
  auto& sessions = OpenSessions();
  for (auto it = sessions.begin(); it != sessions.end(); ++it) {
    if (*it == session) {
      sessions.erase(it);
      break;
    }
  }
  UDMFramework::GetInstance()->DeleteSession(session);
  session.reset();
  std::error_code ignored;
  fs::remove_all(repository, ignored);
  fs::remove_all(workspace, ignored);
}

}  // namespace vqkudm::fuzz
