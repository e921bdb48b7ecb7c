#pragma once

// vqkudm.Item: one item of a repository, seen through its handle.

#include <memory>
#include <string>
#include <vector>

#include "connection.h"

namespace vqkudm::python {

struct Item {
  Item(std::shared_ptr<Connection> connection, UDMItemHandle handle);

  std::shared_ptr<Connection> connection;
  UDMItemHandle handle;
  // Fixed for the item's life, unlike the identifier, which changes with
  // every check-in: what the item hashes by.
  std::string dmid;
};

// Adds Item, CheckOut and WhereUsed to `module`.
void RegisterItem(py::module_& module);

// Python Items for handles, in order.
py::list ItemList(const std::shared_ptr<Connection>& connection, const std::vector<UDMItemHandle>& handles);

// InvalidArgumentError (NOT_FOUND) naming `where` unless definition `cdef`
// has an attribute `name`. Call inside Connection::Run.
void RequireAttribute(IUDMProfile& profile, const std::string& cdef, const std::string& name, const char* where);

// The first child group of the parent's definition that admits `cdef`;
// InvalidArgumentError when none does. Call inside Connection::Run.
std::string DefaultGroup(const boost::shared_ptr<IUDMProfile>& profile, const UDMItemHandle& parent,
                         const std::string& cdef);

}  // namespace vqkudm::python
