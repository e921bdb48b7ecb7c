#pragma once

// Item.history and Item.revisions: the tree of an item's revisions and the
// branches made from them.

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Adds them, and the Revision class, to Item; Item must be registered first.
void RegisterHistory(py::module_& module);

}  // namespace vqkudm::python
