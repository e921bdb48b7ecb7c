#pragma once

// The history graph for a terminal, in the manner of `git log --graph`.

#include <iosfwd>

#include "views/HistoryLayout.h"

namespace udm {

// Two lines per revision: "* REV  TIME  USER  COMMENT", then its identifier
// and changed attributes; `colour` adds ANSI colours (lanes, fields, values).
void WriteHistoryText(std::ostream& out, const HistoryLayout& layout, bool colour);

}  // namespace udm
