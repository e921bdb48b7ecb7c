#include "Connector.h"

#include "PlmxmlConnector.h"

#include <vqkudmrt/UDMException.h>

namespace vqkudm::connect {

namespace {

// The data sources of PDM connections, as the profile manager sets them; a
// file connection ("UDMXML") carries its file as the data source.
bool IsPdmSource(const vqString& dataSource) { return dataSource == "teamcenter" || dataSource == "windchill"; }

}  // namespace

std::unique_ptr<Connector> CreateConnector(const UDMConnectConfig& config) {
  const vqString& source = config.GetDataSource();
  if (!IsPdmSource(source)) return std::make_unique<PlmxmlConnector>(source.str());
  // No PDM server connector is part of this build.
  ThrowUnSupportedException("std::unique_ptr<Connector> vqkudm::connect::CreateConnector(const UDMConnectConfig &)",
                            "DataSource " + source + " (host " + config.GetHost() +
                                "): its connector is not available in this installation",
                            ExcSubGeneral);
}

}  // namespace vqkudm::connect
