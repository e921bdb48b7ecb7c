#pragma once

// How a connect profile's working repository is filled from its data source.
// One connector per kind of source; the profile owns its connector.

#include <memory>

#include <vqkudm/IUDMProfile.h>
#include <vqkudmrt/UDMConnectConfig.h>

namespace vqkudm::connect {

class Connector {
 public:
  virtual ~Connector() = default;
  // Brings the source's content into the working repository of `profile`
  // in one transaction; `workingDir` is the connection's own directory for
  // what the connector keeps between opens. Raises UDMException naming the
  // source when it cannot be read.
  virtual void Open(IUDMProfile& profile, const vqString& workingDir) = 0;
  // Writes what the working repository holds back to the source, after a
  // check-in. Raises UDMException when the source cannot take it.
  virtual void WriteBack(IUDMProfile& profile, const vqString& workingDir) = 0;
};

// The connector of the connection's data source. Raises UDMException
// (1002) naming the data source and its host or file when there is none.
std::unique_ptr<Connector> CreateConnector(const UDMConnectConfig& config);

}  // namespace vqkudm::connect
