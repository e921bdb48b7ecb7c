#include <vqkudmrt/UDMCondition.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMSession.h>

#include "QueryContext.h"
#include "QueryTree.h"

namespace vqkudm {

using query::Field;
using query::Op;

namespace {

const char* const kAnd = "and";
const char* const kOr = "or";
const char* const kNot = "not";

query::NodePtr NodeOf(const UDMConditionPtr& condition, const char* role) {
  if (!condition) ThrowNullArgument(UDM_FUNCSIG, vqString(role) + " condition ");
  return condition->GetNode();
}

Op OperatorOf(int op, const char* signature) {
  switch (op) {
    case UDMOpEqual: return Op::Equal;
    case UDMOpNotEqual: return Op::NotEqual;
    case UDMOpIsA: return Op::IsA;
    case UDMOpLess: return Op::Less;
    case UDMOpLessEqual: return Op::LessEqual;
    case UDMOpGreater: return Op::Greater;
    case UDMOpGreaterEqual: return Op::GreaterEqual;
    case UDMOpLike: return Op::Like;
    case UDMOpIn: return Op::In;
    default:
      ThrowInvalidArgException(signature, "there is no condition operator " + vqString::FromInt(op),
                               ExcSubOutOfRange);
  }
}

// Numbers compare as numbers, everything else as its text.
vqVariant Literal(const vqVariant& value) {
  double number = 0;
  if (value.GetType() != vqVariant::String && value.GetType() != vqVariant::StringList && value.ToDouble(number)) {
    return vqVariant(number);
  }
  return vqVariant(value.ToString());
}

query::NodePtr DefinitionNode(const vqString& name, int op, bool fold, const char* signature) {
  if (name.empty()) ThrowEmptyArgument(signature, "definition name ");
  if (op != UDMOpEqual && op != UDMOpNotEqual && op != UDMOpIsA) {
    ThrowInvalidArgException(signature,
                             "a definition condition takes equal, not equal or is-a, not operator " +
                                 vqString::FromInt(op),
                             ExcSubOutOfRange);
  }
  auto node = std::const_pointer_cast<query::Node>(
      query::MakeCompare(Field::Cdef, vqString(), OperatorOf(op, signature), {vqVariant(name)}));
  node->foldCase = fold;
  return node;
}

}  // namespace

ICondition::~ICondition() = default;

vqString ICondition::GetDMExpression() const {
  const query::NodePtr node = GetNode();
  return node ? query::ToText(*node) : vqString();
}

UDMAndCondition::UDMAndCondition(const UDMConditionPtr& left, const UDMConditionPtr& right)
    : UDMCondition(1, kAnd), m_left(left), m_right(right) {
  NodeOf(left, "left");
  NodeOf(right, "right");
}

std::shared_ptr<const query::Node> UDMAndCondition::GetNode() const {
  return query::MakeAnd(m_left->GetNode(), m_right->GetNode());
}

UDMOrCondition::UDMOrCondition(const UDMConditionPtr& left, const UDMConditionPtr& right)
    : UDMCondition(2, kOr), m_left(left), m_right(right) {
  NodeOf(left, "left");
  NodeOf(right, "right");
}

std::shared_ptr<const query::Node> UDMOrCondition::GetNode() const {
  return query::MakeOr(m_left->GetNode(), m_right->GetNode());
}

UDMNotCondition::UDMNotCondition(const UDMConditionPtr& operand) : UDMCondition(3, kNot), m_operand(operand) {
  NodeOf(operand, "negated");
}

std::shared_ptr<const query::Node> UDMNotCondition::GetNode() const { return query::MakeNot(m_operand->GetNode()); }

UDMUIDCondition::UDMUIDCondition(const vqStlVector<UDMUID>& uids) : UDMCondition(UDMOpIn, "uid"), m_uids(uids) {
  if (uids.empty()) ThrowEmptyListArgument(UDM_FUNCSIG, "identifiers ");
}

std::shared_ptr<const query::Node> UDMUIDCondition::GetNode() const {
  std::vector<vqVariant> values;
  for (const UDMUID& uid : m_uids) values.emplace_back(uid.ToString());
  return query::MakeCompare(Field::Uid, vqString(), Op::In, std::move(values));
}

UDMAttribCondition::UDMAttribCondition(const vqString& attribute, int op, const vqVariant& value)
    : UDMCondition(op, attribute) {
  if (attribute.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "attribute name ");
  const Op which = OperatorOf(op, UDM_FUNCSIG);
  std::vector<vqVariant> values;
  if (which == Op::In) {
    const vqStlVector<vqString>* list = value.GetStringList();
    if (!list || list->empty()) {
      ThrowInvalidArgException(UDM_FUNCSIG, "\"in\" on \"" + attribute + "\" takes a list of values",
                               ExcSubWrongType);
    }
    for (const vqString& item : *list) values.emplace_back(item);
  } else {
    values.push_back(Literal(value));
  }
  const Field field = query::FieldOf(attribute);
  if (field != Field::Attribute) {
    for (vqVariant& v : values) {
      // Fields take the literal type the query language gives them.
      if (query::IsNumericField(field) && !v.GetDouble()) {
        ThrowInvalidArgException(UDM_FUNCSIG, "the field " + attribute + " takes numbers", ExcSubWrongType);
      }
      if (!query::IsNumericField(field) && v.GetDouble()) v = vqVariant(value.ToString());
    }
  }
  m_node = query::MakeCompare(field, field == Field::Attribute ? attribute : vqString(), which, std::move(values));
}

std::shared_ptr<const query::Node> UDMAttribCondition::GetNode() const { return m_node; }

UDMContentDefCondition::UDMContentDefCondition(const vqString& cdefName, int op) : UDMCondition(op, cdefName) {}

boost::shared_ptr<UDMContentDefCondition> UDMContentDefCondition::CreateAndInit(const vqString& cdefName, int op) {
  DefinitionNode(cdefName, op, false, UDM_FUNCSIG);
  return boost::shared_ptr<UDMContentDefCondition>(new UDMContentDefCondition(cdefName, op));
}

std::shared_ptr<const query::Node> UDMContentDefCondition::GetNode() const {
  const auto* named = dynamic_cast<const UDMClassNameCondition*>(this);
  return DefinitionNode(GetConditionName(), GetConditionValue(), named && named->GetIgnoreCase(), UDM_FUNCSIG);
}

UDMClassNameCondition::UDMClassNameCondition(const vqString& className, int op, bool ignoreCase)
    : UDMContentDefCondition(className, op), m_ignoreCase(ignoreCase) {}

boost::shared_ptr<UDMClassNameCondition> UDMClassNameCondition::CreateAndInit(const vqString& className, int op,
                                                                              int ignoreCase) {
  DefinitionNode(className, op, ignoreCase != 0, UDM_FUNCSIG);
  return boost::shared_ptr<UDMClassNameCondition>(new UDMClassNameCondition(className, op, ignoreCase != 0));
}

UDMTclCBCondition::UDMTclCBCondition(const vqString& name, std::function<bool(const UDMItem&)> callback)
    : UDMCondition(0, name) {
  if (!callback) ThrowNullArgument(UDM_FUNCSIG, "callback ");
  auto node = std::make_shared<query::Node>();
  node->kind = query::Node::Callback;
  node->callback = std::move(callback);
  m_node = node;
}

std::shared_ptr<const query::Node> UDMTclCBCondition::GetNode() const { return m_node; }

namespace {
// A condition parsed from text.
class ExpressionCondition : public UDMCondition {
 public:
  ExpressionCondition(const vqString& text, query::NodePtr node) : UDMCondition(0, text), m_node(std::move(node)) {}
  std::shared_ptr<const query::Node> GetNode() const override { return m_node; }

 private:
  query::NodePtr m_node;
};
}  // namespace

UDMConditionPtr ConditionUtil::FromExpression(const vqString& expression) {
  query::NodePtr node = query::Parse(expression);
  if (!node) ThrowEmptyArgument(UDM_FUNCSIG, "condition expression ");
  return UDMConditionPtr(new ExpressionCondition(expression, std::move(node)));
}

bool ConditionUtil::IsConditionMet(const ICondition* condition, const UDMItem& item, bool ignoreCase) {
  if (!condition) return true;
  const query::NodePtr node = condition->GetNode();
  return !node || query::Matches(*node, item, query::Options{ignoreCase});
}

}  // namespace vqkudm

namespace vqkudm {

void UDMItem::GetRelations(vqStlVector<boost::shared_ptr<UDMRelation>>& out, int direction,
                           const boost::shared_ptr<ICondition>& leftCondition,
                           const boost::shared_ptr<ICondition>& rightCondition, bool latestEnds) {
  vqStlVector<boost::shared_ptr<UDMRelation>> all;
  GetRelations(all, direction);
  if (!leftCondition && !rightCondition) {
    out.insert(out.end(), all.begin(), all.end());
    return;
  }
  boost::shared_ptr<UDMSession> session = GetSession();
  if (!session) ThrowStateException(UDM_FUNCSIG, ToString("") + " has no session any more", ExcSubNull);
  auto end = [&](const UDMUID& uid) {
    return latestEnds ? session->FindLatest(uid.GetDmUid()) : session->FindItemById(uid, true, vqString());
  };
  for (const auto& relation : all) {
    const UDMItemPtr left = end(relation->GetLeftEntityId());
    const UDMItemPtr right = end(relation->GetRightEntityId());
    if (left && right && ConditionUtil::IsConditionMet(leftCondition.get(), *left, false) &&
        ConditionUtil::IsConditionMet(rightCondition.get(), *right, false)) {
      out.push_back(relation);
    }
  }
}

bool UDMItem::DoesConditionMatch(const boost::shared_ptr<ICondition>& condition, bool ignoreCase) const {
  return ConditionUtil::IsConditionMet(condition.get(), *this, ignoreCase);
}

}  // namespace vqkudm
