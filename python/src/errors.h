#pragma once

// vqkudm.Error and its subclasses, raised for every UDMException that
// leaves the runtime and for the module's own argument checks.

#include <string>

#include <pybind11/pybind11.h>

namespace vqkudm::python {

namespace py = pybind11;

// Adds Error, its subclasses and the Category and SubCategory enumerations
// to `module`, and translates UDMException into them from then on.
void RegisterErrors(py::module_& module);

// Raise UDMException the way the runtime does, for what the module itself
// refuses; `where` names the Python operation ("Repository.get").
[[noreturn]] void RefuseArgument(const std::string& where, const std::string& message, int subCategory);
[[noreturn]] void RefuseState(const std::string& where, const std::string& message, int subCategory);

}  // namespace vqkudm::python
