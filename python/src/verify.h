#pragma once

// Repository.verify: the repository's integrity check.

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Adds it, and the Verification and Finding records, to Repository;
// Repository must be registered first.
void RegisterVerify(py::module_& module);

}  // namespace vqkudm::python
