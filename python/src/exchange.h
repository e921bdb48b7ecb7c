#pragma once

// Repository.export and Repository.import_: exchange packages.

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Adds them to Repository; Repository must be registered first.
void RegisterExchange(py::module_& module);

}  // namespace vqkudm::python
