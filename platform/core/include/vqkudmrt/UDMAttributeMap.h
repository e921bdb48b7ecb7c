#pragma once

// An entity's attributes by name. Held sorted in one block rather than one
// node per attribute: reading an item then allocates once for all of them,
// and dropping thousands of items leaves few small blocks to the allocator.

#include <boost/container/flat_map.hpp>

#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {

using UDMAttributeMap = boost::container::flat_map<vqString, vqVariant>;

}  // namespace vqkudm
