#pragma once

// The history graph as a picture: one node per revision, each line of the
// item in its lane, the revision's number, date, user, comment and changed
// attributes beside it.

#include <string>

#include "views/HistoryLayout.h"

namespace udm {

// A standalone SVG document; each node's tooltip holds its details.
std::string HistorySvg(const HistoryLayout& layout, const std::string& title);
// A self-contained XHTML page around the picture that shows a node's
// details on hover; it loads nothing from elsewhere.
std::string HistoryHtml(const HistoryLayout& layout, const std::string& title);

}  // namespace udm
