#pragma once

// vqkudm.open, vqkudm.Repository and the lazy results of Repository.query.

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Adds open, Repository, QueryResult and QueryIterator to `module`; Item
// must be registered first.
void RegisterRepository(py::module_& module);

}  // namespace vqkudm::python
