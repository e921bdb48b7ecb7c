#pragma once

// The write-back of uses: the expanded occurrence tree of a ProductView, or
// the instance lists of an InstanceGraph's Parts. Internal to the writer.

#include <pugixml.hpp>

#include <cstddef>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "PlmxmlEditor.h"
#include "PlmxmlIndex.h"
#include "PlmxmlModel.h"
#include "PlmxmlPlan.h"

namespace vqkudm::plmxml::detail {

class StructureWriter {
 public:
  // Reads the occurrence tree and the instance lists, so before any edit.
  // `slotOf` gives the slot of each revision element of the document.
  StructureWriter(Editor& editor, const Index& index,
                  const std::unordered_map<const void*, std::size_t>& slotOf);

  // `roots`: the slots the desired model names as roots. Throws
  // std::invalid_argument when the uses contain themselves.
  void Write(const std::vector<Slot>& slots, const std::vector<std::size_t>& roots);

 private:
  struct Occurrence {
    pugi::xml_node node;
    std::size_t revision;  // the slot it instances now; kNone for none
    std::size_t position;  // in document order; kNone for one added
    std::vector<std::size_t> children;
    bool expanded = false;  // had children when read
    bool fresh = false;     // added or re-pointed: its children are all to be made
    bool removed = false;
  };

  std::vector<std::size_t> Order() const;
  std::vector<std::size_t> Match(const Slot& slot,
                                 const std::unordered_map<std::string, std::size_t>& aliases) const;
  std::unordered_map<std::string, std::size_t> CopyIds(std::size_t revision,
                                                       const std::vector<std::size_t>& rank) const;
  void WriteOccurrences(std::size_t revision);
  void Rebuild(std::size_t occurrence, const std::vector<std::size_t>& matched,
               const std::vector<std::size_t>& kept);
  void Update(std::size_t child, const UseRef& use, const UseRef& was);
  pugi::xml_node MakeOccurrence(std::size_t parent, const UseRef& use, pugi::xml_node anchor,
                                bool before);
  void AddRootOccurrence(std::size_t revision, bool named);
  void RemoveSubtree(std::size_t occurrence);
  void WriteInstances(std::size_t revision);
  void UpdateInstance(pugi::xml_node instance, const UseRef& use, const UseRef& was);
  pugi::xml_node MakeInstance(const UseRef& use, pugi::xml_node anchor, bool before);

  Editor& m_editor;
  const std::vector<Slot>* m_slots = nullptr;
  std::vector<Occurrence> m_occurrences;
  std::vector<std::vector<std::size_t>> m_occurrencesOf;  // by slot
  // Slot -> the occurrence its uses were read from: the first expanded one.
  std::unordered_map<std::size_t, std::size_t> m_primaryOf;
  std::unordered_set<std::size_t> m_instancedWhenRead;  // slots
  // Part slot -> its Instances as read, in document order.
  std::unordered_map<std::size_t, std::vector<pugi::xml_node>> m_instancesOf;
  std::unordered_map<const void*, std::size_t> m_instancePosition;
  std::unordered_map<const void*, std::size_t> m_listings;  // Instance -> Parts listing it
  pugi::xml_node m_lastInstance;
  pugi::xml_node m_view;                    // the first ProductView
  pugi::xml_node m_graph;                   // the first InstanceGraph
  std::unordered_set<std::size_t> m_named;  // slots the document names as roots
  bool m_listsChildren = false;             // some Occurrence has occurrenceRefs
};

}  // namespace vqkudm::plmxml::detail
