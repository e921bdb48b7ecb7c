#pragma once

#include <vector>

#include <vqlmidbdriver/ResultSet.h>
#include <vqutl/vqString.h>

namespace vqkudm::store {
class EntityStore;
}

namespace vqkudm::exchange {

// `before` + " (?, ?, ...)" + `after` over `keys`, in batches, rows appended
// in batch order.
vqlm::ResultSet SelectIn(store::EntityStore& store, const vqString& before, const std::vector<vqString>& keys,
                         const vqString& after);

}  // namespace vqkudm::exchange
