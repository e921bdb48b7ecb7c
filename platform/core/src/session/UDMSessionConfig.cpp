#include <vqkudmrt/UDMSessionConfig.h>

namespace vqkudm {

UDMSessionConfig::UDMSessionConfig() = default;
UDMSessionConfig::~UDMSessionConfig() = default;

bool UDMSessionConfig::IsLocalDataSource() const {
  return m_dataSource.empty() || m_dataSource.EqualsNoCase("local");
}

}  // namespace vqkudm
