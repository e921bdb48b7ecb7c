#pragma once

// A fresh embedded repository per test, reached as applications reach it:
// through the profile manager, with the profile loaded by name as the
// session's "Core" plug-in.

#include <vqkudm/UDMCoreProfile.h>
#include <vqkudm/UDMProfileMgr.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMSession.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>

#include "raised_by.h"
#include "temp_dir.h"

class ProfileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("NORVEL_VQK_UDMRT_DB_DIR", m_dir.path().c_str(), 1);
    m_profile = OpenProfile();
  }
  void TearDown() override {
    for (auto& profile : m_opened) {
      if (profile) {
        try {
          vqkudm::UDMProfileMgr::DiscardProfile(profile);
        } catch (const vqkudm::UDMException&) {
          // Already discarded by the test.
        }
      }
    }
  }

  // A profile through the configuration map, as applications open one; on
  // another repository beside the test's own when `repository` names one.
  boost::shared_ptr<vqkudm::IUDMProfile> OpenProfile(const std::string& repository = "repo") {
    vqStlMap<vqString, vqVariant> configuration;
    configuration["RepositoryBaseDir"] = m_dir.path().string();
    configuration["RepositoryName"] = repository;
    configuration["WorkspaceBaseDir"] = m_dir.path().string();
    configuration["WorkspaceName"] = "ws";
    m_opened.push_back(vqkudm::UDMProfileMgr::GetProfile(configuration));
    return m_opened.back();
  }

  // A profile on a session of another user, or in another mode.
  boost::shared_ptr<vqkudm::IUDMProfile> OpenProfileAs(const std::string& user, int mode = 0) {
    auto config = boost::make_shared<vqkudm::UDMSessionConfig>();
    config->SetRepositoryBaseDir(m_dir.path().string());
    config->SetRepositoryName("repo");
    config->SetWorkspaceBaseDir(m_dir.path().string());
    config->SetWorkspaceName("ws-" + user);
    config->SetUserName(user);
    config->SetMode(mode);
    vqString key = "Core";
    m_opened.push_back(vqkudm::UDMProfileMgr::GetProfile(config, key));
    return m_opened.back();
  }

  vqkudm::UDMSession& SessionOf(const boost::shared_ptr<vqkudm::IUDMProfile>& profile) {
    auto session = vqkudm::UDMFramework::GetInstance()->FindSession(profile->GetSessionId());
    return dynamic_cast<vqkudm::UDMSession&>(*session);
  }

  // A stored part, checked in once.
  vqkudm::UDMItemHandle StoredPart(const std::string& name) {
    vqkudm::UDMItemHandle part = m_profile->CreateEntity("UDMPart", name);
    m_profile->Persist(part, "created", false, false, false);
    return part;
  }

  // A new revision of `item`: check-out, one attribute, check-in.
  void CheckIn(vqkudm::UDMItemHandle& item, const std::string& description) {
    m_profile->Checkout(item, "edit");
    m_profile->SetAttribute(item, "description", vqVariant(description));
    m_profile->Persist(item, description, false, false, false);
  }

  std::string WriteFile(const std::string& name, const std::string& content) {
    const auto path = m_dir.path() / name;
    std::ofstream(path) << content;
    return path.string();
  }

  TestDirectory m_dir{"vqkudm-profile"};
  std::vector<boost::shared_ptr<vqkudm::IUDMProfile>> m_opened;
  boost::shared_ptr<vqkudm::IUDMProfile> m_profile;
};
