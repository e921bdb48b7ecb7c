#include <vqlmcdefedit/ContentDefinitionModifier.h>

#include <cstdio>
#include <filesystem>

#include <pugixml.hpp>

namespace vqlm {

namespace {

const char* const kNames[] = {"string", "long", "int", "float", "bool", "stringlist", "date", "color", "unique"};
const char* const kDefinitionTypes[] = {"String", "Long", "Long", "Double", "Boolean",
                                        "StringList", "Date", "Color", "unique"};

bool SameName(const pugi::xml_node& definition, const char* element, const vqString& name) {
  for (pugi::xml_node node : definition.children(element)) {
    if (name == node.attribute("name").value()) return true;
  }
  return false;
}

}  // namespace

bool MetadataTypeFromName(const vqString& name, LMMETADATATYPE& out) {
  for (int i = 0; i < 9; ++i) {
    if (name.EqualsNoCase(kNames[i])) {
      out = static_cast<LMMETADATATYPE>(i);
      return true;
    }
  }
  return false;
}

vqString DefinitionTypeName(LMMETADATATYPE type) { return kDefinitionTypes[static_cast<int>(type)]; }

struct ContentDefinitionModifier::Document {
  pugi::xml_document xml;
  pugi::xml_node target;
};

ContentDefinitionModifier::ContentDefinitionModifier(const vqString& path, const vqString& type)
    : m_document(new Document) {
  const pugi::xml_parse_result parsed = m_document->xml.load_file(path.c_str());
  if (!parsed) {
    m_error = "cannot read the definition file \"" + path + "\": " + parsed.description();
    return;
  }
  pugi::xml_node root = m_document->xml.document_element();
  const bool single = vqString(root.name()) == "contentdefinition";
  for (pugi::xml_node node = single ? root : root.child("contentdefinition"); node;
       node = single ? pugi::xml_node() : node.next_sibling("contentdefinition")) {
    if (type.empty() || type == node.attribute("type").value()) {
      m_document->target = node;
      break;
    }
  }
  if (!m_document->target) {
    m_error = "\"" + path + "\" has no content definition" + (type.empty() ? vqString() : " \"" + type + "\"");
  }
}

ContentDefinitionModifier::~ContentDefinitionModifier() = default;

bool ContentDefinitionModifier::IsValid() const { return m_document->target; }

bool ContentDefinitionModifier::AddMetadata(const vqString& name, int typeValue, bool mandatory, bool editable,
                                            bool displayable, const vqString& displayName,
                                            const vqString& description, const vqString& category,
                                            const vqString& defaultValue, const vqStlVector<vqString>& validValues) {
  pugi::xml_node& target = m_document->target;
  if (!target) return false;
  if (name.empty() || typeValue < LMMETADATA_STRING || typeValue > LMMETADATA_UNIQUE) {
    m_error = "an attribute needs a name and a type between 0 and 8";
    return false;
  }
  if (SameName(target, "attribute", name) || SameName(target, "composite", name)) {
    m_error = "\"" + name + "\" is already an attribute of the definition";
    return false;
  }
  // After the last attribute, so that the file keeps its order.
  pugi::xml_node last = target.last_child();
  while (last && vqString(last.name()) != "attribute") last = last.previous_sibling();
  pugi::xml_node node = last ? target.insert_child_after("attribute", last) : target.prepend_child("attribute");
  node.append_attribute("name") = name.c_str();
  node.append_attribute("type") = DefinitionTypeName(static_cast<LMMETADATATYPE>(typeValue)).c_str();
  if (!displayName.empty()) node.append_attribute("displayname") = displayName.c_str();
  if (!description.empty()) node.append_attribute("description") = description.c_str();
  if (!category.empty()) node.append_attribute("category") = category.c_str();
  if (!defaultValue.empty()) node.append_attribute("default") = defaultValue.c_str();
  node.append_attribute("mandatory") = mandatory ? "true" : "false";
  node.append_attribute("editable") = editable ? "true" : "false";
  node.append_attribute("displayable") = displayable ? "true" : "false";
  for (const vqString& value : validValues) node.append_child("validvalue").text() = value.c_str();
  return true;
}

bool ContentDefinitionModifier::AddCompositeMetadata(const vqString& name, const vqString& type,
                                                     const vqString& displayName,
                                                     const vqStlVector<vqString>& memberNames,
                                                     const vqString& delimiter) {
  pugi::xml_node& target = m_document->target;
  if (!target) return false;
  if (name.empty() || memberNames.empty()) {
    m_error = "a composite needs a name and members";
    return false;
  }
  if (SameName(target, "attribute", name) || SameName(target, "composite", name)) {
    m_error = "\"" + name + "\" is already an attribute of the definition";
    return false;
  }
  for (const vqString& member : memberNames) {
    if (!SameName(target, "attribute", member)) {
      m_error = "the composite member \"" + member + "\" is not an attribute of the definition";
      return false;
    }
  }
  pugi::xml_node node = target.append_child("composite");
  node.append_attribute("name") = name.c_str();
  if (!type.empty()) node.append_attribute("type") = type.c_str();
  if (!displayName.empty()) node.append_attribute("displayname") = displayName.c_str();
  node.append_attribute("delimiter") = delimiter.c_str();
  for (const vqString& member : memberNames) node.append_child("member").append_attribute("name") = member.c_str();
  return true;
}

bool ContentDefinitionModifier::Write(const vqString& path) {
  if (!m_document->target) return false;
  const vqString temp = path + ".part";
  if (!m_document->xml.save_file(temp.c_str(), "  ")) {
    m_error = "cannot write \"" + temp + "\"";
    return false;
  }
  std::error_code error;
  std::filesystem::rename(temp.str(), path.str(), error);
  if (error) {
    std::filesystem::remove(temp.str(), error);
    m_error = "cannot write \"" + path + "\": " + error.message();
    return false;
  }
  return true;
}

}  // namespace vqlm
