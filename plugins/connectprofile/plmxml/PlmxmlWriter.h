#pragma once

// Writes a changed model back into the PLM XML document it was read from
// (PlmxmlReader.h), in the document's own shape and style, keeping what the
// model does not describe: headers, sites, unknown elements and attributes,
// comments and processing instructions.

#include <string>

#include "PlmxmlModel.h"

namespace vqkudm::plmxml {

// `originalXml` (as ParseDocument reads it with the same `documentPath`)
// with the differences between what it says and `desired` applied.
// Elements are matched by the elementId fields (items and revisions without
// one by key, files by path); an empty elementId means a new element.
// Items, revisions and user values the document has and `desired` lacks stay.
// Raises ReadError (PlmxmlReader.h) when the original cannot be read, and
// std::invalid_argument naming the item, revision or use when `desired`
// refers to something that exists in neither.
std::string WriteDocument(const std::string& originalXml, const Document& desired,
                          const std::string& documentPath);
// The same, for a caller that has read `originalXml` into `original` already.
std::string WriteDocument(const std::string& originalXml, const Document& original, const Document& desired,
                          const std::string& documentPath);

}  // namespace vqkudm::plmxml
