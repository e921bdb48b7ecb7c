#pragma once

// Edits a parsed document in place for the write-back: ids that never
// collide, references in the document's own style, new elements under its
// prefix, and removals that take the references to what they remove along.
// Internal to the writer.

#include <pugixml.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "PlmxmlIndex.h"
#include "PlmxmlModel.h"

namespace vqkudm::plmxml::detail {

class Editor {
 public:
  explicit Editor(pugi::xml_node root);

  pugi::xml_node root() const { return m_root; }
  // The element's id; an element without one is given one, since it is about to be referred to.
  std::string IdOf(pugi::xml_node node);

  // New elements, named under the document's prefix, with a fresh id unless told otherwise.
  pugi::xml_node AddAfter(pugi::xml_node anchor, std::string_view name, bool withId = true);
  pugi::xml_node AddBefore(pugi::xml_node anchor, std::string_view name, bool withId = true);
  pugi::xml_node AddChild(pugi::xml_node parent, std::string_view name, bool withId = true);
  // After the owner's leading Description, ApplicationRef and UserData children.
  pugi::xml_node AddLeading(pugi::xml_node owner, std::string_view name, bool withId = true);
  static void MoveAfter(pugi::xml_node node, pugi::xml_node anchor);

  // Attributes are found by local name; a new one is written without prefix.
  static void Set(pugi::xml_node node, std::string_view name, std::string_view value);
  static void Unset(pugi::xml_node node, std::string_view name);
  // Set, or removed when `value` is empty: for attributes whose absence reads as "".
  static void SetOptional(pugi::xml_node node, std::string_view name, std::string_view value);
  void SetRef(pugi::xml_node node, std::string_view name, pugi::xml_node target);
  // A list of references; removed when `targets` is empty. Written only when it names other ids.
  void SetRefs(pugi::xml_node node, std::string_view name,
               const std::vector<pugi::xml_node>& targets);
  void AddRef(pugi::xml_node node, std::string_view name, pugi::xml_node target);
  // The ids a list attribute names, without '#'.
  static std::vector<std::string> Ids(pugi::xml_node node, std::string_view name);

  // Dropped elements stay in the tree until Finish, so that handles to them
  // stay valid and new elements cannot take their memory.
  void Drop(pugi::xml_node node);
  bool Dropped(pugi::xml_node node) const;
  // Removes what was dropped, the ids it held from every reference list,
  // and what is left pointing at nothing: a DataSet without members, an
  // AssociatedDataSet or AssociatedAttachment whose target is gone.
  void Finish();

 private:
  pugi::xml_node Named(pugi::xml_node made, bool withId);
  std::string Reference(std::string_view attribute, const std::string& id, bool list) const;
  bool Sweep();

  pugi::xml_node m_root;
  std::string m_prefix;
  std::unordered_map<std::string, bool> m_hashed;  // attribute local name -> written with '#'
  // Decimal, above every number an id ends in: "id" + it cannot be taken.
  std::string m_nextNumber;
  std::unordered_set<const void*> m_dropped;
  std::vector<pugi::xml_node> m_droppedNodes;
  std::unordered_set<std::string> m_droppedIds;
};

// A sibling to put in order: an element as read, or one still to be made.
struct Sibling {
  pugi::xml_node node;   // null until made
  std::size_t position;  // in document order as read
};

// The reader takes children in document order, so that order must be the
// listed one. Siblings already in order stay where they are and new ones,
// made by `make(index, anchor, before)`, go between them; otherwise all are
// lined up after the first. With none as read, the first goes after `fallback`.
template <class Make>
void Arrange(std::vector<Sibling>& siblings, pugi::xml_node fallback, Make make) {
  std::size_t first = kNone;
  bool ordered = true;
  for (std::size_t i = 0, last = 0; i < siblings.size(); ++i) {
    if (!siblings[i].node) continue;
    if (first == kNone) {
      first = i;
    } else if (siblings[i].position < last) {
      ordered = false;
    }
    last = siblings[i].position;
  }
  if (first == kNone) {
    for (std::size_t i = 0; i < siblings.size(); ++i)
      siblings[i].node = make(i, i == 0 ? fallback : siblings[i - 1].node, false);
    return;
  }
  if (ordered) {
    // Before the next one as read rather than after the previous, whose own children may follow it.
    std::vector<std::size_t> next(siblings.size(), kNone);
    for (std::size_t i = siblings.size() - 1; i > 0; --i)
      next[i - 1] = siblings[i].node ? i : next[i];
    for (std::size_t i = 0; i < siblings.size(); ++i) {
      if (siblings[i].node) continue;
      siblings[i].node = next[i] != kNone ? make(i, siblings[next[i]].node, true)
                                          : make(i, siblings[i - 1].node, false);
    }
    return;
  }
  for (std::size_t i = 0; i < first; ++i) siblings[i].node = make(i, siblings[first].node, true);
  for (std::size_t i = first + 1; i < siblings.size(); ++i) {
    if (siblings[i].node) {
      Editor::MoveAfter(siblings[i].node, siblings[i - 1].node);
    } else {
      siblings[i].node = make(i, siblings[i - 1].node, false);
    }
  }
}

// Writes `wanted` into the UserData of `owner`: a title `was` (what the
// reader found) already holds with the same value is left alone; another
// goes where the owner, else `fallback`, already has that title, else into
// the owner's first UserData. The k-th value of a title is the k-th of it.
void WriteUserValues(Editor& editor, pugi::xml_node owner, pugi::xml_node fallback,
                     const std::vector<UserValue>& wanted, const std::vector<UserValue>* was);

// `numbers` as read by ReadTransform; "" removes the Transform.
void WriteTransform(Editor& editor, pugi::xml_node owner, const std::string& numbers);

}  // namespace vqkudm::plmxml::detail
