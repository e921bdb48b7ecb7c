#pragma once

// How the desired model lines up with the document as read: the element
// each item and revision continues, and each revision's uses as they were
// and as they must become. Internal to the writer.

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

struct UseRef {
  const Use* use;
  std::size_t child;      // slot of the revision it uses
  std::string transform;  // as ReadTransform gives it
};

// A revision element, found in the document or to be added to it.
struct Slot {
  pugi::xml_node node;       // null until added
  std::string name;          // "item/revision", for messages
  bool described = false;    // whether `uses` comes from the desired model
  std::vector<UseRef> was;   // its uses as read
  std::vector<UseRef> uses;  // its uses as they must be; `was` when not described
};

// The reader's identity of an element: the attribute, else the id.
std::string KeyOf(pugi::xml_node node, std::string_view attribute);
std::string KeyPair(const std::string& item, const std::string& revision);

class Plan {
 public:
  // Matches by elementId, else by key (or, for uses, by the child of an id-less use).
  // Throws std::invalid_argument when `desired` names what neither model nor document has.
  Plan(const Index& index, const Document& original, const Document& desired);

  std::vector<Slot> slots;                              // the document's revisions first
  std::unordered_map<const void*, std::size_t> slotOf;  // the document's revision elements
  std::vector<std::size_t> roots;                       // those `desired` names
  std::vector<std::size_t> wasItem;  // by desired item: the original one it continues, else kNone
  std::vector<std::vector<const Revision*>> wasRevision;     // by desired item, revision; null: new
  std::vector<std::vector<std::size_t>> slotOfRevision;      // by desired item, revision
  std::unordered_map<std::string, pugi::xml_node> itemNode;  // original key -> founding element
  std::unordered_map<std::string, pugi::xml_node> revisionNode;  // KeyPair as read -> element
  // The last of each, which new ones follow.
  pugi::xml_node lastProduct, lastRevision, lastPart;
  pugi::xml_node graph;     // the first InstanceGraph
  bool graphShape = false;  // new items are Parts

 private:
  void Locate();
  void MatchItems();
  void MatchRevisions();
  std::size_t Resolve(const std::string& item, const std::string& revision,
                      const std::string& by) const;
  void PlanUses();

  const Index& m_index;
  const Document& m_original;
  const Document& m_desired;
  std::unordered_map<std::string, std::size_t> m_originalSlot;  // KeyPair as read -> slot
  std::unordered_map<std::string, std::size_t> m_resolved;      // KeyPair as it will be -> slot
  std::unordered_set<std::string> m_itemKeys;                   // as they will be
  std::vector<std::size_t> m_claimedBy;  // by original item: the desired one continuing it
};

}  // namespace vqkudm::plmxml::detail
