#include "schema.h"

#include <string>
#include <vector>

#include <vqkudm/UDMCdefMetaData.h>
#include <vqkudmrt/UDMException.h>

#include "errors.h"
#include "records.h"
#include "repository.h"
#include "values.h"

namespace vqkudm::python {

namespace {

// The Definition and Attribute record types.
py::handle g_definition;
py::handle g_attribute;

struct GroupData {
  std::string name;
  std::vector<std::string> admits;
};

struct DefinitionData {
  std::string name;
  std::string derivedFrom;
  std::vector<UDMCdefMetaData> attributes;
  std::vector<GroupData> groups;
};

// Call inside Run.
DefinitionData Read(IUDMProfile& profile, const std::string& name) {
  UDMProfileUtils utils = profile.GetProfileUtils();
  UDMContentDefinitionHandle definition = utils.GetContentDefinitionHandle(name);
  if (definition.IsEmpty())
    RefuseArgument("Repository.definitions", "no definition \"" + name + "\"", ExcSubNotFound);
  DefinitionData data;
  data.name = name;
  vqString base;
  definition.GetDerivedFrom(base);
  data.derivedFrom = base.str();
  vqStlVector<UDMCdefMetaData> metadata;
  profile.GetMetaData(name, metadata);
  data.attributes.assign(metadata.begin(), metadata.end());
  vqStlVector<vqString> groups;
  utils.GetGroupNames(name, groups, "");
  for (const vqString& group : groups) {
    vqStlVector<vqString> allowed;
    utils.GetAllowedChildCdefNames(name, allowed, group);
    data.groups.push_back({group.str(), std::vector<std::string>(allowed.begin(), allowed.end())});
  }
  return data;
}

py::object Record(const DefinitionData& data) {
  py::list attributes;
  for (const UDMCdefMetaData& attribute : data.attributes) {
    py::list valid;
    for (const vqString& value : attribute.ValidVal()) valid.append(py::str(value.str()));
    const std::string defaultValue = attribute.DefaultValue().str();
    attributes.append(
        g_attribute(attribute.Name().str(), attribute.Type().str(),
                    defaultValue.empty() ? py::object(py::none()) : py::str(defaultValue),
                    attribute.Mandatory(), valid, attribute.DisplayName().str(),
                    attribute.Description().str()));
  }
  py::dict groups;
  for (const GroupData& group : data.groups) {
    py::list admits;
    for (const std::string& cdef : group.admits) admits.append(py::str(cdef));
    groups[py::str(group.name)] = admits;
  }
  return g_definition(data.name,
                      data.derivedFrom.empty() ? py::object(py::none()) : py::str(data.derivedFrom),
                      attributes, groups);
}

std::vector<std::string> ValidValues(py::handle values) {
  std::vector<std::string> out;
  if (values.is_none()) return out;
  if (py::isinstance<py::str>(values)) {
    RefuseArgument("Repository.add_attribute", "valid_values is a list of str, not one str",
                   ExcSubWrongType);
  }
  for (py::handle value : py::iter(values)) out.push_back(Text(value, "a valid value"));
  return out;
}

}  // namespace

void RegisterSchema(py::module_& module) {
  auto repository = py::reinterpret_borrow<py::class_<Repository>>(module.attr("Repository"));
  repository
      .def_property_readonly(
          "definitions",
          [](Repository& self) {
            const std::vector<DefinitionData> definitions = self.connection->Run(
                "Repository.definitions", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  std::vector<DefinitionData> out;
                  for (const vqString& name :
                       profile->GetProfileUtils().GetRegisteredContentDefinitionNames()) {
                    out.push_back(Read(*profile, name.str()));
                  }
                  return out;
                });
            py::dict out;
            for (const DefinitionData& definition : definitions)
              out[py::str(definition.name)] = Record(definition);
            return out;
          },
          "The content definitions (the schema) as a new dict of Definition by name. A Definition\n"
          "has the name, the definition it derives from (or None), its attributes as a list of\n"
          "Attribute(name, type, default, mandatory, valid_values, display_name, description), "
          "and\n"
          "its child groups as a dict of the definitions each admits (empty: any).")
      .def(
          "add_attribute",
          [](Repository& self, const std::string& cdef, const std::string& name,
             const std::string& type, py::object defaultValue, bool mandatory,
             py::handle validValues, py::object displayName, const std::string& description) {
            const std::string defaultText =
                defaultValue.is_none() ? std::string() : SettingText(defaultValue, "default");
            const std::string shown =
                displayName.is_none() ? name : Text(displayName, "display_name");
            const std::vector<std::string> valid = ValidValues(validValues);
            if (name.empty())
              RefuseArgument("Repository.add_attribute", "the attribute's name is empty",
                             ExcSubEmpty);
            const DefinitionData definition = self.connection->Run(
                "Repository.add_attribute", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  Read(*profile, cdef);  // refuses an unknown definition by name
                  vqStlVector<UDMCdefMetaData> metadata = {UDMCdefMetaData(
                      name, shown, description, defaultText, type, "", true, mandatory, true,
                      vqStlVector<vqString>(valid.begin(), valid.end()))};
                  profile->ModifyUpdateContentDefinition(cdef, metadata, nullptr);
                  // The profile drops from the list what the definition has already.
                  if (metadata.empty()) {
                    RefuseArgument("Repository.add_attribute",
                                   cdef + " has an attribute \"" + name + "\" already",
                                   ExcSubConflict);
                  }
                  return Read(*profile, cdef);
                });
            return Record(definition);
          },
          py::arg("cdef"), py::arg("name"), py::arg("type"), py::kw_only(),
          py::arg("default") = py::none(), py::arg("mandatory") = false,
          py::arg("valid_values") = py::none(), py::arg("display_name") = py::none(),
          py::arg("description") = "",
          "Adds an attribute to the definition `cdef` for every session of the repository, and "
          "returns\n"
          "the definition as it is now. type: string, long, int, float, bool, stringlist, date, "
          "color\n"
          "or unique. Existing items read the default (or None) until they are given a value.");

  g_definition = RecordType(
      module, "Definition", {"name", "derived_from", "attributes", "groups"},
      "A content definition of Repository.definitions: its name, the definition it derives from\n"
      "(None for none), its attributes (a list of Attribute) and its child groups (a dict of the\n"
      "definitions each group admits; an empty list admits any).");
  g_attribute = RecordType(
      module, "Attribute",
      {"name", "type", "default", "mandatory", "valid_values", "display_name", "description"},
      "An attribute of a Definition: its name, its type name, its default (text, or None), "
      "whether\n"
      "it is mandatory, the values it is limited to (empty: any), its display name and "
      "description.");
}

}  // namespace vqkudm::python
