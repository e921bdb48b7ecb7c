#pragma once

// Repository.definitions and Repository.add_attribute: the schema, read and
// extended at run time.

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Adds them, and the Definition and Attribute records, to Repository;
// Repository must be registered first.
void RegisterSchema(py::module_& module);

}  // namespace vqkudm::python
