#include "PlmxmlIndex.h"

#include <algorithm>

#include <cstring>
#include <utility>

#include "PlmxmlReader.h"

namespace vqkudm::plmxml::detail {

namespace {

constexpr std::pair<std::string_view, Kind> kKinds[] = {
    {"Product", Kind::Product},
    {"ProductRevision", Kind::ProductRevision},
    {"ProductView", Kind::ProductView},
    {"Occurrence", Kind::Occurrence},
    {"DataSet", Kind::DataSet},
    {"ExternalFile", Kind::ExternalFile},
    {"AssociatedAttachment", Kind::AssociatedAttachment},
    {"InstanceGraph", Kind::InstanceGraph},
    {"Part", Kind::Part},
    {"Instance", Kind::Instance},
    {"ProductInstance", Kind::ProductInstance},
};

Kind KindOf(std::string_view localName) {
  for (const auto& [name, kind] : kKinds) {
    if (name == localName) return kind;
  }
  return Kind::Other;
}

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The next element after `node` in document order, within `root`; iterative
// so that deep nesting cannot exhaust the stack.
pugi::xml_node NextElement(pugi::xml_node node, pugi::xml_node root) {
  if (pugi::xml_node child = node.first_child()) {
    if (child.type() == pugi::node_element) return child;
    node = child;
  }
  for (; node && node != root; node = node.parent()) {
    for (pugi::xml_node sibling = node.next_sibling(); sibling; sibling = sibling.next_sibling()) {
      if (sibling.type() == pugi::node_element) return sibling;
    }
  }
  return {};
}

}  // namespace

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view LocalName(const char* name) {
  const char* colon = std::strrchr(name, ':');
  return colon ? colon + 1 : name;
}

pugi::xml_attribute Attribute(pugi::xml_node node, std::string_view localName) {
  for (pugi::xml_attribute attribute : node.attributes()) {
    if (LocalName(attribute.name()) == localName) return attribute;
  }
  return {};
}

std::string Value(pugi::xml_node node, std::string_view localName) {
  return Attribute(node, localName).value();
}

pugi::xml_node Child(pugi::xml_node node, std::string_view localName) {
  for (pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_element && LocalName(child.name()) == localName) return child;
  }
  return {};
}

std::vector<std::string_view> Words(std::string_view text) {
  std::vector<std::string_view> words;
  while (!text.empty()) {
    std::size_t length = 0;
    while (length < text.size() && !IsSpace(text[length])) ++length;
    if (length) words.push_back(text.substr(0, length));
    text.remove_prefix(length < text.size() ? length + 1 : length);
  }
  return words;
}

int LineAt(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  return 1 + static_cast<int>(std::count(before.begin(), before.end(), '\n'));
}

Index::Index(pugi::xml_node root, std::string documentPath, std::string_view text)
    : m_path(std::move(documentPath)), m_text(text) {
  for (pugi::xml_node node = root; node; node = NextElement(node, root)) {
    const Kind kind = KindOf(LocalName(node.name()));
    const std::string_view id = Trimmed(Attribute(node, "id").value());
    if (kind == Kind::Other && id.empty()) continue;
    if (!id.empty()) {
      const auto [known, added] = m_byId.emplace(id, m_elements.size());
      if (!added) {
        Fail(node, "the id is already used on line " + std::to_string(LineOf(m_elements[known->second].node)));
      }
    }
    m_elements.push_back({node, kind, id});
  }
}

std::size_t Index::Find(pugi::xml_node from, std::string_view attribute,
                        std::string_view id) const {
  const auto found = m_byId.find(id);
  if (found == m_byId.end()) {
    Fail(from, std::string(attribute) + " names the missing id \"" + std::string(id) + "\"");
  }
  return found->second;
}

std::size_t Index::Ref(pugi::xml_node from, std::string_view attribute) const {
  std::string_view id = Trimmed(Attribute(from, attribute).value());
  if (!id.empty() && id.front() == '#') id.remove_prefix(1);
  return id.empty() ? kNone : Find(from, attribute, id);
}

std::vector<std::size_t> Index::Refs(pugi::xml_node from, std::string_view attribute) const {
  std::vector<std::size_t> found;
  for (std::string_view id : Words(Attribute(from, attribute).value())) {
    if (id.front() == '#') id.remove_prefix(1);
    if (!id.empty()) found.push_back(Find(from, attribute, id));
  }
  return found;
}

int Index::LineOf(pugi::xml_node node) const {
  if (!m_lineBreaksFound) {
    for (std::size_t at = m_text.find('\n'); at != std::string_view::npos; at = m_text.find('\n', at + 1)) {
      m_lineBreaks.push_back(at);
    }
    m_lineBreaksFound = true;
  }
  const auto offset = static_cast<std::size_t>(node.offset_debug());
  return 1 + static_cast<int>(std::lower_bound(m_lineBreaks.begin(), m_lineBreaks.end(), offset) - m_lineBreaks.begin());
}

int Index::LineOfId(std::string_view id) const {
  const auto found = m_byId.find(id);
  return found == m_byId.end() ? 0 : LineOf(m_elements[found->second].node);
}

std::string Index::Describe(pugi::xml_node node) const {
  std::string text(LocalName(node.name()));
  const std::string_view id = Trimmed(Attribute(node, "id").value());
  if (!id.empty()) text += " \"" + std::string(id) + "\"";
  return text + " (line " + std::to_string(LineOf(node)) + ")";
}

void Index::Fail(const std::string& what) const { throw ReadError(m_path + ": " + what); }

void Index::Fail(pugi::xml_node node, const std::string& what) const {
  Fail(Describe(node) + ": " + what);
}

}  // namespace vqkudm::plmxml::detail
