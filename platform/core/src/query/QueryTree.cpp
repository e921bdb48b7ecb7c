#include "QueryTree.h"

namespace vqkudm::query {

namespace {

const std::pair<const char*, Field> kFields[] = {
    {"cdef", Field::Cdef},         {"class", Field::Class},     {"name", Field::Name},
    {"uid", Field::Uid},           {"revision", Field::Revision}, {"createdby", Field::CreatedBy},
    {"created", Field::Created},   {"modifiedby", Field::ModifiedBy}, {"modified", Field::Modified},
    {"comment", Field::Comment},
};

// System attributes the repository keeps in the columns of these fields.
const std::pair<const char*, Field> kColumnAttributes[] = {
    {"smd_name", Field::Name},          {"smd_createduser", Field::CreatedBy}, {"smd_creatime", Field::Created},
    {"smd_user", Field::ModifiedBy},    {"smd_lstmodtime", Field::Modified},   {"smd_comment", Field::Comment},
};

NodePtr Join(Node::Kind kind, NodePtr a, NodePtr b) {
  if (!a) return b;
  if (!b) return a;
  auto node = std::make_shared<Node>();
  node->kind = kind;
  // Flatten a and (b and c) so that long chains stay shallow.
  for (const NodePtr& operand : {a, b}) {
    if (operand->kind == kind) {
      node->children.insert(node->children.end(), operand->children.begin(), operand->children.end());
    } else {
      node->children.push_back(operand);
    }
  }
  return node;
}

vqString LiteralText(const vqVariant& value) {
  if (const double* number = value.GetDouble()) return vqString::FromDouble(*number);
  vqString quoted = "'";
  for (char c : value.ToString()) {
    if (c == '\'') quoted += '\'';
    quoted += c;
  }
  return quoted + "'";
}

}  // namespace

NodePtr MakeAnd(NodePtr a, NodePtr b) { return Join(Node::And, std::move(a), std::move(b)); }
NodePtr MakeOr(NodePtr a, NodePtr b) { return Join(Node::Or, std::move(a), std::move(b)); }

NodePtr MakeNot(NodePtr a) {
  auto node = std::make_shared<Node>();
  node->kind = Node::Not;
  node->children.push_back(std::move(a));
  return node;
}

NodePtr MakeCompare(Field field, const vqString& attribute, Op op, std::vector<vqVariant> values) {
  auto node = std::make_shared<Node>();
  node->kind = Node::Compare;
  node->field = field;
  node->attribute = attribute;
  node->op = op;
  node->values = std::move(values);
  return node;
}

Field FieldOf(const vqString& name) {
  for (const auto& [text, field] : kFields) {
    if (name.EqualsNoCase(text)) return field;
  }
  for (const auto& [text, field] : kColumnAttributes) {
    if (name == text) return field;
  }
  return Field::Attribute;
}

const char* FieldName(Field field) {
  for (const auto& [text, which] : kFields) {
    if (which == field) return text;
  }
  return "attribute";
}

bool IsNumericField(Field field) { return field == Field::Revision; }

vqString ToText(const Node& node) {
  switch (node.kind) {
    case Node::And:
    case Node::Or: {
      vqString text = "(";
      for (std::size_t i = 0; i < node.children.size(); ++i) {
        if (i) text += node.kind == Node::And ? " and " : " or ";
        text += ToText(*node.children[i]);
      }
      return text + ")";
    }
    case Node::Not: return "not " + ToText(*node.children.front());
    case Node::Callback: return "<callback>";
    case Node::Compare: break;
  }
  const vqString name = node.field == Field::Attribute ? node.attribute : vqString(FieldName(node.field));
  static const char* const ops[] = {"=", "!=", "<", "<=", ">", ">=", "like", "in", "isa"};
  vqString text = name + " " + ops[static_cast<int>(node.op)] + " ";
  if (node.op == Op::In) {
    text += "(";
    for (std::size_t i = 0; i < node.values.size(); ++i) text += (i ? ", " : "") + LiteralText(node.values[i]);
    return text + ")";
  }
  return text + LiteralText(node.values.front());
}

}  // namespace vqkudm::query
