#include "item.h"

#include <algorithm>
#include <utility>

#include <vqkudmrt/UDMException.h>

#include "errors.h"
#include "records.h"
#include "values.h"

namespace vqkudm::python {

namespace {

// A value read inside Run, converted once the GIL is back.
struct TypedValue {
  std::string name;
  vqVariant value;
  std::string type;
};

// The display form of an identifier that may no longer be refreshed (a
// closed repository, an item discarded by undo).
std::string CurrentUid(const Item& item) {
  try {
    return item.connection->Run("Item.uid", [&](const boost::shared_ptr<IUDMProfile>&) {
      return item.handle.GetUID().str();
    });
  } catch (const UDMException&) {
    return item.handle.GetEntityHandlePtr()->GetUID(false).str();
  }
}

TypedValue ReadAttribute(IUDMProfile& profile, const UDMItemHandle& handle, const std::string& name) {
  RequireAttribute(profile, handle.GetCdef().str(), name, "Item[]");
  const std::string type = profile.GetProfileUtils().GetAttributeDefinitionHandle(handle.GetCdef(), name).GetDataType();
  return {name, profile.GetAttributeValue(handle, name), type};
}

py::object Attribute(Item& self, const std::string& name) {
  const TypedValue read = self.connection->Run("Item[]", [&](const boost::shared_ptr<IUDMProfile>& profile) {
    return ReadAttribute(*profile, self.handle, name);
  });
  return ToPython(read.value, read.type);
}

void SetAttribute(Item& self, const std::string& name, py::handle value) {
  const vqVariant converted = ToVariant(value, "attribute \"" + name + "\"");
  self.connection->Run("Item[]=", [&](const boost::shared_ptr<IUDMProfile>& profile) {
    RequireAttribute(*profile, self.handle.GetCdef().str(), name, "Item[]=");
    profile->SetAttribute(self.handle, name, converted);
  });
}

py::object Time(Item& self, vqVariant (UDMItemHandle::*read)() const) {
  const vqVariant value = self.connection->Run("Item", [&](const boost::shared_ptr<IUDMProfile>&) {
    return (self.handle.*read)();
  });
  return ToPython(value, "Date");
}

py::object Who(Item& self, vqVariant (UDMItemHandle::*read)() const) {
  const vqVariant value = self.connection->Run("Item", [&](const boost::shared_ptr<IUDMProfile>&) {
    return (self.handle.*read)();
  });
  return ToPython(value, "");
}

template <class Answer>
auto Ask(Item& self, const char* where, Answer answer) {
  return self.connection->Run(where, [&](const boost::shared_ptr<IUDMProfile>&) { return answer(self.handle); });
}

py::list Children(Item& self, const std::string& group) {
  const std::vector<UDMItemHandle> children =
      self.connection->Run("Item.children", [&](const boost::shared_ptr<IUDMProfile>& profile) {
        vqStlVector<UDMItemHandle> out;
        profile->GetChildren(out, self.handle, group, "");
        return std::vector<UDMItemHandle>(out.begin(), out.end());
      });
  return ItemList(self.connection, children);
}

void CheckIn(Item& self, const std::string& comment, bool recursive, bool keepCheckedOut) {
  self.connection->Run("Item.checkin", [&](const boost::shared_ptr<IUDMProfile>& profile) {
    profile->Persist(self.handle, comment, keepCheckedOut, recursive, false);
  });
}

void Undo(Item& self) {
  self.connection->Run("Item.undo",
                       [&](const boost::shared_ptr<IUDMProfile>& profile) { profile->UndoCheckout(self.handle); });
}

// The WhereUsed and Use record types.
py::handle g_whereUsed;
py::handle g_use;

py::list Uses(Item& self) {
  struct Use {
    std::string id;
    std::string group;
    UDMItemHandle child;
    std::vector<std::pair<std::string, vqVariant>> attributes;
  };
  const std::vector<Use> uses = self.connection->Run("Item.uses", [&](const boost::shared_ptr<IUDMProfile>& profile) {
    vqStlVector<UDMUseInfo> found;
    Core(self.handle)->GetUses(found, "");
    std::vector<Use> out;
    for (const UDMUseInfo& use : found) {
      out.push_back({use.useId.str(), use.group.str(), profile->GetUDMItemHandle(use.child->GetUID(true)),
                     std::vector<std::pair<std::string, vqVariant>>(use.attributes.begin(), use.attributes.end())});
    }
    return out;
  });
  py::list out;
  for (const Use& use : uses) {
    py::dict attributes;
    for (const auto& [name, value] : use.attributes) attributes[py::str(name)] = ToPython(value, "");
    out.append(g_use(use.id, use.group, Item(self.connection, use.child), attributes));
  }
  return out;
}

// What `with item.checkout():` works with.
struct CheckOut {
  Item item;
  std::string comment;
  bool recursive;
};

}  // namespace

Item::Item(std::shared_ptr<Connection> connection_, UDMItemHandle handle_)
    : connection(std::move(connection_)), handle(std::move(handle_)),
      dmid(DmidOf(handle.GetEntityHandlePtr()->GetUID(false).str())) {}

py::list ItemList(const std::shared_ptr<Connection>& connection, const std::vector<UDMItemHandle>& handles) {
  py::list items;
  for (const UDMItemHandle& handle : handles) items.append(py::cast(Item(connection, handle)));
  return items;
}

void RequireAttribute(IUDMProfile& profile, const std::string& cdef, const std::string& name, const char* where) {
  const vqStlVector<vqString> names = profile.GetProfileUtils().GetAttributeNameList(cdef);
  if (std::find(names.begin(), names.end(), vqString(name)) == names.end()) {
    RefuseArgument(where, cdef + " has no attribute \"" + name + "\"", ExcSubNotFound);
  }
}

std::string DefaultGroup(const boost::shared_ptr<IUDMProfile>& profile, const UDMItemHandle& parent,
                         const std::string& cdef) {
  const vqString group = UDMProfileExtensions::ChildGroupFor(profile, parent.GetCdef(), cdef);
  if (group.empty()) {
    RefuseArgument("Item.add_child", "no child group of " + parent.GetCdef().str() + " admits " + cdef + "; name one",
                   ExcSubNotFound);
  }
  return group.str();
}

void RegisterItem(py::module_& module) {
  py::class_<Item> item(module, "Item",
                        "One item of a repository: a revision of something kept, with typed attributes.\n\n"
                        "Items come from a Repository (create, get, find, query) or from other items\n"
                        "(children, where_used). Attributes read and write like a dict:\n\n"
                        "    item[\"mass\"] = 0.03      # the item must be checked out (or new)\n"
                        "    item[\"mass\"]             # 0.03\n\n"
                        "Two items are equal when they are the same revision; an item hashes by what\n"
                        "stays the same across its revisions, so it stays in a set through check-ins.");
  item.def_property(
          "name", [](Item& self) { return Ask(self, "Item.name", [](const UDMItemHandle& h) { return h.GetDisplayName().str(); }); },
          [](Item& self, py::handle name) {
            const std::string text = Text(name, "Item.name");
            self.connection->Run("Item.name", [&](const boost::shared_ptr<IUDMProfile>& profile) {
              profile->SetDisplayName(text, self.handle);
            });
          },
          "The item's name; setting it needs the item checked out.")
      .def_property_readonly(
          "uid", [](Item& self) { return Ask(self, "Item.uid", [](const UDMItemHandle& h) { return h.GetUID().str(); }); },
          "The identifier of this revision: 32 hex digits of the item, then the revision number.\n"
          "It moves to the new revision on check-in.")
      .def_property_readonly(
          "revision", [](Item& self) { return Ask(self, "Item.revision", [](const UDMItemHandle& h) { return h.GetRevision(); }); },
          "The revision number, from 0.")
      .def_property_readonly(
          "latest_revision",
          [](Item& self) { return Ask(self, "Item.latest_revision", [](const UDMItemHandle& h) { return h.GetLatestRevision(); }); },
          "The number of the item's latest stored revision.")
      .def_property_readonly(
          "cdef", [](Item& self) { return self.handle.GetCdef().str(); },
          "The name of the item's content definition (its class), e.g. \"UDMPart\".")
      .def_property_readonly(
          "url",
          [](Item& self) {
            return self.connection->Run("Item.url", [&](const boost::shared_ptr<IUDMProfile>& profile) {
              return UDMProfileExtensions::VersionedUrlOf(profile, self.handle).str();
            });
          },
          "The versioned URL of the revision, \"/repository/root~v1/group/child~v0/\": the root and\n"
          "each child group and child down to the item, each at its revision, through first parents\n"
          "(new items at revision 0). Repository.get takes it back.")
      .def_property_readonly(
          "checked_out",
          [](Item& self) { return Ask(self, "Item.checked_out", [](const UDMItemHandle& h) { return h.IsEditable(); }); },
          "Whether the item may be edited here: checked out to this session, or new.")
      .def_property_readonly(
          "modified",
          [](Item& self) { return Ask(self, "Item.modified", [](const UDMItemHandle& h) { return h.IsModified(); }); },
          "Whether the checked-out item has changes not checked in.")
      .def_property_readonly(
          "deleted", [](Item& self) { return Ask(self, "Item.deleted", [](const UDMItemHandle& h) { return h.IsDeleted(); }); },
          "Whether the item is deleted (it can still be restored).")
      .def_property_readonly(
          "created_by", [](Item& self) { return Who(self, &UDMItemHandle::GetCreatedBy); }, "Who created the item.")
      .def_property_readonly(
          "created", [](Item& self) { return Time(self, &UDMItemHandle::GetCreationTime); },
          "When the item was created, a datetime in UTC.")
      .def_property_readonly(
          "modified_by", [](Item& self) { return Who(self, &UDMItemHandle::GetModifiedBy); },
          "Who made this revision.")
      .def_property_readonly(
          "modified_time", [](Item& self) { return Time(self, &UDMItemHandle::GetModifiedTime); },
          "When this revision was made, a datetime in UTC.")
      .def_property_readonly(
          "attributes",
          [](Item& self) {
            const std::vector<TypedValue> values =
                self.connection->Run("Item.attributes", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  vqStlVector<UDMAttributeDefinitionHandle> definitions;
                  profile->GetProfileUtils().GetContentDefinitionHandle(self.handle.GetCdef()).GetAttributeDefinitions(
                      definitions);
                  std::vector<TypedValue> out;
                  for (const UDMAttributeDefinitionHandle& definition : definitions) {
                    if (definition.IsSystem()) continue;
                    out.push_back({definition.GetName().str(), profile->GetAttributeValue(self.handle, definition.GetName()),
                                   definition.GetDataType().str()});
                  }
                  return out;
                });
            py::dict attributes;
            for (const TypedValue& entry : values) attributes[py::str(entry.name)] = ToPython(entry.value, entry.type);
            return attributes;
          },
          "The item's attributes as a new dict, in the order of its definition; unset ones are None.\n"
          "System attributes (smd_...) are left out: name, created, modified, ... give them.")
      .def("__getitem__", &Attribute, py::arg("name"),
           "The value of an attribute; InvalidArgumentError when the definition has no such attribute.")
      .def("__setitem__", &SetAttribute, py::arg("name"), py::arg("value"),
           "Sets an attribute. The item must be checked out or new; the value is checked against the\n"
           "attribute's definition (type, valid values, pattern).")
      .def(
          "__contains__",
          [](Item& self, const std::string& name) {
            return self.connection->Run("Item.__contains__", [&](const boost::shared_ptr<IUDMProfile>& profile) {
              const vqStlVector<vqString> names = profile->GetProfileUtils().GetAttributeNameList(self.handle.GetCdef());
              return std::find(names.begin(), names.end(), vqString(name)) != names.end();
            });
          },
          py::arg("name"), "Whether the item's definition has an attribute of that name.")
      .def(
          "checkout",
          [](Item& self, const std::string& comment, bool recursive) {
            self.connection->Run("Item.checkout", [&](const boost::shared_ptr<IUDMProfile>& profile) {
              profile->Checkout(self.handle, comment);
            });
            return CheckOut{self, comment, recursive};
          },
          py::arg("comment") = "", py::arg("recursive") = false,
          "Checks the item out to this session (nothing to do when it is already) and returns a\n"
          "context manager:\n\n"
          "    with item.checkout(\"heavier\"):\n"
          "        item[\"mass\"] = 0.03\n\n"
          "checks the item in with the comment when the block ends, or undoes the check-out (and\n"
          "every change) when it raises. recursive: the check-in takes the new and checked-out\n"
          "children along. StateError (CONFLICT) when someone else holds it.")
      .def("checkin", &CheckIn, py::arg("comment") = "", py::arg("recursive") = false,
           py::arg("keep_checked_out") = false,
           "Stores the checked-out item as a new revision (a new item as its revision 0).\n"
           "recursive: its new and checked-out children are stored with it, in one transaction.")
      .def("undo", &Undo,
           "Undoes the check-out: the changes are dropped; a new item is discarded altogether.")
      .def_property_readonly(
          "children", [](Item& self) { return Children(self, ""); },
          "The items this one uses, in every child group, once per use.")
      .def_property_readonly("uses", &Uses,
                             "The uses this item makes of others, as Use(id, group, child, attributes): one per\n"
                             "use, with its attributes (quantity, findnumber, refdes, ...). The id stays the same\n"
                             "in every revision of this item.")
      .def("children_in", &Children, py::arg("group"), "The items this one uses in one child group, once per use.")
      .def(
          "add_child",
          [](Item& self, const Item& child, py::object group, py::kwargs useAttributes) {
            const std::string groupName = group.is_none() ? std::string() : Text(group, "group");
            vqStlMap<vqString, vqVariant> attributes;
            for (const auto& [name, value] : useAttributes) {
              const std::string key = name.cast<std::string>();
              attributes[key] = ToVariant(value, "use attribute \"" + key + "\"");
            }
            self.connection->Run("Item.add_child", [&](const boost::shared_ptr<IUDMProfile>& profile) {
              const std::string chosen =
                  groupName.empty() ? DefaultGroup(profile, self.handle, child.handle.GetCdef().str()) : groupName;
              if (attributes.empty()) {
                profile->AddChild(self.handle, child.handle, chosen);
              } else {
                Core(self.handle)->AddUse(Core(child.handle), chosen, attributes);
              }
            });
          },
          py::arg("child"), py::arg("group") = py::none(),
          "Adds a use of `child` to this checked-out or new item, in `group` (default: the first\n"
          "child group that admits the child's definition). Keyword arguments set the use's\n"
          "attributes (quantity, findnumber, refdes, ...) and add a use of its own even when the\n"
          "child is used already.")
      .def(
          "where_used",
          [](Item& self, int levels) {
            struct User {
              UDMItemHandle parent;
              int level;
              std::string group;
              int uses;
            };
            const std::vector<User> users =
                self.connection->Run("Item.where_used", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  vqStlVector<UDMWhereUsedInfo> found;
                  Core(self.handle)->GetWhereUsed(found, levels);
                  std::vector<User> out;
                  for (const UDMWhereUsedInfo& user : found) {
                    out.push_back({profile->GetUDMItemHandle(user.parent->GetUID(true)), user.level, user.group.str(),
                                   user.uses});
                  }
                  return out;
                });
            py::list out;
            for (const User& user : users) {
              out.append(g_whereUsed(Item(self.connection, user.parent), user.level, user.group, user.uses));
            }
            return out;
          },
          py::arg("levels") = 0,
          "The items that use this one, nearest level first, as WhereUsed(parent, level, group, uses):\n"
          "level 1 for direct parents, up to `levels` levels (0: every level).")
      .def(
          "__eq__",
          [](Item& self, py::object other) -> py::object {
            if (!py::isinstance<Item>(other)) return py::reinterpret_borrow<py::object>(Py_NotImplemented);
            return py::bool_(CurrentUid(self) == CurrentUid(other.cast<Item&>()));
          },
          py::is_operator(), "Whether both are the same revision of the same item.")
      .def("__hash__", [](Item& self) { return py::hash(py::str(self.dmid)); },
           "Hashes by the item, not the revision: it stays the same through check-ins.")
      .def("__repr__", [](Item& self) {
        std::string name;
        try {
          name = Ask(self, "Item", [](const UDMItemHandle& h) { return h.GetDisplayName().str(); });
        } catch (const UDMException&) {
          name = "?";  // the repository is closed
        }
        return "<vqkudm.Item " + self.handle.GetCdef().str() + " " + py::repr(py::str(name)).cast<std::string>() +
               " " + CurrentUid(self) + ">";
      });

  py::class_<CheckOut>(module, "CheckOut",
                       "The context manager Item.checkout returns: checks in when the block ends, undoes the\n"
                       "check-out when it raises.")
      .def_property_readonly("item", [](CheckOut& self) { return self.item; }, "The checked-out item.")
      .def("__enter__", [](CheckOut& self) { return self.item; }, "The checked-out item.")
      .def("__exit__", [](CheckOut& self, py::object type, py::object, py::object) {
        if (type.is_none()) {
          CheckIn(self.item, self.comment, self.recursive, false);
        } else {
          Undo(self.item);
        }
        return false;
      }, "Checks in, or undoes the check-out when the block raised; never swallows the error.");

  g_whereUsed = RecordType(module, "WhereUsed", {"parent", "level", "group", "uses"},
                           "One user found by Item.where_used: the using item, its level (1: a direct parent), the child\n"
      "group of its uses and how many uses it makes of the items one level below.");
  g_use = RecordType(module, "Use", {"id", "group", "child", "attributes"},
                     "One use of Item.uses: its id, the child group it is in, the child Item and the use's attributes\n"
      "as a dict.");
}

}  // namespace vqkudm::python
