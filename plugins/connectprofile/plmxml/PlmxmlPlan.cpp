#include "PlmxmlPlan.h"

#include <stdexcept>
#include <utility>

#include "PlmxmlValues.h"

namespace vqkudm::plmxml::detail {

namespace {

std::string Quoted(const std::string& item, const std::string& revision) {
  return "\"" + item + "/" + revision + "\"";
}

std::string Describe(const Use& use) {
  return std::string("use") + (use.elementId.empty() ? "" : " \"" + use.elementId + "\"") + " of " +
         Quoted(use.childItem, use.childRevision) + " by " +
         Quoted(use.parentItem, use.parentRevision);
}

std::string NormalizedTransform(const Use& use) {
  const std::vector<std::string_view> words = Words(use.transform);
  if (!words.empty() && words.size() != 16) {
    throw std::invalid_argument(Describe(use) + ": its transform holds " +
                                std::to_string(words.size()) + " numbers instead of 16");
  }
  std::string numbers;
  for (const std::string_view word : words) {
    if (!IsNumber(word)) {
      throw std::invalid_argument(Describe(use) + ": its transform holds \"" + std::string(word) +
                                  "\", not a number");
    }
    if (!numbers.empty()) numbers += ' ';
    numbers += word;
  }
  return numbers;
}

}  // namespace

std::string KeyPair(const std::string& item, const std::string& revision) {
  return item + '\n' + revision;
}

std::string KeyOf(pugi::xml_node node, std::string_view attribute) {
  std::string key = Value(node, attribute);
  return key.empty() ? std::string(Trimmed(Value(node, "id"))) : key;
}

Plan::Plan(const Index& index, const Document& original, const Document& desired)
    : m_index(index), m_original(original), m_desired(desired) {
  Locate();
  MatchItems();
  MatchRevisions();
  PlanUses();
}

// The elements of the items and revisions as read, found as the reader finds them.
void Plan::Locate() {
  bool products = false, graphs = false;
  for (const Element& element : m_index.elements()) {
    const pugi::xml_node node = element.node;
    switch (element.kind) {
      case Kind::Product:
        products = true;
        lastProduct = node;
        itemNode.emplace(KeyOf(node, "productId"), node);
        break;
      case Kind::Part: {
        graphs = true;
        lastPart = node;
        const std::string item = KeyOf(node, "productId");
        itemNode.emplace(item, node);
        revisionNode.emplace(KeyPair(item, KeyOf(node, "revision")), node);
        break;
      }
      case Kind::ProductRevision: {
        products = true;
        lastRevision = node;
        const std::size_t master = m_index.Ref(node, "masterRef");
        std::string item;
        if (master == kNone) {
          item = KeyOf(node, "id");
          itemNode.emplace(item, node);
        } else {
          item = KeyOf(m_index[master].node, "productId");
        }
        revisionNode.emplace(KeyPair(item, KeyOf(node, "revision")), node);
        break;
      }
      case Kind::InstanceGraph:
        graphs = true;
        if (!graph) graph = node;
        break;
      default:
        break;
    }
  }
  graphShape = graphs && !products;
  for (const Item& item : m_original.items) {
    for (const Revision& revision : item.revisions) {
      const pugi::xml_node node = revisionNode.at(KeyPair(item.key, revision.key));
      m_originalSlot.emplace(KeyPair(item.key, revision.key), slots.size());
      slotOf.emplace(node.internal_object(), slots.size());
      slots.push_back({node, item.key + "/" + revision.key, false, {}, {}});
    }
  }
}

// By elementId first, then by key: a caller that lost the id still finds its item.
void Plan::MatchItems() {
  const std::vector<Item>& was = m_original.items;
  const std::vector<Item>& want = m_desired.items;
  wasItem.assign(want.size(), kNone);
  m_claimedBy.assign(was.size(), kNone);
  std::unordered_map<std::string, std::size_t> byId, byKey;
  for (std::size_t j = 0; j < was.size(); ++j) {
    if (!was[j].elementId.empty()) byId.emplace(was[j].elementId, j);
    byKey.emplace(was[j].key, j);
  }
  const auto claim = [&](std::size_t i, const std::unordered_map<std::string, std::size_t>& by,
                         const std::string& value) {
    const auto found = by.find(value);
    if (found == by.end() || m_claimedBy[found->second] != kNone) return;
    m_claimedBy[found->second] = i;
    wasItem[i] = found->second;
  };
  for (std::size_t i = 0; i < want.size(); ++i) {
    if (!want[i].elementId.empty()) claim(i, byId, want[i].elementId);
  }
  for (std::size_t i = 0; i < want.size(); ++i) {
    if (wasItem[i] == kNone) claim(i, byKey, want[i].key);
  }
  for (const Item& item : want) {
    if (item.key.empty()) throw std::invalid_argument("an item of the model has no key");
    if (!m_itemKeys.insert(item.key).second)
      throw std::invalid_argument("item \"" + item.key + "\" is in the model twice");
  }
  for (std::size_t j = 0; j < was.size(); ++j) {
    if (m_claimedBy[j] != kNone) continue;
    if (m_itemKeys.count(was[j].key)) {
      throw std::invalid_argument("item \"" + was[j].key +
                                  "\" of the model takes the key of another item of the document");
    }
    m_itemKeys.insert(was[j].key);
  }
}

void Plan::MatchRevisions() {
  const std::vector<Item>& was = m_original.items;
  const std::vector<Item>& want = m_desired.items;
  std::vector<std::vector<bool>> claimed(was.size());
  std::unordered_map<std::string, std::pair<std::size_t, std::size_t>> byId;
  for (std::size_t j = 0; j < was.size(); ++j) {
    claimed[j].resize(was[j].revisions.size());
    for (std::size_t r = 0; r < was[j].revisions.size(); ++r) {
      if (!was[j].revisions[r].elementId.empty())
        byId.emplace(was[j].revisions[r].elementId, std::make_pair(j, r));
    }
  }
  wasRevision.resize(want.size());
  slotOfRevision.resize(want.size());
  const auto claim = [&](std::size_t i, std::size_t r, std::size_t j, std::size_t at) {
    claimed[j][at] = true;
    wasRevision[i][r] = &was[j].revisions[at];
    slotOfRevision[i][r] = m_originalSlot.at(KeyPair(was[j].key, was[j].revisions[at].key));
  };
  for (std::size_t i = 0; i < want.size(); ++i) {
    wasRevision[i].assign(want[i].revisions.size(), nullptr);
    slotOfRevision[i].assign(want[i].revisions.size(), kNone);
    for (std::size_t r = 0; r < want[i].revisions.size(); ++r) {
      const auto found = byId.find(want[i].revisions[r].elementId);
      if (found != byId.end() && !claimed[found->second.first][found->second.second])
        claim(i, r, found->second.first, found->second.second);
    }
  }
  for (std::size_t i = 0; i < want.size(); ++i) {
    const std::size_t j = wasItem[i];
    for (std::size_t r = 0; j != kNone && r < want[i].revisions.size(); ++r) {
      for (std::size_t at = 0; !wasRevision[i][r] && at < was[j].revisions.size(); ++at) {
        if (!claimed[j][at] && was[j].revisions[at].key == want[i].revisions[r].key)
          claim(i, r, j, at);
      }
    }
  }
  for (std::size_t i = 0; i < want.size(); ++i) {
    for (std::size_t r = 0; r < want[i].revisions.size(); ++r) {
      const Revision& revision = want[i].revisions[r];
      if (revision.key.empty())
        throw std::invalid_argument("a revision of item \"" + want[i].key + "\" has no key");
      if (!m_resolved.emplace(KeyPair(want[i].key, revision.key), kNone).second)
        throw std::invalid_argument("revision " + Quoted(want[i].key, revision.key) +
                                    " is in the model twice");
      if (slotOfRevision[i][r] == kNone) {
        slotOfRevision[i][r] = slots.size();
        slots.push_back({{}, want[i].key + "/" + revision.key, false, {}, {}});
      }
      m_resolved[KeyPair(want[i].key, revision.key)] = slotOfRevision[i][r];
    }
  }
  // The document's revisions the model leaves out stay with their item, under its key as it is
  // now.
  for (std::size_t j = 0; j < was.size(); ++j) {
    const std::string& owner = m_claimedBy[j] == kNone ? was[j].key : want[m_claimedBy[j]].key;
    for (std::size_t r = 0; r < was[j].revisions.size(); ++r) {
      if (claimed[j][r]) continue;
      const std::string key = was[j].revisions[r].key;
      if (!m_resolved.emplace(KeyPair(owner, key), m_originalSlot.at(KeyPair(was[j].key, key)))
               .second)
        throw std::invalid_argument("revision " + Quoted(owner, key) + " is in the model twice");
    }
  }
}

std::size_t Plan::Resolve(const std::string& item, const std::string& revision,
                          const std::string& by) const {
  const auto found = m_resolved.find(KeyPair(item, revision));
  if (found != m_resolved.end()) return found->second;
  throw std::invalid_argument(by + " names " +
                              (m_itemKeys.count(item)
                                   ? "revision \"" + revision + "\" of item \"" + item + "\""
                                   : "item \"" + item + "\"") +
                              ", which neither the model nor the document has");
}

void Plan::PlanUses() {
  for (const Use& use : m_original.uses) {
    slots[m_originalSlot.at(KeyPair(use.parentItem, use.parentRevision))].was.push_back(
        {&use, m_originalSlot.at(KeyPair(use.childItem, use.childRevision)), use.transform});
  }
  for (const std::vector<std::size_t>& ofItem : slotOfRevision) {
    for (const std::size_t slot : ofItem) slots[slot].described = true;
  }
  for (const Use& use : m_desired.uses) {
    const std::string what = Describe(use);
    const std::size_t parent = Resolve(use.parentItem, use.parentRevision, what);
    const std::size_t child = Resolve(use.childItem, use.childRevision, what);
    slots[parent].described = true;
    slots[parent].uses.push_back({&use, child, NormalizedTransform(use)});
  }
  for (Slot& slot : slots) {
    if (!slot.described) slot.uses = slot.was;
  }
  for (const auto& [item, revision] : m_desired.roots)
    roots.push_back(Resolve(item, revision, "the root " + Quoted(item, revision)));
}

}  // namespace vqkudm::plmxml::detail
