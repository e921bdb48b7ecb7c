#include "errors.h"

#include <utility>
#include <vector>

#include <vqkudmrt/UDMException.h>

namespace vqkudm::python {

namespace {

// Leaked on purpose: the classes live as long as the interpreter, and a
// static py::object would be released after it is finalised.
struct ErrorClasses {
  PyObject* error = nullptr;
  PyObject* state = nullptr;
  PyObject* invalidArgument = nullptr;
  PyObject* unsupported = nullptr;
  PyObject* file = nullptr;
  PyObject* category = nullptr;
  PyObject* subCategory = nullptr;
};
ErrorClasses g_classes;

const std::vector<std::pair<const char*, int>> kCategories = {
    {"STATE", ExcCatState},
    {"INVALID_ARGUMENT", ExcCatInvalidArgument},
    {"UNSUPPORTED", ExcCatUnsupported},
    {"FILE", ExcCatFile},
};

const std::vector<std::pair<const char*, int>> kSubCategories = {
    {"GENERAL", ExcSubGeneral},     {"EMPTY", ExcSubEmpty},
    {"NULL", ExcSubNull},           {"NOT_FOUND", ExcSubNotFound},
    {"WRONG_TYPE", ExcSubWrongType}, {"LIST_EMPTY", ExcSubListEmpty},
    {"OUT_OF_RANGE", ExcSubOutOfRange}, {"DATABASE", ExcSubDatabase},
    {"CONFLICT", ExcSubConflict},   {"SYNTAX", ExcSubSyntax},
    {"IO", ExcSubIo},               {"FOLDER_CREATION", ExcSubFolderCreation},
    {"FILE_EXISTS", ExcSubFileExists},
};

PyObject* MakeEnum(py::module_& module, const char* name, const char* doc,
                   const std::vector<std::pair<const char*, int>>& members) {
  py::list pairs;
  for (const auto& [member, value] : members) pairs.append(py::make_tuple(member, value));
  py::object type = py::module_::import("enum").attr("IntEnum")(name, pairs, py::arg("module") = "vqkudm");
  type.attr("__doc__") = doc;
  module.attr(name) = type;
  return type.release().ptr();
}

PyObject* MakeError(py::module_& module, const char* name, const char* doc, py::handle bases) {
  const std::string qualified = std::string("vqkudm.") + name;
  PyObject* type = PyErr_NewExceptionWithDoc(qualified.c_str(), doc, bases.ptr(), nullptr);
  if (!type) throw py::error_already_set();
  module.attr(name) = py::handle(type);
  return type;
}

// The enumeration member of `value`, or the number itself for a value the
// enumeration does not know (a newer runtime's).
py::object EnumValue(PyObject* type, int value) {
  py::dict members = py::handle(type).attr("_value2member_map_");
  py::int_ key(value);
  if (members.contains(key)) return members[key];
  return key;
}

PyObject* ClassOf(ExceptionCategory category) {
  switch (category) {
    case ExcCatState:
      return g_classes.state;
    case ExcCatInvalidArgument:
      return g_classes.invalidArgument;
    case ExcCatUnsupported:
      return g_classes.unsupported;
    case ExcCatFile:
      return g_classes.file;
  }
  return g_classes.error;
}

void Raise(const UDMException& e) {
  PyObject* type = ClassOf(e.GetExceptionCategory());
  py::object error = py::reinterpret_borrow<py::object>(type)(py::str(e.what()));
  error.attr("message") = py::str(e.what());
  error.attr("category") = EnumValue(g_classes.category, e.GetExceptionCategory());
  error.attr("sub_category") = EnumValue(g_classes.subCategory, e.GetExceptionSubCategory());
  py::list context;
  for (const vqString& line : e.GetContext()) context.append(py::str(line.str()));
  error.attr("context") = context;
  PyErr_SetObject(type, error.ptr());
}

}  // namespace

void RegisterErrors(py::module_& module) {
  g_classes.category = MakeEnum(module, "Category", "What kind of failure an Error is (its class says the same).",
                                kCategories);
  g_classes.subCategory =
      MakeEnum(module, "SubCategory", "What exactly went wrong; code may branch on it.", kSubCategories);

  g_classes.error = MakeError(module, "Error",
                              "A failure of the runtime or a refused argument.\n\n"
                              "Attributes:\n"
                              "    message: what was wrong, naming the item, file or argument concerned.\n"
                              "    category: a Category.\n"
                              "    sub_category: a SubCategory (a plain int for one this module does not know).\n"
                              "    context: the raising function's signature, then lines added on the way out.",
                              PyExc_Exception);
  py::handle error(g_classes.error);
  error.attr("message") = "";
  error.attr("category") = py::none();
  error.attr("sub_category") = py::none();
  error.attr("context") = py::tuple();
  g_classes.state = MakeError(module, "StateError",
                              "An item, repository or stored state does not allow the operation now: not checked "
                              "out, held by someone else, closed, missing from the repository.",
                              error);
  g_classes.invalidArgument = MakeError(module, "InvalidArgumentError",
                                        "An argument was empty, of the wrong type, outside its valid values or "
                                        "did not parse. Also a ValueError.",
                                        py::make_tuple(error, py::handle(PyExc_ValueError)));
  g_classes.unsupported =
      MakeError(module, "UnsupportedError", "The operation is not offered by this repository's profile.", error);
  g_classes.file = MakeError(module, "FileError", "A file or directory could not be read or written.", error);

  py::register_exception_translator([](std::exception_ptr raised) {
    try {
      if (raised) std::rethrow_exception(raised);
    } catch (const UDMException& e) {
      Raise(e);
    }
  });
}

void RefuseArgument(const std::string& where, const std::string& message, int subCategory) {
  ThrowInvalidArgException("vqkudm." + where, message, subCategory);
}

void RefuseState(const std::string& where, const std::string& message, int subCategory) {
  ThrowStateException("vqkudm." + where, message, subCategory);
}

}  // namespace vqkudm::python
