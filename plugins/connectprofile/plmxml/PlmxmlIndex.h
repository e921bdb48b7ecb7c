#pragma once

// The reader's view of a parsed document: the elements it builds from, in
// document order, found by id, and the references between them. Internal
// to the reader; pugixml stays out of the public header.

#include <pugixml.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vqkudm::plmxml::detail {

enum class Kind {
  Other,
  Product,
  ProductRevision,
  ProductView,
  Occurrence,
  DataSet,
  ExternalFile,
  AssociatedAttachment,
  InstanceGraph,
  Part,
  Instance,
  ProductInstance,
};

struct Element {
  pugi::xml_node node;
  Kind kind;
  std::string_view id;  // empty when the element has none
};

inline constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// Names are matched without their prefix: writers choose prefixes freely.
std::string_view LocalName(const char* name);
pugi::xml_attribute Attribute(pugi::xml_node node, std::string_view localName);
std::string Value(pugi::xml_node node, std::string_view localName);  // "" when absent
pugi::xml_node Child(pugi::xml_node node, std::string_view localName);
std::string_view Trimmed(std::string_view text);
// The words of an XML list value, split at whitespace.
std::vector<std::string_view> Words(std::string_view text);

// The line, from 1, that byte `offset` of `text` is on.
int LineAt(std::string_view text, std::size_t offset);

class Index {
 public:
  // Holds views into `root`'s document and into `text`, the bytes it was
  // parsed from (for line numbers), which must outlive the index.
  Index(pugi::xml_node root, std::string documentPath, std::string_view text);

  const std::vector<Element>& elements() const { return m_elements; }
  const Element& operator[](std::size_t at) const { return m_elements[at]; }

  // The element a single reference ("#id") names; kNone when the attribute is absent or empty.
  std::size_t Ref(pugi::xml_node from, std::string_view attribute) const;
  // The elements a space-separated list of ids names, '#' optional, in list order.
  std::vector<std::size_t> Refs(pugi::xml_node from, std::string_view attribute) const;

  // `Occurrence "o1" (line 12)`, or `Occurrence (line 12)` for an element without id.
  std::string Describe(pugi::xml_node node) const;
  // The line of the document a node starts on, from 1.
  int LineOf(pugi::xml_node node) const;
  // The line of the element of that id; 0 when there is none.
  int LineOfId(std::string_view id) const;
  std::string Describe(std::size_t at) const { return Describe(m_elements[at].node); }

  [[noreturn]] void Fail(const std::string& what) const;
  [[noreturn]] void Fail(pugi::xml_node node, const std::string& what) const;

 private:
  std::size_t Find(pugi::xml_node from, std::string_view attribute, std::string_view id) const;

  std::string m_path;
  std::string_view m_text;
  // Offsets of the text's line breaks, found on the first LineOf: a line is
  // then a binary search, however many elements ask.
  mutable std::vector<std::size_t> m_lineBreaks;
  mutable bool m_lineBreaksFound = false;
  std::vector<Element> m_elements;  // those of a known kind or with an id
  std::unordered_map<std::string_view, std::size_t> m_byId;
};

}  // namespace vqkudm::plmxml::detail
