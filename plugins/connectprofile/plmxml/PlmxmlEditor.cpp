#include "PlmxmlEditor.h"

#include <cstring>
#include <utility>

#include "PlmxmlIndex.h"

namespace vqkudm::plmxml::detail {

namespace {

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// locationRef names a file unless it begins with '#'.
bool IsReference(std::string_view attribute, std::string_view value) {
  if (attribute == "locationRef") return !value.empty() && value.front() == '#';
  return EndsWith(attribute, "Ref") || EndsWith(attribute, "Refs");
}

std::string_view WithoutHash(std::string_view token) {
  if (!token.empty() && token.front() == '#') token.remove_prefix(1);
  return token;
}

pugi::xml_node FirstElement(pugi::xml_node node) {
  for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
    if (child.type() == pugi::node_element) return child;
  }
  return {};
}

pugi::xml_node NextElementSibling(pugi::xml_node node) {
  for (node = node.next_sibling(); node; node = node.next_sibling()) {
    if (node.type() == pugi::node_element) return node;
  }
  return {};
}

// Every element below and including `root`, in document order, without
// recursion; `visit` returns whether to go below the element.
template <class Visit>
void Walk(pugi::xml_node root, Visit visit) {
  pugi::xml_node node = root;
  while (node) {
    if (visit(node)) {
      if (pugi::xml_node child = FirstElement(node)) {
        node = child;
        continue;
      }
    }
    for (;; node = node.parent()) {
      if (node == root) return;
      if (pugi::xml_node sibling = NextElementSibling(node)) {
        node = sibling;
        break;
      }
    }
  }
}

// Decimal digit strings without leading zeros compare by length, then by text.
bool Greater(std::string_view a, std::string_view b) {
  return a.size() != b.size() ? a.size() > b.size() : a > b;
}

void Increment(std::string& digits) {
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    if (*digit != '9') {
      ++*digit;
      return;
    }
    *digit = '0';
  }
  digits.insert(digits.begin(), '1');
}

}  // namespace

Editor::Editor(pugi::xml_node root) : m_root(root) {
  const char* colon = std::strrchr(root.name(), ':');
  if (colon) m_prefix.assign(root.name(), colon + 1);
  std::string highest;
  Walk(root, [&](pugi::xml_node node) {
    const std::string_view id = Trimmed(Attribute(node, "id").value());
    if (!id.empty()) {
      std::size_t digits = id.size();
      while (digits > 0 && id[digits - 1] >= '0' && id[digits - 1] <= '9') --digits;
      std::string_view number = id.substr(digits);
      while (number.size() > 1 && number.front() == '0') number.remove_prefix(1);
      if (!number.empty() && Greater(number, highest)) highest = number;
    }
    for (const pugi::xml_attribute attribute : node.attributes()) {
      const std::string_view name = LocalName(attribute.name());
      const std::string_view value = Trimmed(attribute.value());
      if (!value.empty() && IsReference(name, value))
        m_hashed.emplace(std::string(name), value.front() == '#');
    }
    return true;
  });
  m_nextNumber = highest.empty() ? "0" : highest;
  Increment(m_nextNumber);
}

std::string Editor::IdOf(pugi::xml_node node) {
  const std::string_view id = Trimmed(Attribute(node, "id").value());
  if (!id.empty()) return std::string(id);
  std::string fresh = "id" + m_nextNumber;
  Increment(m_nextNumber);
  node.prepend_attribute("id").set_value(fresh.c_str());
  return fresh;
}

pugi::xml_node Editor::Named(pugi::xml_node made, bool withId) {
  if (withId) IdOf(made);
  return made;
}

pugi::xml_node Editor::AddAfter(pugi::xml_node anchor, std::string_view name, bool withId) {
  return Named(anchor.parent().insert_child_after((m_prefix + std::string(name)).c_str(), anchor),
               withId);
}

pugi::xml_node Editor::AddBefore(pugi::xml_node anchor, std::string_view name, bool withId) {
  return Named(anchor.parent().insert_child_before((m_prefix + std::string(name)).c_str(), anchor),
               withId);
}

pugi::xml_node Editor::AddChild(pugi::xml_node parent, std::string_view name, bool withId) {
  return Named(parent.append_child((m_prefix + std::string(name)).c_str()), withId);
}

pugi::xml_node Editor::AddLeading(pugi::xml_node owner, std::string_view name, bool withId) {
  pugi::xml_node last;
  for (pugi::xml_node child = FirstElement(owner); child; child = NextElementSibling(child)) {
    const std::string_view childName = LocalName(child.name());
    if (childName != "Description" && childName != "ApplicationRef" && childName != "UserData")
      break;
    last = child;
  }
  if (last) return AddAfter(last, name, withId);
  return Named(owner.prepend_child((m_prefix + std::string(name)).c_str()), withId);
}

void Editor::MoveAfter(pugi::xml_node node, pugi::xml_node anchor) {
  anchor.parent().insert_move_after(node, anchor);
}

void Editor::Set(pugi::xml_node node, std::string_view name, std::string_view value) {
  pugi::xml_attribute attribute = Attribute(node, name);
  if (attribute && value == attribute.value()) return;
  if (!attribute) attribute = node.append_attribute(std::string(name).c_str());
  attribute.set_value(value.data(), value.size());
}

void Editor::Unset(pugi::xml_node node, std::string_view name) {
  if (const pugi::xml_attribute attribute = Attribute(node, name)) node.remove_attribute(attribute);
}

void Editor::SetOptional(pugi::xml_node node, std::string_view name, std::string_view value) {
  if (value.empty()) {
    Unset(node, name);
  } else {
    Set(node, name, value);
  }
}

std::string Editor::Reference(std::string_view attribute, const std::string& id, bool list) const {
  const auto style = m_hashed.find(std::string(attribute));
  const bool hashed = style == m_hashed.end() ? !list : style->second;
  return hashed ? '#' + id : id;
}

void Editor::SetRef(pugi::xml_node node, std::string_view name, pugi::xml_node target) {
  const std::string id = IdOf(target);
  if (WithoutHash(Trimmed(Attribute(node, name).value())) == id) return;
  Set(node, name, Reference(name, id, false));
}

void Editor::SetRefs(pugi::xml_node node, std::string_view name,
                     const std::vector<pugi::xml_node>& targets) {
  std::vector<std::string> ids;
  ids.reserve(targets.size());
  for (const pugi::xml_node target : targets) ids.push_back(IdOf(target));
  if (ids == Ids(node, name)) return;
  if (ids.empty()) return Unset(node, name);
  std::string value;
  for (const std::string& id : ids) {
    if (!value.empty()) value += ' ';
    value += Reference(name, id, true);
  }
  Set(node, name, value);
}

void Editor::AddRef(pugi::xml_node node, std::string_view name, pugi::xml_node target) {
  std::string value(Trimmed(Attribute(node, name).value()));
  if (!value.empty()) value += ' ';
  Set(node, name, value + Reference(name, IdOf(target), true));
}

std::vector<std::string> Editor::Ids(pugi::xml_node node, std::string_view name) {
  std::vector<std::string> ids;
  for (const std::string_view word : Words(Attribute(node, name).value())) {
    const std::string_view id = WithoutHash(word);
    if (!id.empty()) ids.emplace_back(id);
  }
  return ids;
}

void Editor::Drop(pugi::xml_node node) {
  if (!m_dropped.insert(node.internal_object()).second) return;
  m_droppedNodes.push_back(node);
  Walk(node, [&](pugi::xml_node inner) {
    const std::string_view id = Trimmed(Attribute(inner, "id").value());
    if (!id.empty()) m_droppedIds.emplace(id);
    return true;
  });
}

bool Editor::Dropped(pugi::xml_node node) const {
  for (; node; node = node.parent()) {
    if (m_dropped.count(node.internal_object())) return true;
  }
  return false;
}

// One pass over the kept elements; whether it dropped more, whose ids need another.
bool Editor::Sweep() {
  bool more = false;
  Walk(m_root, [&](pugi::xml_node node) {
    if (m_dropped.count(node.internal_object())) return false;
    const std::string_view kind = LocalName(node.name());
    std::vector<pugi::xml_attribute> emptied;
    bool orphaned = false;
    for (pugi::xml_attribute attribute : node.attributes()) {
      const std::string_view name = LocalName(attribute.name());
      if (!IsReference(name, Trimmed(attribute.value()))) continue;
      if (!EndsWith(name, "Refs")) {
        if (m_droppedIds.count(std::string(WithoutHash(Trimmed(attribute.value()))))) {
          orphaned = orphaned || kind == "AssociatedDataSet" || kind == "AssociatedAttachment";
          emptied.push_back(attribute);
        }
        continue;
      }
      std::string kept;
      bool cut = false;
      for (const std::string_view word : Words(attribute.value())) {
        if (m_droppedIds.count(std::string(WithoutHash(word)))) {
          cut = true;
        } else {
          if (!kept.empty()) kept += ' ';
          kept += word;
        }
      }
      if (!cut) continue;
      if (kept.empty()) {
        orphaned = orphaned || (kind == "DataSet" && name == "memberRefs");
        emptied.push_back(attribute);
      } else {
        attribute.set_value(kept.c_str());
      }
    }
    if (orphaned) {
      Drop(node);
      more = true;
      return false;
    }
    for (const pugi::xml_attribute attribute : emptied) node.remove_attribute(attribute);
    return true;
  });
  return more;
}

void Editor::Finish() {
  if (m_droppedNodes.empty()) return;
  while (Sweep()) {
  }
  std::vector<pugi::xml_node> outermost;
  for (const pugi::xml_node node : m_droppedNodes) {
    if (!Dropped(node.parent())) outermost.push_back(node);
  }
  for (const pugi::xml_node node : outermost) node.parent().remove_child(node);
  m_dropped.clear();
  m_droppedNodes.clear();
  m_droppedIds.clear();
}

namespace {

using ValuesByTitle = std::unordered_map<std::string, std::vector<pugi::xml_node>>;

ValuesByTitle ValuesOf(pugi::xml_node owner) {
  ValuesByTitle values;
  for (const pugi::xml_node data : owner.children()) {
    if (LocalName(data.name()) != "UserData") continue;
    for (const pugi::xml_node value : data.children()) {
      if (LocalName(value.name()) == "UserValue") values[Value(value, "title")].push_back(value);
    }
  }
  return values;
}

}  // namespace

void WriteUserValues(Editor& editor, pugi::xml_node owner, pugi::xml_node fallback,
                     const std::vector<UserValue>& wanted, const std::vector<UserValue>* was) {
  if (wanted.empty()) return;
  std::unordered_map<std::string, std::vector<const UserValue*>> before;
  if (was) {
    for (const UserValue& value : *was) before[value.title].push_back(&value);
  }
  std::unordered_map<std::string, std::size_t> seen;
  ValuesByTitle present;
  ValuesByTitle fallbackPresent;
  bool scanned = false;
  for (const UserValue& value : wanted) {
    const std::size_t k = seen[value.title]++;
    const auto prior = before.find(value.title);
    if (prior != before.end() && k < prior->second.size() &&
        prior->second[k]->value == value.value && prior->second[k]->type == value.type) {
      continue;
    }
    if (!scanned) {
      present = ValuesOf(owner);
      if (fallback) fallbackPresent = ValuesOf(fallback);
      scanned = true;
    }
    std::vector<pugi::xml_node>& same = present[value.title];
    pugi::xml_node node = k < same.size() ? same[k] : pugi::xml_node();
    if (!node && k == 0) {
      const auto other = fallbackPresent.find(value.title);
      if (other != fallbackPresent.end() && !other->second.empty()) node = other->second.front();
    }
    if (!node) {
      pugi::xml_node data;
      for (const pugi::xml_node child : owner.children()) {
        if (child.type() == pugi::node_element && LocalName(child.name()) == "UserData" &&
            !editor.Dropped(child)) {
          data = child;
          break;
        }
      }
      if (!data) data = editor.AddLeading(owner, "UserData");
      node = editor.AddChild(data, "UserValue", false);
      Editor::Set(node, "title", value.title);
      Editor::Set(node, "value", value.value);
      Editor::SetOptional(node, "type", value.type);
      same.push_back(node);
      continue;
    }
    // The value stays where the document writes it: the attribute, else the text.
    if (Attribute(node, "value") || !node.first_child()) {
      Editor::Set(node, "value", value.value);
    } else {
      node.text().set(value.value.c_str());
    }
    if (Value(node, "type") != value.type) Editor::SetOptional(node, "type", value.type);
  }
}

void WriteTransform(Editor& editor, pugi::xml_node owner, const std::string& numbers) {
  pugi::xml_node kept;
  for (pugi::xml_node child = FirstElement(owner); child; child = NextElementSibling(child)) {
    if (LocalName(child.name()) != "Transform" || editor.Dropped(child)) continue;
    if (kept || numbers.empty()) {
      editor.Drop(child);
    } else {
      kept = child;
    }
  }
  if (numbers.empty()) return;
  if (!kept) kept = editor.AddLeading(owner, "Transform", false);
  if (numbers != kept.text().get()) kept.text().set(numbers.c_str());
}

}  // namespace vqkudm::plmxml::detail
