#include "PlmxmlStructure.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace vqkudm::plmxml::detail {

namespace {

bool SameValues(const std::vector<UserValue>& a, const std::vector<UserValue>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const UserValue& x, const UserValue& y) {
                      return x.title == y.title && x.value == y.value && x.type == y.type;
                    });
}

bool SameUses(const std::vector<UseRef>& a, const std::vector<UseRef>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const UseRef& x, const UseRef& y) {
    return x.child == y.child && x.use->elementId == y.use->elementId &&
           x.use->name == y.use->name && x.transform == y.transform &&
           SameValues(x.use->userValues, y.use->userValues);
  });
}

bool Changed(const Slot& slot) { return slot.described && !SameUses(slot.was, slot.uses); }

}  // namespace

StructureWriter::StructureWriter(Editor& editor, const Index& index,
                                 const std::unordered_map<const void*, std::size_t>& slotOf)
    : m_editor(editor) {
  const auto slotAt = [&](std::size_t at) {
    if (at == kNone) return kNone;
    const auto found = slotOf.find(index[at].node.internal_object());
    return found == slotOf.end() ? kNone : found->second;
  };
  const auto rootAt = [&](std::size_t at) {
    switch (index[at].kind) {
      case Kind::Occurrence:
        return slotAt(index.Ref(index[at].node, "instancedRef"));
      case Kind::Instance:
      case Kind::ProductInstance:
        return slotAt(index.Ref(index[at].node, "partRef"));
      default:
        return slotAt(at);
    }
  };
  std::size_t slots = 0;
  for (const auto& [node, slot] : slotOf) slots = std::max(slots, slot + 1);
  m_occurrencesOf.resize(slots);

  std::unordered_map<std::size_t, std::size_t> occurrenceAt;  // element number -> occurrence
  std::vector<std::size_t> parts;
  for (std::size_t at = 0; at < index.elements().size(); ++at) {
    const pugi::xml_node node = index[at].node;
    switch (index[at].kind) {
      case Kind::Occurrence:
        occurrenceAt[at] = m_occurrences.size();
        m_occurrences.push_back({node, slotAt(index.Ref(node, "instancedRef")), at, {}});
        break;
      case Kind::Instance:
        m_instancePosition[node.internal_object()] = at;
        m_lastInstance = node;
        break;
      case Kind::Part:
        parts.push_back(at);
        break;
      case Kind::ProductView:
      case Kind::InstanceGraph: {
        pugi::xml_node& first = index[at].kind == Kind::ProductView ? m_view : m_graph;
        if (!first) first = node;
        for (const std::size_t root : index.Refs(node, "rootRefs")) m_named.insert(rootAt(root));
        const std::size_t primary = index.Ref(node, "primaryOccurrenceRef");
        if (primary != kNone) m_named.insert(rootAt(primary));
        break;
      }
      case Kind::ProductInstance:
        m_named.insert(rootAt(at));
        break;
      default:
        break;
    }
  }
  m_named.erase(kNone);

  // Children as the reader links them: listed by occurrenceRefs or naming their parent.
  std::unordered_set<std::uint64_t> linked;
  const auto link = [&](std::size_t parent, std::size_t child) {
    if (linked.insert(static_cast<std::uint64_t>(parent) << 32 | child).second)
      m_occurrences[parent].children.push_back(child);
  };
  for (std::size_t o = 0; o < m_occurrences.size(); ++o) {
    const pugi::xml_node node = m_occurrences[o].node;
    if (Attribute(node, "occurrenceRefs")) m_listsChildren = true;
    for (const std::size_t child : index.Refs(node, "occurrenceRefs"))
      link(o, occurrenceAt.at(child));
    const std::size_t parent = index.Ref(node, "parentRef");
    if (parent != kNone) link(occurrenceAt.at(parent), o);
  }
  for (std::size_t o = 0; o < m_occurrences.size(); ++o) {
    Occurrence& occurrence = m_occurrences[o];
    std::sort(occurrence.children.begin(), occurrence.children.end());
    occurrence.expanded = !occurrence.children.empty();
    if (occurrence.revision == kNone) continue;
    m_occurrencesOf[occurrence.revision].push_back(o);
    m_instancedWhenRead.insert(occurrence.revision);
    if (occurrence.expanded) m_primaryOf.emplace(occurrence.revision, o);
  }

  for (const std::size_t at : parts) {
    std::vector<std::size_t> listed = index.Refs(index[at].node, "instanceRefs");
    std::sort(listed.begin(), listed.end());
    listed.erase(std::unique(listed.begin(), listed.end()), listed.end());
    std::vector<pugi::xml_node>& instances = m_instancesOf[slotAt(at)];
    for (const std::size_t instance : listed) {
      instances.push_back(index[instance].node);
      ++m_listings[index[instance].node.internal_object()];
    }
  }
}

void StructureWriter::Write(const std::vector<Slot>& slots, const std::vector<std::size_t>& roots) {
  m_slots = &slots;
  m_occurrencesOf.resize(slots.size());
  std::vector<bool> used(slots.size()), wanted(slots.size());
  for (const Slot& slot : slots) {
    for (const UseRef& use : slot.uses) used[use.child] = true;
  }
  for (const std::size_t root : roots) wanted[root] = true;
  const bool namesRoots = !m_named.empty();
  for (const std::size_t revision : Order()) {
    const Slot& slot = slots[revision];
    // Where the document lists its roots, a new one must join the list to stay one.
    const bool listRoot =
        wanted[revision] && !used[revision] && namesRoots && !m_named.count(revision);
    if (LocalName(slot.node.name()) == "Part") {
      WriteInstances(revision);
      if (listRoot && m_graph) m_editor.AddRef(m_graph, "rootRefs", slot.node);
      continue;
    }
    // A revision no occurrence showed needs one of its own for its uses to be seen.
    if (!used[revision] && !m_instancedWhenRead.count(revision) && (listRoot || !slot.uses.empty()))
      AddRootOccurrence(revision, listRoot);
    WriteOccurrences(revision);
  }
}

// Parents before children, so that every occurrence a revision gains exists when its turn comes.
std::vector<std::size_t> StructureWriter::Order() const {
  const std::vector<Slot>& slots = *m_slots;
  std::vector<std::size_t> parents(slots.size());
  for (const Slot& slot : slots) {
    for (const UseRef& use : slot.uses) ++parents[use.child];
  }
  std::vector<std::size_t> order;
  for (std::size_t slot = 0; slot < slots.size(); ++slot) {
    if (parents[slot] == 0) order.push_back(slot);
  }
  for (std::size_t next = 0; next < order.size(); ++next) {
    for (const UseRef& use : slots[order[next]].uses) {
      if (--parents[use.child] == 0) order.push_back(use.child);
    }
  }
  if (order.size() == slots.size()) return order;
  // Walking up through parents that are left over ends on the cycle.
  std::vector<std::size_t> parentOf(slots.size(), kNone);
  for (std::size_t slot = 0; slot < slots.size(); ++slot) {
    for (const UseRef& use : slots[slot].uses) {
      if (parents[slot] > 0) parentOf[use.child] = slot;
    }
  }
  std::size_t at = 0;
  while (parents[at] == 0) ++at;
  std::vector<bool> seen(slots.size());
  while (!seen[at]) {
    seen[at] = true;
    at = parentOf[at];
  }
  throw std::invalid_argument("the uses of revision \"" + slots[at].name +
                              "\" lead back to it: a structure cannot contain itself");
}

// For each desired use, the use as read it continues: by element id (or an
// alias of it), else the id-less uses of the same child in order.
std::vector<std::size_t> StructureWriter::Match(
    const Slot& slot, const std::unordered_map<std::string, std::size_t>& aliases) const {
  std::vector<std::size_t> matched(slot.uses.size(), kNone);
  std::vector<bool> claimed(slot.was.size());
  std::unordered_map<std::string, std::size_t> byId;
  std::unordered_map<std::size_t, std::vector<std::size_t>> idless;
  for (std::size_t i = slot.was.size(); i-- > 0;) {
    if (slot.was[i].use->elementId.empty()) {
      idless[slot.was[i].child].push_back(i);
    } else {
      byId.emplace(slot.was[i].use->elementId, i);
    }
  }
  for (std::size_t d = 0; d < slot.uses.size(); ++d) {
    const std::string& id = slot.uses[d].use->elementId;
    if (id.empty()) {
      std::vector<std::size_t>& next = idless[slot.uses[d].child];
      if (!next.empty()) {
        matched[d] = next.back();
        next.pop_back();
      }
      continue;
    }
    std::size_t i = kNone;
    if (const auto found = byId.find(id); found != byId.end()) {
      i = found->second;
    } else if (const auto alias = aliases.find(id); alias != aliases.end()) {
      i = alias->second;
    }
    if (i != kNone && !claimed[i]) {
      matched[d] = i;
      claimed[i] = true;
    }
  }
  return matched;
}

// The ids of the children of the revision's other expanded occurrences, each
// an alias of the use as read it stands for. A write that expands a copy
// ahead of the occurrence read from makes the reader take the copy's ids
// next time, while the caller may still know the old ones.
std::unordered_map<std::string, std::size_t> StructureWriter::CopyIds(
    std::size_t revision, const std::vector<std::size_t>& rank) const {
  std::unordered_map<std::string, std::size_t> aliases;
  const Slot& slot = (*m_slots)[revision];
  std::unordered_map<std::size_t, std::vector<std::size_t>> useOf;  // child slot -> by rank
  for (std::size_t i = 0; i < slot.was.size(); ++i) {
    std::vector<std::size_t>& uses = useOf[slot.was[i].child];
    uses.resize(std::max(uses.size(), rank[i] + 1));
    uses[rank[i]] = i;
  }
  for (const std::size_t o : m_occurrencesOf[revision]) {
    if (!m_occurrences[o].expanded || m_occurrences[o].fresh) continue;
    std::unordered_map<std::size_t, std::size_t> seen;
    for (const std::size_t child : m_occurrences[o].children) {
      const std::size_t used = m_occurrences[child].revision;
      if (used == kNone) continue;
      const std::size_t k = seen[used]++;
      const auto uses = useOf.find(used);
      const std::string id = Value(m_occurrences[child].node, "id");
      if (uses != useOf.end() && k < uses->second.size() && !id.empty())
        aliases.emplace(id, uses->second[k]);
    }
  }
  return aliases;
}

void StructureWriter::WriteOccurrences(std::size_t revision) {
  const Slot& slot = (*m_slots)[revision];
  const bool changed = Changed(slot);
  const auto primary = m_primaryOf.find(revision);
  // A use as read is the rank-th use of its child: the rank-th such child in every copy.
  std::vector<std::size_t> rank(slot.was.size());
  std::unordered_map<std::size_t, std::size_t> ranks;
  for (std::size_t i = 0; i < slot.was.size(); ++i) rank[i] = ranks[slot.was[i].child]++;
  const std::vector<std::size_t> matched =
      changed ? Match(slot, CopyIds(revision, rank)) : std::vector<std::size_t>();

  const std::vector<std::size_t> occurrences = m_occurrencesOf[revision];
  for (const std::size_t o : occurrences) {
    if (m_occurrences[o].removed || m_occurrences[o].revision != revision) continue;
    std::vector<std::size_t> kept(slot.uses.size(), kNone);
    if (!m_occurrences[o].fresh) {
      if (!changed) continue;
      // Copies an export left bare stay bare; a revision that had no uses has only bare ones.
      if (!m_occurrences[o].expanded && !slot.was.empty()) continue;
      std::vector<std::size_t> children;
      std::unordered_map<std::size_t, std::vector<std::size_t>> byChild;
      for (const std::size_t child : m_occurrences[o].children) {
        if (m_occurrences[child].removed || m_occurrences[child].revision == kNone) continue;
        children.push_back(child);
        byChild[m_occurrences[child].revision].push_back(child);
      }
      const bool isPrimary = primary != m_primaryOf.end() && primary->second == o;
      for (std::size_t d = 0; d < slot.uses.size(); ++d) {
        const std::size_t i = matched[d];
        if (i == kNone) continue;
        if (isPrimary) {
          if (i < children.size()) kept[d] = children[i];
        } else {
          const std::vector<std::size_t>& same = byChild[slot.was[i].child];
          if (rank[i] < same.size()) kept[d] = same[rank[i]];
        }
      }
    }
    Rebuild(o, matched, kept);
  }
}

// Gives occurrence `o` one child per use of its revision, in the order of the uses.
void StructureWriter::Rebuild(std::size_t o, const std::vector<std::size_t>& matched,
                              const std::vector<std::size_t>& kept) {
  const Slot& slot = (*m_slots)[m_occurrences[o].revision];
  const std::unordered_set<std::size_t> keep(kept.begin(), kept.end());
  std::vector<std::size_t> others;  // children that instance nothing are not uses
  const std::vector<std::size_t> children = m_occurrences[o].children;
  for (const std::size_t child : children) {
    if (m_occurrences[child].removed) continue;
    if (m_occurrences[child].revision == kNone) {
      others.push_back(child);
    } else if (!keep.count(child)) {
      RemoveSubtree(child);
    }
  }
  std::vector<Sibling> members;
  std::vector<std::size_t> result = kept;
  for (std::size_t d = 0; d < slot.uses.size(); ++d) {
    if (kept[d] == kNone) {
      members.push_back({{}, kNone});
      continue;
    }
    Update(kept[d], slot.uses[d], slot.was[matched[d]]);
    members.push_back({m_occurrences[kept[d]].node, m_occurrences[kept[d]].position});
  }
  Arrange(members, m_occurrences[o].node, [&](std::size_t d, pugi::xml_node anchor, bool before) {
    const pugi::xml_node made = MakeOccurrence(o, slot.uses[d], anchor, before);
    result[d] = m_occurrences.size() - 1;
    return made;
  });
  const pugi::xml_node node = m_occurrences[o].node;
  if (Attribute(node, "occurrenceRefs") || m_listsChildren) {
    std::vector<pugi::xml_node> listed;
    for (const Sibling& member : members) listed.push_back(member.node);
    const std::vector<std::string> before = Editor::Ids(node, "occurrenceRefs");
    const std::unordered_set<std::string> wasListed(before.begin(), before.end());
    for (const std::size_t other : others) {
      if (wasListed.count(Value(m_occurrences[other].node, "id")))
        listed.push_back(m_occurrences[other].node);
    }
    m_editor.SetRefs(node, "occurrenceRefs", listed);
  }
  result.insert(result.end(), others.begin(), others.end());
  m_occurrences[o].children = std::move(result);
}

void StructureWriter::Update(std::size_t child, const UseRef& use, const UseRef& was) {
  const pugi::xml_node node = m_occurrences[child].node;
  if (use.child != was.child) {
    // Another revision: what was expanded below belongs to the old one.
    m_editor.SetRef(node, "instancedRef", (*m_slots)[use.child].node);
    std::vector<std::size_t> others;
    const std::vector<std::size_t> children = m_occurrences[child].children;
    for (const std::size_t grandchild : children) {
      if (m_occurrences[grandchild].removed) continue;
      if (m_occurrences[grandchild].revision == kNone) {
        others.push_back(grandchild);
      } else {
        RemoveSubtree(grandchild);
      }
    }
    m_occurrences[child].children = std::move(others);
    m_occurrences[child].revision = use.child;
    m_occurrences[child].fresh = true;
    m_occurrencesOf[use.child].push_back(child);
  }
  if (use.use->name != was.use->name) Editor::SetOptional(node, "name", use.use->name);
  if (use.transform != was.transform) WriteTransform(m_editor, node, use.transform);
  WriteUserValues(m_editor, node, {}, use.use->userValues, &was.use->userValues);
}

pugi::xml_node StructureWriter::MakeOccurrence(std::size_t parent, const UseRef& use,
                                               pugi::xml_node anchor, bool before) {
  const pugi::xml_node node =
      before ? m_editor.AddBefore(anchor, "Occurrence") : m_editor.AddAfter(anchor, "Occurrence");
  m_editor.SetRef(node, "instancedRef", (*m_slots)[use.child].node);
  m_editor.SetRef(node, "parentRef", m_occurrences[parent].node);
  Editor::SetOptional(node, "name", use.use->name);
  WriteTransform(m_editor, node, use.transform);
  WriteUserValues(m_editor, node, {}, use.use->userValues, nullptr);
  m_occurrencesOf[use.child].push_back(m_occurrences.size());
  m_occurrences.push_back({node, use.child, kNone, {}});
  m_occurrences.back().fresh = true;
  return node;
}

void StructureWriter::AddRootOccurrence(std::size_t revision, bool named) {
  if (!m_view) m_view = m_editor.AddChild(m_editor.root(), "ProductView");
  const pugi::xml_node node = m_editor.AddChild(m_view, "Occurrence");
  m_editor.SetRef(node, "instancedRef", (*m_slots)[revision].node);
  if (named) m_editor.AddRef(m_view, "rootRefs", node);
  m_occurrencesOf[revision].push_back(m_occurrences.size());
  m_occurrences.push_back({node, revision, kNone, {}});
  m_occurrences.back().fresh = true;
}

void StructureWriter::RemoveSubtree(std::size_t occurrence) {
  std::vector<std::size_t> pending{occurrence};
  while (!pending.empty()) {
    const std::size_t o = pending.back();
    pending.pop_back();
    if (m_occurrences[o].removed) continue;
    m_occurrences[o].removed = true;
    m_editor.Drop(m_occurrences[o].node);
    pending.insert(pending.end(), m_occurrences[o].children.begin(),
                   m_occurrences[o].children.end());
  }
}

void StructureWriter::WriteInstances(std::size_t revision) {
  const Slot& slot = (*m_slots)[revision];
  if (!Changed(slot)) return;
  const std::vector<std::size_t> matched = Match(slot, {});
  const std::vector<pugi::xml_node> read = m_instancesOf[revision];
  std::vector<bool> kept(read.size());
  std::vector<Sibling> members;
  for (std::size_t d = 0; d < slot.uses.size(); ++d) {
    const std::size_t i = matched[d];
    if (i == kNone || i >= read.size()) {
      members.push_back({{}, kNone});
      continue;
    }
    kept[i] = true;
    UpdateInstance(read[i], slot.uses[d], slot.was[i]);
    members.push_back({read[i], m_instancePosition.at(read[i].internal_object())});
  }
  // An Instance another Part still lists stays for that one.
  for (std::size_t i = 0; i < read.size(); ++i) {
    if (!kept[i] && --m_listings[read[i].internal_object()] == 0) m_editor.Drop(read[i]);
  }
  Arrange(members, m_lastInstance ? m_lastInstance : slot.node,
          [&](std::size_t d, pugi::xml_node anchor, bool before) {
            return MakeInstance(slot.uses[d], anchor, before);
          });
  std::vector<pugi::xml_node> listed;
  for (const Sibling& member : members) listed.push_back(member.node);
  m_editor.SetRefs(slot.node, "instanceRefs", listed);
}

void StructureWriter::UpdateInstance(pugi::xml_node instance, const UseRef& use,
                                     const UseRef& was) {
  if (use.child != was.child) m_editor.SetRef(instance, "partRef", (*m_slots)[use.child].node);
  if (use.use->name != was.use->name) Editor::SetOptional(instance, "name", use.use->name);
  if (use.transform != was.transform) WriteTransform(m_editor, instance, use.transform);
  WriteUserValues(m_editor, instance, {}, use.use->userValues, &was.use->userValues);
}

pugi::xml_node StructureWriter::MakeInstance(const UseRef& use, pugi::xml_node anchor,
                                             bool before) {
  const pugi::xml_node node =
      before ? m_editor.AddBefore(anchor, "Instance") : m_editor.AddAfter(anchor, "Instance");
  m_editor.SetRef(node, "partRef", (*m_slots)[use.child].node);
  Editor::SetOptional(node, "name", use.use->name);
  WriteTransform(m_editor, node, use.transform);
  WriteUserValues(m_editor, node, {}, use.use->userValues, nullptr);
  if (!before && (!m_lastInstance || anchor == m_lastInstance)) m_lastInstance = node;
  return node;
}

}  // namespace vqkudm::plmxml::detail
