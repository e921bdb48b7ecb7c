#pragma once

// Connections opened as applications open them: through the profile
// manager, with the connect profile loaded by name from the installation's
// plug-in directory, and the working repositories under a registry
// directory of the test's own.

#include <vqkudm/UDMDataConnectionMgr.h>
#include <vqkudm/UDMProfileMgr.h>

#include <cstdlib>
#include <filesystem>

#include "raised_by.h"
#include "temp_dir.h"

class ConnectTest : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("NORVEL_VQK_UDMRT_DB_DIR", m_dir.path().c_str(), 1); }
  void TearDown() override {
    vqkudm::UDMDataConnectionMgr::DestroyInstance();
    ::unsetenv("NORVEL_VQK_UDMRT_DB_DIR");
  }

  std::filesystem::path ConnectionsDir() const { return m_dir.path() / "connections"; }
  size_t WorkingDirectories() const {
    if (!std::filesystem::exists(ConnectionsDir())) return 0;
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(ConnectionsDir())) ++count;
    return count;
  }

  TestDirectory m_dir{"vqkudm-connect"};
};
