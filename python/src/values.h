#pragma once

// Values crossing between Python and the runtime: attribute values,
// configuration settings and paths.

#include <string>

#include <pybind11/pybind11.h>

#include <vqutl/vqVariant.h>

namespace vqkudm::python {

namespace py = pybind11;

// An attribute value from Python: None, bool, int, float, str, a list or
// tuple of str, datetime.datetime or datetime.date (dates are stored as ISO
// 8601 text: an aware datetime in UTC with "Z", a naive one without).
// `what` names the value in the message of the InvalidArgumentError raised
// for anything else.
vqVariant ToVariant(py::handle value, const std::string& what);

// An attribute value for Python. `dataType` is the attribute definition's
// type name: the text of a "Date" becomes a datetime (or a date when it has
// no time); text that is no such date stays text.
py::object ToPython(const vqVariant& value, const std::string& dataType);

// A str, or an InvalidArgumentError naming `what`.
std::string Text(py::handle value, const std::string& what);
// A str or os.PathLike as text.
std::string PathText(py::handle value, const std::string& what);
// A configuration value as the profile manager reads it: text. Takes str,
// os.PathLike, bool ("true"/"false"), int and float.
std::string SettingText(py::handle value, const std::string& key);

}  // namespace vqkudm::python
