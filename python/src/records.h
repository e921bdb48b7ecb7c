#pragma once

// The package's record types: named tuples, as Python code would define them.

#include <initializer_list>

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Defines the named tuple `name` of the package with `fields` and `doc`,
// adds it to `module` and returns it. It is kept for the life of the
// process, like the error classes, so the handle stays valid.
py::handle RecordType(py::module_& module, const char* name,
                      std::initializer_list<const char*> fields, const char* doc);

}  // namespace vqkudm::python
