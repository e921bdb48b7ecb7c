#include <vqkudmrt/UDMConnectConfig.h>

#include <vqkudmrt/UDMFramework.h>

namespace vqkudm {

IUDMConnectConfig::~IUDMConnectConfig() = default;

UDMConnectConfig::UDMConnectConfig()
    : m_pluginDirectory(UDMFramework::GetInstance()->GetInstallLayout().pluginDir) {}

UDMConnectConfig::~UDMConnectConfig() = default;

UDMConnectPluginConfig::~UDMConnectPluginConfig() = default;

}  // namespace vqkudm
