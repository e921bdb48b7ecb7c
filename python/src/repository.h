#pragma once

// vqkudm.open and vqkudm.Repository.

#include <memory>

#include "connection.h"

namespace vqkudm::python {

struct Repository {
  std::shared_ptr<Connection> connection;
};

// Adds open and Repository to `module`; Item and QueryResult must be
// registered first.
void RegisterRepository(py::module_& module);

}  // namespace vqkudm::python
