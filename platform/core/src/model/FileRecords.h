#pragma once

#include <vector>

#include <vqkudmrt/UDMGenericDocument.h>

#include "../store/EntityStore.h"

namespace vqkudm::model {

// The stored form of an item's documents.
std::vector<store::FileRecord> FileRecordsOf(const std::vector<UDMGenericDocument>& documents);

}  // namespace vqkudm::model
