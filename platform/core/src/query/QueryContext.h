#pragma once

#include <vqutl/vqString.h>

#include "QueryTree.h"

namespace vqkudm {
class UDMConfiguration;
}

namespace vqkudm::query {

// What a query is run with besides its condition.
struct Options {
  bool ignoreCase = false;
};

// Raises UDMException (ExcSubNotFound) for an attribute no definition of
// `schema` has, naming it and the query.
void CheckNames(const Node& node, const UDMConfiguration& schema, const vqString& queryText);

// Whether an item satisfies the condition, with the same meaning as the SQL
// the condition compiles to: a comparison with a number uses the attribute's
// numeric value, one with a string its text; a missing value never compares.
bool Matches(const Node& node, const UDMItem& item, const Options& options);

// Glob matching with * (any run) and ? (one character), on bytes.
bool GlobMatch(const vqString& pattern, const vqString& text);
// ASCII letters folded to lower case, the only folding both databases share.
vqString FoldCase(const vqString& text);

}  // namespace vqkudm::query
