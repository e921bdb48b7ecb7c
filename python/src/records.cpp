#include "records.h"

namespace vqkudm::python {

py::handle RecordType(py::module_& module, const char* name,
                      std::initializer_list<const char*> fields, const char* doc) {
  py::list names;
  for (const char* field : fields) names.append(py::str(field));
  py::object type = py::module_::import("collections")
                        .attr("namedtuple")(name, names, py::arg("module") = "vqkudm");
  type.attr("__doc__") = doc;
  module.attr(name) = type;
  return type.release();
}

}  // namespace vqkudm::python
