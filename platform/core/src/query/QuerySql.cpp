#include "QuerySql.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMQuerySettings.h>

#include "../store/RecordColumns.h"

namespace vqkudm::query {

namespace {

class Compiler {
 public:
  Compiler(const Options& options, const UDMConfiguration& schema, const store::SqlDialect& dialect)
      : m_options(options), m_schema(schema), m_dialect(dialect) {}

  // `mayDrive`: this condition is a necessary part of the whole (the root or
  // a conjunct of it), so one attribute comparison may select the candidate
  // revisions from its index, the others then test each candidate.
  vqString Condition(const Node& node, vqStlVector<vqVariant>& params, bool mayDrive) {
    switch (node.kind) {
      case Node::And: return Conjunction(node, params, mayDrive);
      case Node::Or: {
        vqString sql = "(";
        for (std::size_t i = 0; i < node.children.size(); ++i) {
          if (i) sql += " OR ";
          sql += Condition(*node.children[i], params, false);
        }
        return sql + ")";
      }
      case Node::Not: return "NOT " + Condition(*node.children.front(), params, false);
      case Node::Callback: return "1 = 1";
      case Node::Compare: break;
    }
    if (node.field == Field::Attribute) return AttributeCondition({&node}, params, mayDrive);
    if (mayDrive && node.field == Field::Name && (node.op == Op::Equal || node.op == Op::In || node.op == Op::Like)) {
      m_narrowed = true;
    }
    return Comparison(node, Column(node.field), IsNumericField(node.field), params);
  }

  // Whether an index of a condition compiled so far finds the candidates (an
  // attribute comparison, the name) rather than every revision being tested.
  bool Narrowed() const { return m_narrowed; }

 private:
  // Comparisons of one attribute, all of one kind (numeric or text): each
  // revision has at most one value per attribute, so together they are one
  // test of that value.
  vqString AttributeCondition(const std::vector<const Node*>& nodes, vqStlVector<vqVariant>& params, bool drive) {
    const bool numeric = nodes.front()->values.front().GetDouble() != nullptr;
    const vqString column = numeric ? "a.num_value" : "a.text_value";
    params.push_back(nodes.front()->attribute);
    m_narrowed = m_narrowed || drive;
    vqString sql = drive ? "r.uid IN (SELECT a.uid FROM udm_attribute a WHERE a.name = ?"
                         : "EXISTS (SELECT 1 FROM udm_attribute a WHERE a.uid = r.uid AND a.name = ?";
    for (const Node* node : nodes) sql += " AND " + Comparison(*node, column, numeric, params);
    return sql + ")";
  }

  // How narrow a group of comparisons probably is, without statistics: a
  // bounded numeric range or an equality beats a text equality beats the rest.
  static int Narrowness(const std::vector<const Node*>& nodes) {
    bool lower = false, upper = false, equal = false;
    for (const Node* node : nodes) {
      equal = equal || node->op == Op::Equal || node->op == Op::In;
      lower = lower || node->op == Op::Greater || node->op == Op::GreaterEqual;
      upper = upper || node->op == Op::Less || node->op == Op::LessEqual;
    }
    const bool numeric = nodes.front()->values.front().GetDouble() != nullptr;
    if (numeric && (equal || (lower && upper))) return 3;
    if (equal) return 2;
    return 1;
  }

  vqString Conjunction(const Node& node, vqStlVector<vqVariant>& params, bool mayDrive) {
    auto groupable = [&](const Node& child) {
      return child.kind == Node::Compare && child.field == Field::Attribute && !child.foldCase &&
             !m_options.ignoreCase && child.op != Op::Like && child.op != Op::IsA && child.op != Op::NotEqual;
    };
    // Group the attribute comparisons; remember where each group starts.
    std::vector<std::vector<const Node*>> groups;
    std::vector<int> groupAt(node.children.size(), -1);
    for (std::size_t i = 0; i < node.children.size(); ++i) {
      const Node& child = *node.children[i];
      if (!groupable(child)) continue;
      const bool numeric = child.values.front().GetDouble() != nullptr;
      int found = -1;
      for (std::size_t g = 0; g < groups.size() && child.op != Op::In; ++g) {
        const Node& first = *groups[g].front();
        if (first.op != Op::In && first.attribute == child.attribute &&
            (first.values.front().GetDouble() != nullptr) == numeric) {
          found = static_cast<int>(g);
        }
      }
      if (found < 0) {
        groups.push_back({&child});
        groupAt[i] = static_cast<int>(groups.size() - 1);
      } else {
        groups[static_cast<std::size_t>(found)].push_back(&child);
      }
    }
    int driver = -1;
    for (std::size_t g = 0; mayDrive && g < groups.size(); ++g) {
      if (driver < 0 || Narrowness(groups[g]) > Narrowness(groups[static_cast<std::size_t>(driver)])) {
        driver = static_cast<int>(g);
      }
    }
    vqString sql = "(";
    bool first = true;
    for (std::size_t i = 0; i < node.children.size(); ++i) {
      const Node& child = *node.children[i];
      const bool grouped = groupable(child);
      if (grouped && groupAt[i] < 0) continue;  // written with its group
      if (!first) sql += " AND ";
      first = false;
      if (grouped) {
        sql += AttributeCondition(groups[static_cast<std::size_t>(groupAt[i])], params, groupAt[i] == driver);
      } else {
        sql += Condition(child, params, false);
      }
    }
    return sql + ")";
  }

 public:
  // The ASCII-folded form of a text expression.
  vqString Fold(const vqString& expression) const { return m_dialect.foldOpen + expression + m_dialect.foldClose; }
  vqString Text(const vqString& column, bool fold) const {
    return fold ? Fold(column) + m_dialect.textCollation : column + m_dialect.textCollation;
  }

  static vqString Column(Field field) {
    switch (field) {
      case Field::Cdef: return "e.cdef";
      case Field::Class: return "e.class";
      case Field::Name: return "r.name";
      case Field::Uid: return "r.uid";
      case Field::Revision: return "r.revision";
      case Field::CreatedBy: return "e.created_by";
      case Field::Created: return "e.created_time";
      case Field::ModifiedBy: return "r.modified_by";
      case Field::Modified: return "r.modified_time";
      case Field::Comment: return "r.comment";
      case Field::Attribute: break;
    }
    return "NULL";
  }

 private:
  vqString Comparison(const Node& node, const vqString& column, bool numeric, vqStlVector<vqVariant>& params) {
    const bool fold = !numeric && (m_options.ignoreCase || node.foldCase);
    auto literal = [&](const vqVariant& value) {
      params.push_back(numeric || !fold ? value : vqVariant(FoldCase(*value.GetString())));
      return vqString("?");
    };
    const vqString lhs = numeric ? column : Text(column, fold);
    switch (node.op) {
      case Op::In: {
        vqString sql = lhs + " IN (";
        for (std::size_t i = 0; i < node.values.size(); ++i) sql += (i ? ", " : "") + literal(node.values[i]);
        return sql + ")";
      }
      case Op::Like: return Like(fold ? Fold(column) : column, *node.values.front().GetString(), fold, params);
      case Op::IsA: {
        // The definition and every definition derived from it, by name.
        const vqString wanted = *node.values.front().GetString();
        vqString sql = lhs + " IN (" + literal(node.values.front());
        if (node.field == Field::Cdef) {
          for (const auto& definition : m_schema.GetContentDefinitions()) {
            for (auto base = definition->GetBaseDefinition(); base; base = base->GetBaseDefinition()) {
              const bool same = fold ? FoldCase(base->GetType()) == FoldCase(wanted) : base->GetType() == wanted;
              if (!same) continue;
              sql += ", " + literal(vqVariant(definition->GetType()));
              break;
            }
          }
        }
        return sql + ")";
      }
      default: break;
    }
    static const char* const ops[] = {"=", "<>", "<", "<=", ">", ">="};
    return lhs + " " + ops[static_cast<int>(node.op)] + " " + literal(node.values.front());
  }

  vqString Like(const vqString& column, const vqString& pattern, bool fold, vqStlVector<vqVariant>& params) {
    const vqString text = fold ? FoldCase(pattern) : pattern;
    vqString translated;
    if (m_dialect.matchWithGlob) {
      for (char c : text) translated += c == '[' ? vqString("[[]") : vqString(1, c);
      params.push_back(translated);
      return column + " GLOB ?";
    }
    for (char c : text) {
      if (c == '*') {
        translated += '%';
      } else if (c == '?') {
        translated += '_';
      } else {
        if (c == '%' || c == '_' || c == '\\') translated += '\\';
        translated += c;
      }
    }
    params.push_back(translated);
    return column + m_dialect.textCollation + " LIKE ? ESCAPE '\\'";
  }

  const Options& m_options;
  const UDMConfiguration& m_schema;
  const store::SqlDialect& m_dialect;
  bool m_narrowed = false;
};

}  // namespace

bool NeedsMemory(const Node& node) {
  if (node.kind == Node::Callback) return true;
  for (const NodePtr& child : node.children) {
    if (NeedsMemory(*child)) return true;
  }
  return false;
}

bool FirstKeyIsAttribute(const UDMQuerySettings* settings) {
  return settings && !settings->GetSortByCdefName() && !settings->GetSortByCdefDispName() &&
         settings->GetSortByMetadataNr() > 0 && FieldOf(settings->GetSortByMetadataName(0)) == Field::Attribute;
}

SqlStatement CompileSelect(const Node* node, const Scope& scope, const Options& options,
                           const UDMQuerySettings* settings, const UDMConfiguration& schema,
                           const store::SqlDialect& dialect, Shape shape, KeyPart part) {
  if (part != KeyPart::All && !FirstKeyIsAttribute(settings)) {
    ThrowInvalidArgException(UDM_FUNCSIG, "a query part by the first sort key needs an attribute as that key",
                             ExcSubGeneral);
  }
  const bool countOnly = shape == Shape::Count;
  Compiler compiler(options, schema, dialect);
  SqlStatement out;
  vqStlVector<vqVariant> joinParams, whereParams, orderParams;
  vqString joins, order;
  vqString where = " WHERE e.class <> ?";
  if (part != KeyPart::All) {
    const vqString& key = settings->GetSortByMetadataName(0);
    if (part == KeyPart::WithFirstKey) {
      joins += " JOIN udm_attribute s0 ON s0.uid = r.uid AND s0.name = ?";
      joinParams.push_back(key);
    } else {
      where = " WHERE NOT EXISTS (SELECT 1 FROM udm_attribute s0 WHERE s0.uid = r.uid AND s0.name = ?) AND e.class <> ?";
      whereParams.push_back(key);
    }
  }
  if (settings && !countOnly) {
    // Sort keys first: their joins come before the WHERE clause.
    auto direction = [](bool descending) { return vqString(descending ? " DESC" : " ASC"); };
    if (settings->GetSortByCdefName()) {
      order += compiler.Text("e.cdef", options.ignoreCase) + direction(settings->GetSortByCdefNameDescending()) + ", ";
    }
    if (settings->GetSortByCdefDispName()) {
      vqString byDisplay = "CASE e.cdef";
      for (const auto& definition : schema.GetContentDefinitions()) {
        byDisplay += " WHEN ? THEN ?";
        orderParams.push_back(definition->GetType());
        vqString display;
        definition->DisplayName(display);
        orderParams.push_back(options.ignoreCase ? FoldCase(display) : display);
      }
      byDisplay += " ELSE e.cdef END";
      order += byDisplay + dialect.textCollation + direction(settings->GetSortByCdefDispNameDescending()) + ", ";
    }
    for (std::uint64_t i = 0; i < settings->GetSortByMetadataNr(); ++i) {
      const vqString dir = direction(settings->GetSortByMetadataIsDescending(i));
      // The name, users and times are columns of their own, not attribute rows.
      const Field field = FieldOf(settings->GetSortByMetadataName(i));
      if (field != Field::Attribute) {
        const vqString column = Compiler::Column(field);
        order += (IsNumericField(field) ? column : compiler.Text(column, options.ignoreCase)) + dir + ", ";
        continue;
      }
      const vqString alias = "s" + std::to_string(i);
      if (i == 0 && part == KeyPart::WithoutFirstKey) continue;
      if (i > 0 || part == KeyPart::All) {
        joins += " LEFT JOIN udm_attribute " + alias + " ON " + alias + ".uid = r.uid AND " + alias + ".name = ?";
        joinParams.push_back(settings->GetSortByMetadataName(i));
        // Entities without the attribute come last either way, on every database.
        order += "(" + alias + ".text_value IS NULL) ASC, ";
      }
      order += alias + ".num_value" + dir + ", " + compiler.Text(alias + ".text_value", options.ignoreCase) + dir + ", ";
    }
  }
  whereParams.push_back(kClassRelation);
  if (!scope.allRevisions) where += " AND r.revision = e.latest_rev";
  if (!scope.includeDeleted) where += " AND e.deleted = 0";
  if (!scope.searchInExcluded) {
    for (const auto& definition : schema.GetContentDefinitions()) {
      if (!definition->GetMetaFlag(kKeyExcludeinsearch)) continue;
      where += " AND e.cdef <> ?";
      whereParams.push_back(definition->GetType());
    }
  }
  if (node) where += " AND " + compiler.Condition(*node, whereParams, true);
  out.narrowed = compiler.Narrowed();

  // The conditions' subqueries name their attribute rows "a" too: theirs
  // shadow the records' own within them.
  static const char* const columns[] = {"SELECT r.uid, e.cdef, r.name, e.deleted", "SELECT count(*)",
                                        "SELECT '' AS grp, 0 AS lvl, 0 AS uses," UDM_RECORD_COLUMNS};
  if (shape == Shape::Records) joins = " LEFT JOIN udm_attribute a ON a.uid = r.uid" + joins;
  out.sql = vqString(columns[static_cast<int>(shape)]) +
            " FROM udm_entity e JOIN udm_revision r ON r.dmid = e.dmid AND r.state = 0" + joins + where;
  if (shape == Shape::Records) {
    // Sorted on the revision alone, a record's attribute rows stay together.
    out.sql += " ORDER BY " + order + dialect.sortOnly + "r.dmid, " + dialect.sortOnly + "r.revision";
  } else if (!countOnly) {
    out.sql += " ORDER BY " + order + "r.dmid, r.revision";
  }
  for (auto* part : {&joinParams, &whereParams, &orderParams}) {
    out.params.insert(out.params.end(), part->begin(), part->end());
  }
  return out;
}

}  // namespace vqkudm::query
