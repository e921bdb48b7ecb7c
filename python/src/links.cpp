#include "links.h"

#include <string>
#include <vector>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMRelation.h>

#include "errors.h"
#include "item.h"
#include "records.h"
#include "values.h"

namespace vqkudm::python {

namespace {

// The Relation record type.
py::handle g_relation;

constexpr const char* kCategoryClass = "Categories";

std::vector<UDMItemHandle> Handles(
    IUDMProfile& profile, const vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& entities) {
  std::vector<UDMItemHandle> out;
  for (const auto& entity : entities) out.push_back(profile.GetUDMItemHandle(entity->GetUID(true)));
  return out;
}

RelationDirection DirectionOf(const std::string& direction) {
  if (direction == "out") return RelationOutgoing;
  if (direction == "in") return RelationIncoming;
  if (direction == "both") return RelationBoth;
  RefuseArgument("Item.relations",
                 "direction \"" + direction + "\" is none of \"out\", \"in\" and \"both\"",
                 ExcSubOutOfRange);
}

struct RelationData {
  std::string uid;
  std::string type;
  bool bidirectional;
  UDMItemHandle left;
  UDMItemHandle right;
};

RelationData DataOf(const UDMRelationHandle& relation) {
  return {relation.GetUID().str(), relation.GetCdef().str(),
          relation.GetRelationType() == RelationBidirectional, relation.GetLeftEntity(),
          relation.GetRightEntity()};
}

py::object RelationRecord(const std::shared_ptr<Connection>& connection, const RelationData& data) {
  return g_relation(data.uid, data.type, Item(connection, data.left), Item(connection, data.right),
                    data.bidirectional);
}

const Item& SameRepository(const Item& self, const Item& item, const char* where,
                           const char* what) {
  if (item.connection != self.connection) {
    RefuseArgument(where, std::string("the ") + what + " is an item of another repository",
                   ExcSubGeneral);
  }
  return item;
}

const Item& Category(const Item& self, const Item& category, const char* where) {
  const Item& item = SameRepository(self, category, where, "category");
  if (item.handle.GetCdef() != kCategoryClass) {
    RefuseArgument(where,
                   "a category is an item of the " + std::string(kCategoryClass) +
                       " class, not a " + item.handle.GetCdef().str(),
                   ExcSubWrongType);
  }
  return item;
}

}  // namespace

void RegisterLinks(py::module_& module) {
  auto item = py::reinterpret_borrow<py::class_<Item>>(module.attr("Item"));
  item.def(
          "parents",
          [](Item& self) {
            const std::vector<UDMItemHandle> parents = self.connection->Run(
                "Item.parents", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  vqStlVector<boost::shared_ptr<IUDMEntityHandle>> found;
                  Core(self.handle)->GetParents(found, 1, false);
                  return Handles(*profile, found);
                });
            return ItemList(self.connection, parents);
          },
          "The items that use this one directly, each once; where_used() goes further up.")
      .def_property_readonly(
          "root",
          [](Item& self) {
            return Item(self.connection,
                        self.connection->Run("Item.root",
                                             [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                               return profile->GetRootEntityHandle(self.handle);
                                             }));
          },
          "The item at the top of the structure this one is in, through first parents (the item\n"
          "itself when nothing uses it).")
      .def(
          "relations",
          [](Item& self, const std::string& direction) {
            const RelationDirection which = DirectionOf(direction);
            const std::vector<RelationData> relations = self.connection->Run(
                "Item.relations", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  vqStlVector<UDMRelationHandle> found;
                  profile->GetRelations(found, self.handle, which);
                  std::vector<RelationData> out;
                  for (const UDMRelationHandle& relation : found) out.push_back(DataOf(relation));
                  return out;
                });
            py::list out;
            for (const RelationData& relation : relations)
              out.append(RelationRecord(self.connection, relation));
            return out;
          },
          py::arg("direction") = "both",
          "The item's relations as Relation(uid, type, left, right, bidirectional): \"out\" those "
          "it is\n"
          "the left end of, \"in\" those it is the right end of, \"both\" all.")
      .def(
          "relate",
          [](Item& self, const Item& other, const std::string& type, bool bidirectional) {
            UDMItemHandle right = SameRepository(self, other, "Item.relate", "other end").handle;
            const RelationData relation = self.connection->Run(
                "Item.relate", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  return DataOf(profile->CreateRelation(self.handle, right, type, bidirectional));
                });
            return RelationRecord(self.connection, relation);
          },
          py::arg("other"), py::arg("type") = "UDMRelGeneral", py::arg("bidirectional") = false,
          "Relates this item (the left end) to `other` with a relation of definition `type`, and "
          "returns\n"
          "the Relation. Between stored items it is stored at once; with a new end it is stored by "
          "the\n"
          "check-in that stores that end.")
      .def(
          "unrelate",
          [](Item& self, const Item& other) {
            UDMItemHandle right = SameRepository(self, other, "Item.unrelate", "other end").handle;
            return self.connection->Run("Item.unrelate",
                                        [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                          return profile->RemoveRelation(self.handle, right);
                                        });
          },
          py::arg("other"), "Removes this item's relation to `other`; False when there was none.")
      .def_property_readonly(
          "classifications",
          [](Item& self) {
            const std::vector<UDMItemHandle> categories = self.connection->Run(
                "Item.classifications", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  vqStlVector<boost::shared_ptr<IUDMEntityHandle>> found;
                  Core(self.handle)->GetClassifications(found, false);
                  return Handles(*profile, found);
                });
            return ItemList(self.connection, categories);
          },
          "The categories the item is classified under.")
      .def(
          "classify",
          [](Item& self, const Item& category) {
            UDMItemHandle chosen = Category(self, category, "Item.classify").handle;
            self.connection->Run("Item.classify",
                                 [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                   profile->AddClassification(self.handle, chosen);
                                 });
          },
          py::arg("category"),
          "Classifies the checked-out or new item under `category`, an item of the Categories "
          "class;\n"
          "kept with the next check-in.")
      .def(
          "unclassify",
          [](Item& self, const Item& category) {
            UDMItemHandle chosen = Category(self, category, "Item.unclassify").handle;
            self.connection->Run("Item.unclassify",
                                 [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                   profile->RemoveClassification(self.handle, chosen);
                                 });
          },
          py::arg("category"), "Takes the checked-out or new item out of `category`.");

  g_relation = RecordType(
      module, "Relation", {"uid", "type", "left", "right", "bidirectional"},
      "One relation of Item.relations: its identifier, its definition (\"UDMRelGeneral\", ...), "
      "the\n"
      "left and right Items, and whether it reads both ways.");
}

}  // namespace vqkudm::python
