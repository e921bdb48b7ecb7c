#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMPlugin.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "temp_dir.h"

#include <filesystem>
#include <fstream>

using namespace vqkudm;
namespace fs = std::filesystem;

TEST(PluginManager, LoadsListedPluginsByNameAndInitialisesThemWithTheSession) {
  TestDirectory tmp("udm-plugins");
  const fs::path& dir = tmp.path();
  const fs::path definitions = fs::path(UDMFramework::GetInstance()->GetInstallLayout().dataDir.str()) / "definitions";
  std::ofstream(dir / "udmconfig.xml")
      << "<udmconfig><definitions><file path=\"" << (definitions / "base.xml").string() << "\"/></definitions>"
      << "<plugins><plugin key=\"Probe\" library=\"" << PROBE_PLUGIN_PATH << "\"/>"
      << "<plugin key=\"Missing\" library=\"no_such_plugin\"/></plugins></udmconfig>";
  auto config = boost::make_shared<UDMSessionConfig>();
  config->SetUDMConfigFile((dir / "udmconfig.xml").string());
  config->SetRepositoryBaseDir(dir.string());
  config->SetRepositoryName("repo");
  {
    auto session = boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->CreateSession(config));
    boost::shared_ptr<IUDMPlugin> probe = session->GetPluginMgr()->GetPlugin("Probe");
    ASSERT_TRUE(probe);
    EXPECT_EQ(probe->GetDisplayName(), "probe of " + session->GetSessionId() + " as Probe");
    EXPECT_EQ(session->GetPluginMgr()->GetPlugin("Probe"), probe) << "one instance per key";
    EXPECT_FALSE(session->GetPluginMgr()->GetPlugin("Missing"));
    EXPECT_FALSE(session->GetPluginMgr()->GetPlugin("NotListed"));
    UDMFramework::GetInstance()->DeleteSession(session);
    boost::weak_ptr<UDMSession> gone = session;
    session.reset();
    EXPECT_TRUE(gone.expired()) << "the framework must be the only owner of its sessions";
  }
}
