#include "Connector.h"

#include <vqkudmrt/UDMException.h>

namespace vqkudm::connect {

namespace {

// The data sources of PDM connections, as the profile manager sets them; a
// file connection carries its file as the data source.
bool IsPdmSource(const vqString& dataSource) { return dataSource == "teamcenter" || dataSource == "windchill"; }

}  // namespace

std::unique_ptr<Connector> CreateConnector(const UDMConnectConfig& config) {
  const vqString& source = config.GetDataSource();
  const vqString where = IsPdmSource(source) ? "DataSource " + source + " (host " + config.GetHost() + ")"
                                             : "DataSource UDMXML (file " + source + ")";
  ThrowUnSupportedException("std::unique_ptr<Connector> vqkudm::connect::CreateConnector(const UDMConnectConfig &)",
                            where + ": its connector is not available in this installation", ExcSubGeneral);
}

}  // namespace vqkudm::connect
