// The extension behind the Python package vqkudm.

#include <pybind11/pybind11.h>

#include "errors.h"
#include "item.h"
#include "repository.h"

PYBIND11_MODULE(_vqkudm, module) {
  module.doc() =
      "Engineering data in a vqkudm repository: items with typed attributes, product structure,\n"
      "check-out and check-in, queries.\n\n"
      "    import vqkudm\n"
      "    with vqkudm.open(\"bike\") as repo:\n"
      "        frame = repo.create(\"UDMPart\", \"frame\", mass=2.1)\n"
      "        repo.create(\"UDMPart\", \"bolt\", parent=frame, mass=0.02)\n"
      "        frame.checkin(\"first frame\", recursive=True)\n"
      "        with frame.checkout(\"lighter\"):\n"
      "            frame[\"mass\"] = 1.9\n"
      "        for part in repo.query(\"cdef = 'UDMPart' and mass > 1\", sort=\"mass\"):\n"
      "            print(part.name, part[\"mass\"])\n\n"
      "Calls that reach the database or files release the GIL. Failures raise vqkudm.Error\n"
      "(StateError, InvalidArgumentError, UnsupportedError, FileError) with the runtime's\n"
      "message, category and sub-category.";
  vqkudm::python::RegisterErrors(module);
  vqkudm::python::RegisterItem(module);
  vqkudm::python::RegisterRepository(module);
}
