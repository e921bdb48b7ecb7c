#pragma once

// Item.parents, root, relations and classifications: how an item stands to
// others beyond the uses it makes.

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Adds them, and the Relation record, to Item; Item must be registered first.
void RegisterLinks(py::module_& module);

}  // namespace vqkudm::python
