#pragma once

// Item.files and the preview images: contents kept in the vault.

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Adds them, and the File and Preview records, to Item; Item must be
// registered first.
void RegisterFiles(py::module_& module);

}  // namespace vqkudm::python
