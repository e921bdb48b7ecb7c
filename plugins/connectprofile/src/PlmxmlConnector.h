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
  // Rewrites the document from the working repository (each part's latest
  // revision, its attributes, files and uses), keeping what the mapping does
  // not use; atomically, through a file beside it. Refused when the
  // document changed since it was loaded.
  void WriteBack(IUDMProfile& profile, const vqString& workingDir) override;

 private:
  std::string m_document;
};

}  // namespace vqkudm::connect
