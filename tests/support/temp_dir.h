#pragma once

// A directory of its own for each test, removed afterwards.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

class TestDirectory {
 public:
  explicit TestDirectory(const std::string& prefix) {
    std::string name = prefix + "-" + std::to_string(::getpid());
    if (const auto* test = ::testing::UnitTest::GetInstance()->current_test_info()) {
      name += std::string("-") + test->test_suite_name() + "-" + test->name();
    }
    for (char& c : name) {
      if (c == '/') c = '_';
    }
    m_path = std::filesystem::temp_directory_path() / name;
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
  }
  ~TestDirectory() { std::filesystem::remove_all(m_path); }
  TestDirectory(const TestDirectory&) = delete;
  TestDirectory& operator=(const TestDirectory&) = delete;

  const std::filesystem::path& path() const { return m_path; }

 private:
  std::filesystem::path m_path;
};
