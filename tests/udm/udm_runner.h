#pragma once

// Runs the staged udm binary as a user would: in a directory of its own,
// with the registry and HOME in a temporary directory.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "temp_dir.h"

struct UdmResult {
  int status = -1;
  std::string out;
  std::string err;
  nlohmann::json json() const { return nlohmann::json::parse(out); }
};

class UdmTest : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(m_work); }

  // `udm args...` in the working directory, with `environment` ("NAME=value" words) added.
  UdmResult Udm(const std::vector<std::string>& args, const std::string& environment = "") {
    std::string command = "cd " + Quote(m_work.string()) + " && env NORVEL_VQK_UDMRT_DB_DIR=" +
                          Quote((m_dir.path() / "registry").string()) + " HOME=" + Quote(m_dir.path().string()) +
                          " " + environment + " " + Quote(UDM_BINARY);
    for (const std::string& arg : args) command += " " + Quote(arg);
    const std::string out = (m_dir.path() / "stdout").string(), err = (m_dir.path() / "stderr").string();
    command += " >" + Quote(out) + " 2>" + Quote(err);
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Read(out), Read(err)};
  }

  static std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
  }

  static std::string Read(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  TestDirectory m_dir{"vqkudm-udm"};
  std::filesystem::path m_work = m_dir.path() / "project";
};

// With a repository made by `udm init` in the test's directory.
class UdmRepositoryTest : public UdmTest {
 protected:
  void SetUp() override {
    UdmTest::SetUp();
    ASSERT_EQ(Udm({"init"}).status, 0);
  }
};

inline std::vector<std::string> Names(const nlohmann::json& items) {
  std::vector<std::string> names;
  for (const nlohmann::json& item : items) names.push_back(item["name"].get<std::string>());
  return names;
}
