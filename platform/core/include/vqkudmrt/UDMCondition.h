#pragma once

// Conditions on entities, built in code; they mean exactly what the same
// condition written in the query language means (docs/queries.md), whether
// a query runs them in the database or an item tests one in memory.

#include <functional>
#include <memory>

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/UDMUID.h>
#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {

class UDMItem;
namespace query {
struct Node;
}

// Operators of conditions.
enum UDMConditionOperator {
  UDMOpEqual = 0,
  UDMOpNotEqual = 1,
  UDMOpIsA = 2,  // the definition named or one derived from it
  UDMOpLess = 3,
  UDMOpLessEqual = 4,
  UDMOpGreater = 5,
  UDMOpGreaterEqual = 6,
  UDMOpLike = 7,  // * and ? wildcards
  UDMOpIn = 8,    // any of a string list
};

class VQKUDMRT_API ICondition {
 public:
  virtual ~ICondition();
  // The condition in the query language.
  vqString GetDMExpression() const;
  // Runtime use: the condition's tree.
  virtual std::shared_ptr<const query::Node> GetNode() const = 0;
};
using IConditionPtr = boost::shared_ptr<ICondition>;

class VQKUDMRT_API UDMCondition : public ICondition {
 public:
  // What kind of condition it is (an operator or a combination) and a name
  // for it (the attribute, definition or combination).
  int GetConditionValue() const { return m_value; }
  const vqString& GetConditionName() const { return m_name; }

 protected:
  UDMCondition(int value, const vqString& name) : m_value(value), m_name(name) {}

 private:
  int m_value;
  vqString m_name;
};
using UDMConditionPtr = boost::shared_ptr<UDMCondition>;

class VQKUDMRT_API UDMAndCondition : public UDMCondition {
 public:
  UDMAndCondition(const UDMConditionPtr& left, const UDMConditionPtr& right);
  std::shared_ptr<const query::Node> GetNode() const override;

 private:
  UDMConditionPtr m_left, m_right;
};

class VQKUDMRT_API UDMOrCondition : public UDMCondition {
 public:
  UDMOrCondition(const UDMConditionPtr& left, const UDMConditionPtr& right);
  std::shared_ptr<const query::Node> GetNode() const override;

 private:
  UDMConditionPtr m_left, m_right;
};

class VQKUDMRT_API UDMNotCondition : public UDMCondition {
 public:
  explicit UDMNotCondition(const UDMConditionPtr& operand);
  std::shared_ptr<const query::Node> GetNode() const override;

 private:
  UDMConditionPtr m_operand;
};

// Entity revisions with one of these identifiers.
class VQKUDMRT_API UDMUIDCondition : public UDMCondition {
 public:
  explicit UDMUIDCondition(const vqStlVector<UDMUID>& uids);
  std::shared_ptr<const query::Node> GetNode() const override;

 private:
  vqStlVector<UDMUID> m_uids;
};

// An attribute (or a field of the query language) compared with a value: a
// number compares numerically, a string as text, a string list with UDMOpIn.
class VQKUDMRT_API UDMAttribCondition : public UDMCondition {
 public:
  UDMAttribCondition(const vqString& attribute, int op, const vqVariant& value);
  std::shared_ptr<const query::Node> GetNode() const override;

 private:
  std::shared_ptr<const query::Node> m_node;
};

// Entities of a definition: with UDMOpIsA also of the definitions derived
// from it. Raises UDMException (ExcSubOutOfRange) for another operator
// than equal, not equal or is-a.
class VQKUDMRT_API UDMContentDefCondition : public UDMCondition {
 public:
  static boost::shared_ptr<UDMContentDefCondition> CreateAndInit(const vqString& cdefName, int op);
  std::shared_ptr<const query::Node> GetNode() const override;

 protected:
  UDMContentDefCondition(const vqString& cdefName, int op);
};

// The same, for the class of definitions an entity belongs to; `ignoreCase`
// folds the name's ASCII letters.
class VQKUDMRT_API UDMClassNameCondition : public UDMContentDefCondition {
 public:
  static boost::shared_ptr<UDMClassNameCondition> CreateAndInit(const vqString& className, int op,
                                                                int ignoreCase = 0);
  bool GetIgnoreCase() const { return m_ignoreCase; }

 private:
  UDMClassNameCondition(const vqString& className, int op, bool ignoreCase);
  bool m_ignoreCase;
};

// Decided by a function of the application (a script callback): evaluated
// in memory only, so queries with it fetch candidates by the rest of the
// condition and test each.
class VQKUDMRT_API UDMTclCBCondition : public UDMCondition {
 public:
  UDMTclCBCondition(const vqString& name, std::function<bool(const UDMItem&)> callback);
  std::shared_ptr<const query::Node> GetNode() const override;

 private:
  std::shared_ptr<const query::Node> m_node;
};

class VQKUDMRT_API ConditionUtil {
 public:
  // A condition from query-language text; raises as the query parser does.
  static UDMConditionPtr FromExpression(const vqString& expression);
  // Whether `item` meets the condition (a null condition: always).
  static bool IsConditionMet(const ICondition* condition, const UDMItem& item, bool ignoreCase);
};

}  // namespace vqkudm
