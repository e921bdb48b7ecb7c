#pragma once

// Repository.subscribe: the changes of the repository's session, told to a
// Python callback.

#include <memory>

#include "connection.h"

namespace vqkudm::python {

// A Subscription calling `callback` with each change.
py::object Subscribe(const std::shared_ptr<Connection>& connection, py::handle callback);

// Adds Subscription and Change to `module`; Item must be registered first.
void RegisterSubscription(py::module_& module);

}  // namespace vqkudm::python
