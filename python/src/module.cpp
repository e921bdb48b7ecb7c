// The extension behind the Python package vqkudm.

#include <pybind11/pybind11.h>

#include "errors.h"
#include "exchange.h"
#include "files.h"
#include "history.h"
#include "item.h"
#include "links.h"
#include "query.h"
#include "repository.h"
#include "schema.h"
#include "subscription.h"
#include "verify.h"

PYBIND11_MODULE(_vqkudm, module) {
  module.doc() =
      "Engineering data in a vqkudm repository: items with typed attributes, files and previews,\n"
      "product structure, relations and categories, check-out and check-in, history, queries,\n"
      "change subscriptions, export and import, and the schema.\n\n"
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
  vqkudm::python::RegisterLinks(module);
  vqkudm::python::RegisterFiles(module);
  vqkudm::python::RegisterHistory(module);
  vqkudm::python::RegisterQuery(module);
  vqkudm::python::RegisterSubscription(module);
  vqkudm::python::RegisterRepository(module);
  vqkudm::python::RegisterExchange(module);
  vqkudm::python::RegisterSchema(module);
  vqkudm::python::RegisterVerify(module);
}
