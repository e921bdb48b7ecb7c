#pragma once

// The parsed form of a query expression, shared by the query text parser
// and the condition classes, compiled to SQL or evaluated in memory.

#include <functional>
#include <memory>
#include <vector>

#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {
class UDMItem;
}

namespace vqkudm::query {

enum class Field { Attribute, Cdef, Class, Name, Uid, Revision, CreatedBy, Created, ModifiedBy, Modified, Comment };

enum class Op { Equal, NotEqual, Less, LessEqual, Greater, GreaterEqual, Like, In, IsA };

struct Node {
  enum Kind { And, Or, Not, Compare, Callback } kind = Compare;
  std::vector<std::shared_ptr<const Node>> children;  // And, Or (two or more), Not (one)
  Field field = Field::Attribute;
  vqString attribute;             // for Field::Attribute
  Op op = Op::Equal;
  std::vector<vqVariant> values;  // one, or the list of `in`; strings or doubles
  bool foldCase = false;          // fold ASCII case whatever the query's options say
  // Callback: decided in memory by a function of the application.
  std::function<bool(const UDMItem&)> callback;
};
using NodePtr = std::shared_ptr<const Node>;

NodePtr MakeAnd(NodePtr a, NodePtr b);
NodePtr MakeOr(NodePtr a, NodePtr b);
NodePtr MakeNot(NodePtr a);
NodePtr MakeCompare(Field field, const vqString& attribute, Op op, std::vector<vqVariant> values);

// The field of a name: a system field ("cdef", "class", "name", "uid",
// "revision", "createdby", "created", "modifiedby", "modified", "comment";
// case ignored) or the system attribute kept in its column, else an attribute.
Field FieldOf(const vqString& name);
const char* FieldName(Field field);
bool IsNumericField(Field field);

// The query text again, in the language's own form.
vqString ToText(const Node& node);

// Parses a query text; raises UDMException (ExcSubSyntax) giving the
// position and the token where it fails. An empty text gives null: no condition.
NodePtr Parse(const vqString& text);

}  // namespace vqkudm::query
