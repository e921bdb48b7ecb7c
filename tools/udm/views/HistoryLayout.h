#pragma once

// An item's revisions as a graph: one row per revision, newest first, and
// each line of the item (its first line and every branch) in a lane of its
// own while it runs. The terminal graph and the pictures draw the same rows.

#include <string>
#include <vector>

#include "Attributes.h"

namespace udm {

struct HistoryRevision {
  std::string id;    // the revision's identifier
  std::string line;  // the data-model id of its line
  int revision = 0;
  std::string comment;
  std::string by;
  std::string time;  // as stored: ISO 8601, UTC
  // Its predecessor on its line, or for a branch's first revision the
  // revision it branched from; empty for the item's very first revision.
  std::string from;
  std::vector<AttributeChange> changed;

  // Filled in by LayOut.
  int row = 0;
  int lane = 0;
  int fromRow = -1;
  bool branchStart = false;  // `from` is on another line
  int fromRevision = -1;
};

struct HistoryLine {
  std::string id;
  int lane = 0;
  int top = 0;      // row of its newest revision
  int last = 0;     // row of its oldest revision
  int source = -1;  // row of the revision it branched from; -1 for the first line
  // Rows [top, end) keep the lane: a branch holds it down to its source.
  int end() const { return source >= 0 ? source : last + 1; }
};

struct HistoryLayout {
  std::vector<HistoryRevision> revisions;  // by row
  std::vector<HistoryLine> lines;          // the first line first
  int lanes = 0;
};

// Orders the revisions newest first, never a revision below the one it came
// from, and gives each line the leftmost lane free for all its rows. Refuses
// (std::invalid_argument) revisions whose `from` is unknown or that form a loop.
HistoryLayout LayOut(std::vector<HistoryRevision> revisions);

// "2026-11-24T05:08:24.919Z" as "2026-11-24 05:08:24"; other text as it is.
std::string DisplayTime(const std::string& time);
// A value as the graph shows it: text bare, unset as "∅".
std::string ValueText(const nlohmann::json& value);
// "mass: 2 → 3".
std::string ChangeText(const AttributeChange& change);
// The changes in one line, joined by ", ".
std::string ChangesText(const std::vector<AttributeChange>& changes);
// "3", or "0 (branched from 1)" for a branch's first revision.
std::string RevisionLabel(const HistoryRevision& revision);

}  // namespace udm
