#include "DefinitionXml.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <boost/make_shared.hpp>
#include <pugixml.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>

namespace vqkudm::schema {

namespace {

int LineAt(const vqString& text, std::ptrdiff_t offset) {
  if (offset < 0) return 1;
  const auto end = text.begin() + std::min<std::ptrdiff_t>(offset, static_cast<std::ptrdiff_t>(text.size()));
  return 1 + static_cast<int>(std::count(text.begin(), end, '\n'));
}

struct Source {
  const vqString& text;
  const vqString& name;

  [[noreturn]] void Fail(const pugi::xml_node& node, const vqString& reason) const {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             name + ":" + vqString::FromInt(LineAt(text, node.offset_debug())) + ": " + reason,
                             ExcSubSyntax);
  }
  vqString Required(const pugi::xml_node& node, const char* attribute) const {
    const pugi::xml_attribute value = node.attribute(attribute);
    if (!value || !*value.value()) {
      Fail(node, vqString("<") + node.name() + "> needs the attribute \"" + attribute + "\"");
    }
    return value.value();
  }
  bool Flag(const pugi::xml_node& node, const char* attribute, bool fallback) const {
    const pugi::xml_attribute value = node.attribute(attribute);
    if (!value) return fallback;
    const vqString text = value.value();
    if (text.EqualsNoCase("true") || text == "1") return true;
    if (text.EqualsNoCase("false") || text == "0") return false;
    Fail(node, vqString("attribute \"") + attribute + "\" must be true or false, not \"" + text + "\"");
  }
};

pugi::xml_document Parse(const vqString& xml, const vqString& sourceName) {
  pugi::xml_document document;
  const pugi::xml_parse_result result = document.load_buffer(xml.data(), xml.size());
  if (!result) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             sourceName + ":" + vqString::FromInt(LineAt(xml, result.offset)) +
                                 ": malformed XML: " + result.description(),
                             ExcSubSyntax);
  }
  return document;
}

boost::shared_ptr<UDMAttributeDefinition> ParseAttribute(const Source& source, const pugi::xml_node& node) {
  UDMAttributeDefinition::Fields fields;
  fields.name = source.Required(node, "name");
  const vqString typeName = source.Required(node, "type");
  if (!UDMAttributeDefinition::ParseTypeName(typeName, fields.type, fields.unique)) {
    source.Fail(node, "attribute \"" + fields.name + "\" has the unknown type \"" + typeName +
                          "\"; the types are String, Long (int), Double (float), Boolean (bool), "
                          "StringList, Date, Color, reference and unique");
  }
  if (fields.name.StartsWith("smd_")) {
    source.Fail(node, "attribute \"" + fields.name + "\": names beginning with smd_ are the system's");
  }
  fields.displayName = node.attribute("displayname").value();
  fields.description = node.attribute("description").value();
  fields.category = node.attribute("category").value();
  fields.regex = node.attribute("regex").value();
  fields.mandatory = source.Flag(node, "mandatory", false);
  fields.editable = source.Flag(node, "editable", true);
  fields.displayable = source.Flag(node, "displayable", true);
  if (pugi::xml_attribute value = node.attribute("default")) {
    fields.defaultValue = value.value();
    fields.defaultSet = true;
  }
  for (pugi::xml_node valid : node.children("validvalue")) fields.validValues.push_back(valid.text().get());
  try {
    auto definition = boost::make_shared<UDMAttributeDefinition>(fields);
    if (definition->IsDefaultValueSet()) {
      definition->CheckValue(vqVariant(fields.defaultValue), [] { return vqString("its default"); });
    }
    return definition;
  } catch (const UDMException& e) {
    source.Fail(node, e.what());
  }
}

boost::shared_ptr<UDMChildGroup> ParseGroup(const Source& source, const pugi::xml_node& node) {
  UDMChildGroup::Fields fields;
  fields.name = source.Required(node, "name");
  fields.composition = source.Flag(node, "composition", false);
  fields.association = source.Flag(node, "association", false);
  fields.reference = source.Flag(node, "reference", false);
  fields.blocked = source.Flag(node, "blocked", false);
  fields.internal = source.Flag(node, "internal", false);
  fields.nonDisplayable = source.Flag(node, "nondisplayable", false);
  fields.allowDuplicateNames = source.Flag(node, "allowduplicatenames", true);
  fields.multipleUses = source.Flag(node, "multipleuses", false);
  for (pugi::xml_node allowed : node.children("allowed")) fields.allowedTypes.push_back(source.Required(allowed, "type"));
  for (pugi::xml_node attribute : node.children("attribute")) {
    auto definition = ParseAttribute(source, attribute);
    for (const auto& existing : fields.useAttributes) {
      if (existing->GetName() == definition->GetName()) {
        source.Fail(attribute, "use attribute \"" + definition->GetName() + "\" is defined twice in group \"" +
                                   fields.name + "\"");
      }
    }
    fields.useAttributes.push_back(definition);
  }
  // The configuration ties groups to itself when it installs the definition.
  return boost::make_shared<UDMChildGroup>(fields, boost::weak_ptr<UDMConfiguration>());
}

UDMContentDefinition::Fields ParseDefinition(const Source& source, const pugi::xml_node& node) {
  UDMContentDefinition::Fields fields;
  fields.type = source.Required(node, "type");
  if (fields.type.find_first_of(kReservedCharacters) != vqString::npos) {
    source.Fail(node, "definition type \"" + fields.type + "\" contains a reserved character");
  }
  fields.displayName = node.attribute("displayname").value();
  fields.derivedFrom = node.attribute("derivedfrom").value();
  fields.dnameProperty = node.attribute("dnameproperty").value();
  fields.schemaVersion = node.attribute("schemaversion").as_int(1);
  fields.file = source.name;
  for (pugi::xml_node meta : node.children("meta")) {
    fields.meta[source.Required(meta, "name")] = meta.attribute("value").value();
  }
  for (pugi::xml_node attribute : node.children("attribute")) {
    auto definition = ParseAttribute(source, attribute);
    for (const auto& existing : fields.attributes) {
      if (existing->GetName() == definition->GetName()) {
        source.Fail(attribute, "attribute \"" + definition->GetName() + "\" is defined twice in \"" + fields.type + "\"");
      }
    }
    fields.attributes.push_back(definition);
  }
  for (pugi::xml_node group : node.children("childgroup")) {
    auto definition = ParseGroup(source, group);
    for (const auto& existing : fields.groups) {
      if (existing->GetName() == definition->GetName()) {
        source.Fail(group, "child group \"" + definition->GetName() + "\" is defined twice in \"" + fields.type + "\"");
      }
    }
    fields.groups.push_back(definition);
  }
  for (pugi::xml_node element : node.children("composite")) {
    UDMContentDefinition::Composite composite;
    composite.name = source.Required(element, "name");
    composite.type = element.attribute("type").value();
    composite.displayName = element.attribute("displayname").value();
    composite.delimiter = element.attribute("delimiter").value();
    for (pugi::xml_node member : element.children("member")) {
      const vqString name = source.Required(member, "name");
      bool known = false;
      for (const auto& attribute : fields.attributes) known = known || attribute->GetName() == name;
      if (!known) {
        source.Fail(member, "composite \"" + composite.name + "\" names \"" + name +
                                "\", which is not an attribute of \"" + fields.type + "\"");
      }
      composite.members.push_back(name);
    }
    if (composite.members.empty()) source.Fail(element, "composite \"" + composite.name + "\" has no members");
    for (const auto& attribute : fields.attributes) {
      if (attribute->GetName() == composite.name) {
        source.Fail(element, "composite \"" + composite.name + "\" has the name of an attribute");
      }
    }
    fields.composites.push_back(composite);
  }
  return fields;
}

void SetFlag(pugi::xml_node node, const char* name, bool value, bool fallback) {
  if (value != fallback) node.append_attribute(name) = value ? "true" : "false";
}

void AppendAttribute(pugi::xml_node parent, const UDMAttributeDefinition& attribute) {
  const UDMAttributeDefinition::Fields& a = attribute.GetFields();
  pugi::xml_node node = parent.append_child("attribute");
  node.append_attribute("name") = a.name.c_str();
  node.append_attribute("type") = a.unique ? "unique" : UDMAttributeDefinition::TypeName(a.type).c_str();
  if (!a.displayName.empty()) node.append_attribute("displayname") = a.displayName.c_str();
  if (!a.description.empty()) node.append_attribute("description") = a.description.c_str();
  if (!a.category.empty()) node.append_attribute("category") = a.category.c_str();
  if (!a.regex.empty()) node.append_attribute("regex") = a.regex.c_str();
  if (a.defaultSet) node.append_attribute("default") = a.defaultValue.c_str();
  SetFlag(node, "mandatory", a.mandatory, false);
  SetFlag(node, "editable", a.editable, true);
  SetFlag(node, "displayable", a.displayable, true);
  for (const vqString& valid : a.validValues) node.append_child("validvalue").text() = valid.c_str();
}

}  // namespace

vqStlVector<UDMContentDefinition::Fields> ParseDefinitions(const vqString& xml, const vqString& sourceName) {
  const pugi::xml_document document = Parse(xml, sourceName);
  const Source source{xml, sourceName};
  vqStlVector<UDMContentDefinition::Fields> definitions;
  const pugi::xml_node root = document.document_element();
  if (vqString(root.name()) == "contentdefinition") {
    definitions.push_back(ParseDefinition(source, root));
  } else if (vqString(root.name()) == "definitions") {
    for (pugi::xml_node node : root.children("contentdefinition")) definitions.push_back(ParseDefinition(source, node));
  } else {
    source.Fail(root, vqString("expected <definitions> or <contentdefinition>, found <") + root.name() + ">");
  }
  return definitions;
}

void ParseConfiguration(const vqString& xml, const vqString& sourceName,
                        vqStlVector<vqString>& definitionFiles, vqStlVector<UDMPluginEntry>& plugins) {
  const pugi::xml_document document = Parse(xml, sourceName);
  const Source source{xml, sourceName};
  const pugi::xml_node root = document.document_element();
  if (vqString(root.name()) != "udmconfig") {
    source.Fail(root, vqString("expected <udmconfig>, found <") + root.name() + ">");
  }
  const std::filesystem::path base = std::filesystem::path(sourceName.str()).parent_path();
  for (pugi::xml_node file : root.child("definitions").children("file")) {
    const std::filesystem::path path(source.Required(file, "path").str());
    definitionFiles.push_back((path.is_absolute() ? path : base / path).lexically_normal().string());
  }
  for (pugi::xml_node plugin : root.child("plugins").children("plugin")) {
    plugins.push_back({source.Required(plugin, "key"), source.Required(plugin, "library")});
  }
}

void ParseLibraryManagerSettings(const vqString& xml, const vqString& sourceName,
                                 vqStlMap<vqString, vqString>& settings) {
  const pugi::xml_document document = Parse(xml, sourceName);
  const Source source{xml, sourceName};
  for (pugi::xml_node setting : document.document_element().child("librarymanager").children("setting")) {
    settings[source.Required(setting, "name")] = setting.attribute("value").value();
  }
}

vqString DefinitionToXml(const UDMContentDefinition::Fields& fields) {
  pugi::xml_document document;
  pugi::xml_node root = document.append_child("contentdefinition");
  root.append_attribute("type") = fields.type.c_str();
  if (!fields.displayName.empty()) root.append_attribute("displayname") = fields.displayName.c_str();
  if (!fields.derivedFrom.empty()) root.append_attribute("derivedfrom") = fields.derivedFrom.c_str();
  if (!fields.dnameProperty.empty()) root.append_attribute("dnameproperty") = fields.dnameProperty.c_str();
  root.append_attribute("schemaversion") = fields.schemaVersion;
  for (const auto& [name, value] : fields.meta) {
    pugi::xml_node meta = root.append_child("meta");
    meta.append_attribute("name") = name.c_str();
    meta.append_attribute("value") = value.c_str();
  }
  for (const auto& attribute : fields.attributes) AppendAttribute(root, *attribute);
  for (const auto& group : fields.groups) {
    const UDMChildGroup::Fields& g = group->GetFields();
    pugi::xml_node node = root.append_child("childgroup");
    node.append_attribute("name") = g.name.c_str();
    SetFlag(node, "composition", g.composition, false);
    SetFlag(node, "association", g.association, false);
    SetFlag(node, "reference", g.reference, false);
    SetFlag(node, "blocked", g.blocked, false);
    SetFlag(node, "internal", g.internal, false);
    SetFlag(node, "nondisplayable", g.nonDisplayable, false);
    SetFlag(node, "allowduplicatenames", g.allowDuplicateNames, true);
    SetFlag(node, "multipleuses", g.multipleUses, false);
    for (const vqString& type : g.allowedTypes) node.append_child("allowed").append_attribute("type") = type.c_str();
    for (const auto& attribute : g.useAttributes) AppendAttribute(node, *attribute);
  }
  for (const auto& c : fields.composites) {
    pugi::xml_node node = root.append_child("composite");
    node.append_attribute("name") = c.name.c_str();
    if (!c.type.empty()) node.append_attribute("type") = c.type.c_str();
    if (!c.displayName.empty()) node.append_attribute("displayname") = c.displayName.c_str();
    node.append_attribute("delimiter") = c.delimiter.c_str();
    for (const vqString& member : c.members) node.append_child("member").append_attribute("name") = member.c_str();
  }
  std::ostringstream out;
  document.save(out, "  ");
  return out.str();
}

vqString ReadTextFile(const vqString& path) {
  std::ifstream in(path.str(), std::ios::binary);
  if (!in) {
    ThrowFileException(UDM_FUNCSIG, "cannot read \"" + path + "\"", ExcSubIo);
  }
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace vqkudm::schema
