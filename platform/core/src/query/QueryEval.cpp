// Evaluating a condition on an item in memory.

#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>

#include "../store/EntityStore.h"
#include "QueryContext.h"

namespace vqkudm::query {

namespace {

// The value of a field as the database holds it: (text, number), either
// empty when the item has none.
std::pair<vqVariant, vqVariant> Stored(const Node& node, const UDMItem& item) {
  switch (node.field) {
    case Field::Attribute: {
      auto it = item.GetAttributes().find(node.attribute);
      if (it == item.GetAttributes().end()) return {};
      std::int64_t type;
      vqVariant text, number;
      store::EncodeAttribute(it->second, type, text, number);
      return {text, number};
    }
    case Field::Revision: return {vqVariant(), vqVariant(static_cast<double>(item.GetRevision()))};
    case Field::Cdef: return {vqVariant(item.GetContentDefinitionType()), vqVariant()};
    case Field::Class: return {vqVariant(item.GetContentDefinition()->GetUDMClassName()), vqVariant()};
    case Field::Name: return {vqVariant(item.GetName()), vqVariant()};
    case Field::Uid: return {vqVariant(item.GetUID().ToString()), vqVariant()};
    case Field::CreatedBy: return {vqVariant(item.GetCreatedBy()), vqVariant()};
    case Field::Created: return {vqVariant(item.GetCreationTime()), vqVariant()};
    case Field::ModifiedBy: return {vqVariant(item.GetModifiedBy()), vqVariant()};
    case Field::Modified: return {vqVariant(item.GetModifiedTime()), vqVariant()};
    case Field::Comment: {
      auto it = item.GetAttributes().find("smd_comment");
      return {it == item.GetAttributes().end() ? vqVariant() : vqVariant(it->second.ToString()), vqVariant()};
    }
  }
  return {};
}

template <class T>
bool Compare(Op op, const T& a, const T& b) {
  switch (op) {
    case Op::Equal:
    case Op::In:
    case Op::IsA: return a == b;
    case Op::NotEqual: return a != b;
    case Op::Less: return a < b;
    case Op::LessEqual: return a <= b;
    case Op::Greater: return a > b;
    case Op::GreaterEqual: return a >= b;
    case Op::Like: return false;
  }
  return false;
}

bool CompareOne(const Node& node, const std::pair<vqVariant, vqVariant>& stored, const vqVariant& literal,
                const UDMItem& item, const Options& options) {
  if (const double* wanted = literal.GetDouble()) {
    const double* have = stored.second.GetDouble();
    return have && Compare(node.op, *have, *wanted);
  }
  const vqString* have = stored.first.GetString();
  if (!have) return false;
  const bool fold = options.ignoreCase || node.foldCase;
  const vqString wanted = fold ? FoldCase(*literal.GetString()) : *literal.GetString();
  const vqString text = fold ? FoldCase(*have) : *have;
  if (node.op == Op::Like) return GlobMatch(wanted, text);
  if (node.op == Op::IsA) {
    // The definition or one derived from it.
    if (Compare(Op::Equal, text, wanted)) return true;
    if (node.field != Field::Cdef) return false;
    for (auto base = item.GetContentDefinition()->GetBaseDefinition(); base; base = base->GetBaseDefinition()) {
      if ((fold ? FoldCase(base->GetType()) : base->GetType()) == wanted) return true;
    }
    return false;
  }
  return Compare(node.op, text, wanted);
}

}  // namespace

vqString FoldCase(const vqString& text) {
  vqString folded = text;
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return folded;
}

bool GlobMatch(const vqString& pattern, const vqString& text) {
  // Iterative matching with one backtrack point for the last '*'.
  std::size_t p = 0, t = 0, star = vqString::npos, mark = 0;
  while (t < text.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
      ++p;
      ++t;
    } else if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      mark = t;
    } else if (star != vqString::npos) {
      p = star + 1;
      t = ++mark;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

bool Matches(const Node& node, const UDMItem& item, const Options& options) {
  switch (node.kind) {
    case Node::And:
      for (const NodePtr& child : node.children) {
        if (!Matches(*child, item, options)) return false;
      }
      return true;
    case Node::Or:
      for (const NodePtr& child : node.children) {
        if (Matches(*child, item, options)) return true;
      }
      return false;
    case Node::Not: return !Matches(*node.children.front(), item, options);
    case Node::Callback: return node.callback && node.callback(item);
    case Node::Compare: break;
  }
  const auto stored = Stored(node, item);
  for (const vqVariant& literal : node.values) {
    if (CompareOne(node, stored, literal, item, options)) return true;
  }
  return false;
}

void CheckNames(const Node& node, const UDMConfiguration& schema, const vqString& queryText) {
  for (const NodePtr& child : node.children) CheckNames(*child, schema, queryText);
  if (node.kind != Node::Compare || node.field != Field::Attribute) return;
  for (const auto& definition : schema.GetContentDefinitions()) {
    if (definition->GetAttributeDefinition(node.attribute)) return;
  }
  ThrowInvalidArgException(UDM_FUNCSIG,
                           "the query \"" + queryText + "\" names \"" + node.attribute +
                               "\", which is neither a field nor an attribute of any definition",
                           ExcSubNotFound);
}

}  // namespace vqkudm::query
