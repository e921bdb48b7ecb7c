#include "PlmxmlWriter.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <pugixml.hpp>

#include "PlmxmlEditor.h"
#include "PlmxmlFiles.h"
#include "PlmxmlIndex.h"
#include "PlmxmlPlan.h"
#include "PlmxmlReader.h"
#include "PlmxmlStructure.h"

namespace vqkudm::plmxml {

namespace {

namespace fs = std::filesystem;
using detail::Editor;
using detail::FileWriter;
using detail::Index;
using detail::LineAt;
using detail::KeyOf;
using detail::KeyPair;
using detail::kNone;
using detail::LocalName;
using detail::Plan;
using detail::Slot;
using detail::StructureWriter;

// The reader takes `type` where `subType` is absent.
void SetSubType(pugi::xml_node node, const std::string& subType) {
  if (detail::Attribute(node, "subType")) {
    if (subType.empty() && detail::Attribute(node, "type")) return Editor::Set(node, "subType", "");
    return Editor::SetOptional(node, "subType", subType);
  }
  Editor::SetOptional(node, detail::Attribute(node, "type") ? "type" : "subType", subType);
}

class Writer {
 public:
  Writer(Editor& editor, const Index& index, const Document& original, const Document& desired,
         fs::path directory)
      : m_editor(editor),
        m_original(original),
        m_desired(desired),
        m_plan(index, original, desired),
        m_files(editor, index, std::move(directory)),
        m_structure(editor, index, m_plan.slotOf) {}

  void Write() {
    for (std::size_t i = 0; i < m_desired.items.size(); ++i) WriteItem(i);
    for (std::size_t i = 0; i < m_desired.items.size(); ++i) {
      for (std::size_t r = 0; r < m_desired.items[i].revisions.size(); ++r) {
        m_files.Write(m_plan.slots[m_plan.slotOfRevision[i][r]].node,
                      m_desired.items[i].revisions[r].files);
      }
    }
    m_files.DropUnlisted();
    m_structure.Write(m_plan.slots, m_plan.roots);
  }

 private:
  void WriteItem(std::size_t i) {
    const Item& want = m_desired.items[i];
    const Item* was = m_plan.wasItem[i] == kNone ? nullptr : &m_original.items[m_plan.wasItem[i]];
    const std::vector<std::size_t>& slots = m_plan.slotOfRevision[i];
    pugi::xml_node item;  // the Product, else the element that founds the item
    pugi::xml_node last;  // the item's last revision, which a new one follows
    if (was) {
      item = m_plan.itemNode.at(was->key);
      if (!was->revisions.empty())
        last = m_plan.revisionNode.at(KeyPair(was->key, was->revisions.back().key));
      if (LocalName(item.name()) == "ProductRevision" && NeedsProduct(want, *was, item, slots))
        item = AddProduct(item, want);
      UpdateItem(item, want, *was);
    } else if (!m_plan.graphShape) {
      item = NewProduct(want);
    }
    const bool isProduct = item && LocalName(item.name()) == "Product";
    if (isProduct)
      detail::WriteUserValues(m_editor, item, {}, want.userValues,
                              was ? &was->userValues : nullptr);
    for (std::size_t r = 0; r < want.revisions.size(); ++r) {
      const Revision& revision = want.revisions[r];
      const Revision* before = m_plan.wasRevision[i][r];
      Slot& slot = m_plan.slots[slots[r]];
      if (before) {
        UpdateRevision(slot.node, revision, *before, item, want.key);
      } else {
        slot.node = NewRevision(want, revision, item, last);
        last = slot.node;
        if (!item) item = slot.node;
      }
      detail::WriteUserValues(m_editor, slot.node, isProduct ? item : pugi::xml_node(),
                              revision.userValues, before ? &before->userValues : nullptr);
    }
    // Without a Product the item's values can only live on the element that founds it.
    if (!item) item = NewRevision(want, Revision{}, {}, {});
    if (!isProduct)
      detail::WriteUserValues(m_editor, item, {}, want.userValues,
                              was ? &was->userValues : nullptr);
  }

  // A revision without masterRef is an item of its own, keyed by its id: a
  // new key, values of the item or a second revision need a Product.
  bool NeedsProduct(const Item& want, const Item& was, pugi::xml_node item,
                    const std::vector<std::size_t>& slots) const {
    if (want.key != was.key || !want.userValues.empty()) return true;
    for (const std::size_t slot : slots) {
      if (m_plan.slots[slot].node != item) return true;
    }
    return false;
  }

  pugi::xml_node AddProduct(pugi::xml_node revision, const Item& want) {
    const pugi::xml_node product = m_editor.AddBefore(revision, "Product");
    Editor::Set(product, "productId", want.key);
    Editor::SetOptional(product, "name", want.name);
    SetSubType(product, want.subType);
    m_editor.SetRef(revision, "masterRef", product);
    return product;
  }

  pugi::xml_node NewProduct(const Item& want) {
    const pugi::xml_node product = m_plan.lastProduct
                                       ? m_editor.AddAfter(m_plan.lastProduct, "Product")
                                       : m_editor.AddChild(m_editor.root(), "Product");
    Editor::Set(product, "productId", want.key);
    Editor::SetOptional(product, "name", want.name);
    SetSubType(product, want.subType);
    m_plan.lastProduct = product;
    return product;
  }

  void UpdateItem(pugi::xml_node item, const Item& want, const Item& was) {
    if (want.name != was.name) Editor::SetOptional(item, "name", want.name);
    if (want.subType != was.subType) SetSubType(item, want.subType);
    const std::string_view kind = LocalName(item.name());
    if ((kind == "Product" || kind == "Part") && KeyOf(item, "productId") != want.key)
      Editor::Set(item, "productId", want.key);
  }

  void UpdateRevision(pugi::xml_node node, const Revision& want, const Revision& was,
                      pugi::xml_node item, const std::string& itemKey) {
    if (want.revision != was.revision) Editor::SetOptional(node, "revision", want.revision);
    if (want.name != was.name) Editor::SetOptional(node, "name", want.name);
    if (want.subType != was.subType) SetSubType(node, want.subType);
    // The revision may have come from another item.
    const std::string_view kind = LocalName(node.name());
    if (kind == "Part" && KeyOf(node, "productId") != itemKey) {
      Editor::Set(node, "productId", itemKey);
    } else if (kind == "ProductRevision" && node != item && LocalName(item.name()) == "Product") {
      m_editor.SetRef(node, "masterRef", item);
    }
  }

  pugi::xml_node NewRevision(const Item& want, const Revision& revision, pugi::xml_node item,
                             pugi::xml_node last) {
    const bool part = item ? LocalName(item.name()) == "Part" : m_plan.graphShape;
    pugi::xml_node node;
    if (part) {
      const pugi::xml_node anchor = last ? last : m_plan.lastPart;
      node = anchor ? m_editor.AddAfter(anchor, "Part")
                    : m_editor.AddChild(m_plan.graph ? m_plan.graph : m_editor.root(), "Part");
      if (!m_plan.lastPart || anchor == m_plan.lastPart) m_plan.lastPart = node;
      Editor::Set(node, "productId", want.key);
    } else {
      const pugi::xml_node anchor = last ? last : m_plan.lastRevision ? m_plan.lastRevision : item;
      node = m_editor.AddAfter(anchor, "ProductRevision");
      if (!m_plan.lastRevision || anchor == m_plan.lastRevision) m_plan.lastRevision = node;
      m_editor.SetRef(node, "masterRef", item);
    }
    // The key is the revision label; one without a label would be keyed by the new id instead.
    Editor::SetOptional(node, "revision",
                        revision.revision.empty() ? revision.key : revision.revision);
    const bool founds = part && !item;
    Editor::SetOptional(node, "name", founds && revision.name.empty() ? want.name : revision.name);
    SetSubType(node, founds && revision.subType.empty() ? want.subType : revision.subType);
    return node;
  }

  Editor& m_editor;
  const Document& m_original;
  const Document& m_desired;
  Plan m_plan;
  FileWriter m_files;
  StructureWriter m_structure;
};

// The document's own indentation, so that the written one reads like it.
std::string IndentOf(const std::string& xml) {
  for (std::size_t line = xml.find('\n'); line != std::string::npos;
       line = xml.find('\n', line + 1)) {
    std::size_t end = line + 1;
    while (end < xml.size() && (xml[end] == ' ' || xml[end] == '\t')) ++end;
    if (end > line + 1 && end < xml.size() && xml[end] == '<')
      return xml.substr(line + 1, end - line - 1);
  }
  return "  ";
}

bool HasByteOrderMark(const std::string& xml) {
  return xml.rfind("\xEF\xBB\xBF", 0) == 0 || xml.rfind("\xFE\xFF", 0) == 0 ||
         xml.rfind("\xFF\xFE", 0) == 0;
}

struct StringWriter : pugi::xml_writer {
  std::string text;
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
};

}  // namespace

std::string WriteDocument(const std::string& originalXml, const Document& desired,
                          const std::string& documentPath) {
  return WriteDocument(originalXml, ParseDocument(originalXml, documentPath), desired, documentPath);
}

std::string WriteDocument(const std::string& originalXml, const Document& original, const Document& desired,
                          const std::string& documentPath) {
  pugi::xml_document document;
  const pugi::xml_parse_result parsed =
      document.load_buffer(originalXml.data(), originalXml.size(),
                           pugi::parse_default | pugi::parse_declaration | pugi::parse_comments |
                               pugi::parse_pi | pugi::parse_doctype);
  if (!parsed) {
    throw ReadError(documentPath + ": malformed XML on line " +
                    std::to_string(LineAt(originalXml, static_cast<std::size_t>(parsed.offset))) +
                    ": " + parsed.description());
  }
  const pugi::xml_node root = document.document_element();
  const Index index(root, documentPath, originalXml);
  Editor editor(root);
  const fs::path directory =
      fs::absolute(documentPath.empty() ? fs::path(".") : fs::path(documentPath)).parent_path();
  Writer(editor, index, original, desired, directory).Write();
  editor.Finish();
  StringWriter written;
  document.save(written, IndentOf(originalXml).c_str(),
                pugi::format_indent | pugi::format_no_declaration |
                    (HasByteOrderMark(originalXml) ? pugi::format_write_bom : 0u),
                parsed.encoding);
  return written.text;
}

}  // namespace vqkudm::plmxml
