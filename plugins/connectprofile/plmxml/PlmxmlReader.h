#pragma once

// Reads a PLM XML document, in either of its two shapes (products with
// revisions and an occurrence tree, or an instance graph), into the model of
// PlmxmlModel.h. Elements the model has no place for are skipped here; the
// write-back keeps them.

#include <stdexcept>
#include <string>

#include "PlmxmlModel.h"

namespace vqkudm::plmxml {

// A document that cannot be read. The message begins with the document's
// path and names the element (its id, else its byte offset) that is wrong.
class ReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

Document ReadDocument(const std::string& path);

// `documentPath` names the document in messages, and its directory is where
// relative file locations start from.
Document ParseDocument(const std::string& xml, const std::string& documentPath);

}  // namespace vqkudm::plmxml
