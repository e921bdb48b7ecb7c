#include "history.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <vqkudm/UDMHistoryNode.h>

#include "item.h"
#include "values.h"

namespace vqkudm::python {

namespace {

// One stored revision. A revision's successors are the next revision of
// its line, then the first revision of each branch made from it.
struct Revision {
  std::shared_ptr<Connection> connection;
  UDMItemHandle handle;
  std::string uid;
  std::string line;
  int number = 0;
  std::string name;
  std::string comment;
  vqVariant by;
  vqVariant time;
  std::weak_ptr<Revision> previous;
  std::vector<std::shared_ptr<Revision>> next;
};

using RevisionPtr = std::shared_ptr<Revision>;

struct Tree {
  RevisionPtr root;
  // The asking item's line, oldest first.
  std::vector<RevisionPtr> line;
};

// The revisions of the whole history, linked. Call inside Run.
Tree Build(IUDMProfile& profile, const std::shared_ptr<Connection>& connection, const UDMItemHandle& item) {
  const std::string asked = DmidOf(item.GetUID().str());
  std::map<std::string, RevisionPtr> byId;
  Tree tree;
  // Lines come in the order they were made, so a revision's next one on
  // its line comes before the branches made from it.
  for (const UDMHistoryEntry& entry : FlattenHistory(profile.GetHistory(item))) {
    auto revision = std::make_shared<Revision>();
    revision->connection = connection;
    revision->handle = profile.GetUDMItemHandle(entry.uid);
    revision->uid = entry.uid.str();
    revision->line = entry.line.str();
    revision->number = entry.revision;
    revision->name = profile.GetDisplayName(revision->handle).str();
    revision->comment = revision->handle.GetAttributeValue("smd_comment").ToString().str();
    revision->by = revision->handle.GetModifiedBy();
    revision->time = revision->handle.GetModifiedTime();
    const auto previous = byId.find(entry.from.str());
    if (previous != byId.end()) {
      revision->previous = previous->second;
      previous->second->next.push_back(revision);
    } else if (!tree.root) {
      tree.root = revision;
    }
    if (revision->line == asked) tree.line.push_back(revision);
    byId[revision->uid] = revision;
  }
  return tree;
}

Tree HistoryOf(Item& self, const char* where) {
  return self.connection->Run(where, [&](const boost::shared_ptr<IUDMProfile>& profile) {
    return Build(*profile, self.connection, self.handle);
  });
}

}  // namespace

void RegisterHistory(py::module_& module) {
  py::class_<Revision, RevisionPtr>(
      module, "Revision",
      "One stored revision in an item's history, linked to the revision it came from\n"
      "and to those made from it. Walk the tree from Item.history():\n\n"
      "    def show(revision, depth=0):\n"
      "        print(\"  \" * depth, revision.name, revision.number, revision.comment)\n"
      "        for following in revision.next:\n"
      "            show(following, depth + (following.line != revision.line))\n\n"
      "    show(item.history())")
      .def_readonly("uid", &Revision::uid, "The revision's identifier.")
      .def_readonly("line", &Revision::line,
                    "The 32 hex digits of the line (the item, or the branch) the revision is on.")
      .def_readonly("number", &Revision::number, "The revision number on its line, from 0.")
      .def_readonly("name", &Revision::name, "The item's name in this revision.")
      .def_readonly("comment", &Revision::comment, "The check-in comment.")
      .def_property_readonly(
          "by", [](Revision& self) { return ToPython(self.by, ""); }, "Who made the revision.")
      .def_property_readonly(
          "time", [](Revision& self) { return ToPython(self.time, "Date"); },
          "When the revision was made, a datetime in UTC.")
      .def_property_readonly(
          "previous", [](Revision& self) { return self.previous.lock(); },
          "The revision this one came from: the one before it on its line, or for the\n"
          "first revision of a branch the revision it was branched from; None at the root.")
      .def_property_readonly(
          "next",
          [](Revision& self) {
            py::list out;
            for (const RevisionPtr& next : self.next) out.append(py::cast(next));
            return out;
          },
          "The revisions made from this one: the next on its line first, then the first\n"
          "revision of each branch made from it, oldest first.")
      .def_property_readonly(
          "branched",
          [](Revision& self) {
            const RevisionPtr previous = self.previous.lock();
            return previous && previous->line != self.line;
          },
          "Whether this is the first revision of a branch.")
      .def_property_readonly(
          "item", [](Revision& self) { return Item(self.connection, self.handle); },
          "The revision as an Item, to read its attributes, files and structure.")
      .def("__repr__", [](Revision& self) {
        return "<vqkudm.Revision " + py::repr(py::str(self.name)).cast<std::string>() + " " +
               self.uid + ">";
      });

  auto item = py::reinterpret_borrow<py::class_<Item>>(module.attr("Item"));
  item.def(
          "history", [](Item& self) { return HistoryOf(self, "Item.history").root; },
          "The item's history as a tree of Revision: the root is the first revision of the line "
          "the\n"
          "history starts at (the item's own, unless the item is a branch). Each Revision lists "
          "in\n"
          "`next` the revisions made from it.")
      .def_property_readonly(
          "revisions",
          [](Item& self) {
            py::list out;
            for (const RevisionPtr& revision : HistoryOf(self, "Item.revisions").line) {
              out.append(Item(self.connection, revision->handle));
            }
            return out;
          },
          "The item's stored revisions as Items, oldest first (branches are items of their own).");
}

}  // namespace vqkudm::python
