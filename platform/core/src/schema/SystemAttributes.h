#pragma once

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/UDMAttributeDefinition.h>

namespace vqkudm::schema {

// The attributes the runtime maintains on every entity, whatever its
// definition says.
const vqStlVector<boost::shared_ptr<UDMAttributeDefinition>>& SystemAttributes();

}  // namespace vqkudm::schema
