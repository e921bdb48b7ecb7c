#pragma once

// Repository.query and the lazy results it gives.

#include <memory>

#include "connection.h"

namespace vqkudm::python {

// A QueryResult for `expression`, as Repository.query documents it.
py::object Query(const std::shared_ptr<Connection>& connection, py::handle expression,
                 py::handle sort, py::handle pageSize, bool ignoreCase);

extern const char* const kQueryDoc;

// Adds QueryResult and QueryIterator to `module`; Item must be registered first.
void RegisterQuery(py::module_& module);

}  // namespace vqkudm::python
