#pragma once

// The connector of PLM XML files ("UDMXML" connections).

#include <string>

#include "Connector.h"

namespace vqkudm::connect {

class PlmxmlConnector final : public Connector {
 public:
  explicit PlmxmlConnector(const std::string& document) : m_document(document) {}

  // Loads what the document brings that the working repository lacks, in
  // one import: everything the first time, new revisions of changed items
  // later, nothing when the document is unchanged.
  void Open(IUDMProfile& profile, const vqString& workingDir) override;

 private:
  std::string m_document;
};

}  // namespace vqkudm::connect
