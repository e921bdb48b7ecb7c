#include "exchange.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <vqkudmrt/UDMException.h>

#include "errors.h"
#include "item.h"
#include "repository.h"
#include "values.h"

namespace fs = std::filesystem;

namespace vqkudm::python {

namespace {

// Passes the runtime's progress on to a Python callable, inside a Run: it
// takes the GIL for each call. An exception from the callable stops the
// work and is raised again once the Run is over.
class ProgressRelay {
 public:
  explicit ProgressRelay(py::object callback) : m_callback(std::move(callback)) {}

  UDMExchangeProgress Function() {
    if (m_callback.is_none()) return UDMExchangeProgress();
    return [this](const vqString& stage, std::uint64_t done, std::uint64_t total) {
      py::gil_scoped_acquire gil;
      try {
        m_callback(stage.str(), done, total);
      } catch (py::error_already_set& error) {
        m_error = std::move(error);
        ThrowStateException("progress", "stopped by the progress callback", ExcSubGeneral);
      }
    };
  }

  // Runs `work`; the callback's exception wins over the runtime's report of it.
  template <class Work>
  auto Around(Work&& work) {
    try {
      return work();
    } catch (const std::exception&) {
      if (m_error) throw *m_error;
      throw;
    }
  }

 private:
  py::object m_callback;
  std::optional<py::error_already_set> m_error;
};

std::vector<UDMItemHandle> ItemsOf(const Repository& self, py::handle items) {
  std::vector<UDMItemHandle> handles;
  auto add = [&](py::handle item) {
    if (!py::isinstance<Item>(item)) {
      RefuseArgument("Repository.export",
                     "export takes Items, not " +
                         py::str(py::type::of(item).attr("__name__")).cast<std::string>(),
                     ExcSubWrongType);
    }
    const Item& chosen = item.cast<const Item&>();
    if (chosen.connection != self.connection) {
      RefuseArgument("Repository.export",
                     "an item of another repository cannot be exported from this one",
                     ExcSubGeneral);
    }
    handles.push_back(chosen.handle);
  };
  if (py::isinstance<Item>(items)) {
    add(items);
  } else {
    for (py::handle item : py::iter(items)) add(item);
  }
  if (handles.empty()) RefuseArgument("Repository.export", "no items to export", ExcSubListEmpty);
  return handles;
}

std::string AbsolutePath(py::handle path, const char* what) {
  return fs::absolute(PathText(path, what)).lexically_normal().string();
}

}  // namespace

void RegisterExchange(py::module_& module) {
  auto repository = py::reinterpret_borrow<py::class_<Repository>>(module.attr("Repository"));
  repository
      .def(
          "export",
          [](Repository& self, py::handle items, py::handle path, py::object progress) {
            const vqStlVector<UDMItemHandle> handles = [&] {
              const std::vector<UDMItemHandle> chosen = ItemsOf(self, items);
              return vqStlVector<UDMItemHandle>(chosen.begin(), chosen.end());
            }();
            const std::string package = AbsolutePath(path, "path");
            ProgressRelay relay(std::move(progress));
            const UDMExchangeProgress report = relay.Function();
            relay.Around([&] {
              self.connection->Run("Repository.export",
                                   [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                     UDMProfileExtensions::ExportItems(
                                         profile, handles, package,
                                         UDMProfileExtensions::PackageFormatOf(package), report);
                                   });
            });
            return py::module_::import("pathlib").attr("Path")(package);
          },
          py::arg("items"), py::arg("path"), py::kw_only(), py::arg("progress") = py::none(),
          "Writes a package of the items (an Item or an iterable of them) with everything they "
          "need:\n"
          "their structure below, related and referenced items, categories, files. `path` names a\n"
          "directory that must not exist or be empty, or an archive: .tar.gz, .tgz, .tar or .zip.\n"
          "progress(stage, done, total) is called as contents are written (stage \"contents\"), "
          "then\n"
          "for \"manifest\"; raising from it stops the export. Returns the package's pathlib.Path.")
      .def(
          "import_",
          [](Repository& self, py::handle path, py::object progress) {
            const std::string package = AbsolutePath(path, "path");
            ProgressRelay relay(std::move(progress));
            const UDMExchangeProgress report = relay.Function();
            return relay.Around([&] {
              return self.connection->Run(
                  "Repository.import_", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                    return UDMProfileExtensions::ImportPackage(profile, package, report);
                  });
            });
          },
          py::arg("path"), py::kw_only(), py::arg("progress") = py::none(),
          "Imports a package written by export() (or `udm export`) and returns how many items were "
          "new\n"
          "to this repository; revisions it has already are kept as they are. progress(stage, "
          "done,\n"
          "total) hears \"contents\" as each file content is checked, then \"records\".");
}

}  // namespace vqkudm::python
