#include "views/HistoryLayout.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <queue>
#include <stdexcept>
#include <tuple>

namespace udm {

namespace {

// Oldest first; a revision is placed once the one it came from is. Among
// those ready the earliest check-in goes first, ties broken by line (in the
// order the lines were first met) and revision, so equal times stay stable.
std::vector<int> OldestFirst(const std::vector<HistoryRevision>& revisions, const std::vector<int>& from,
                             const std::vector<int>& lineOrder) {
  std::vector<std::vector<int>> next(revisions.size());
  using Key = std::tuple<std::string, int, int, int>;
  std::priority_queue<Key, std::vector<Key>, std::greater<Key>> ready;
  const auto key = [&](int i) -> Key {
    return {revisions[i].time, lineOrder[i], revisions[i].revision, i};
  };
  for (std::size_t i = 0; i < revisions.size(); ++i) {
    if (from[i] < 0) {
      ready.push(key(static_cast<int>(i)));
    } else {
      next[from[i]].push_back(static_cast<int>(i));
    }
  }
  std::vector<int> order;
  while (!ready.empty()) {
    const int i = std::get<3>(ready.top());
    ready.pop();
    order.push_back(i);
    for (int child : next[i]) ready.push(key(child));
  }
  if (order.size() != revisions.size()) {
    throw std::invalid_argument("the revisions' origins form a loop");
  }
  return order;
}

}  // namespace

HistoryLayout LayOut(std::vector<HistoryRevision> revisions) {
  std::map<std::string, int> byId;
  std::map<std::string, int> lineIndex;
  std::vector<int> lineOrder(revisions.size());
  for (std::size_t i = 0; i < revisions.size(); ++i) {
    if (!byId.emplace(revisions[i].id, static_cast<int>(i)).second) {
      throw std::invalid_argument("revision " + revisions[i].id + " is listed twice");
    }
    lineOrder[i] = lineIndex.emplace(revisions[i].line, static_cast<int>(lineIndex.size())).first->second;
  }
  std::vector<int> from(revisions.size(), -1);
  for (std::size_t i = 0; i < revisions.size(); ++i) {
    if (revisions[i].from.empty()) continue;
    const auto found = byId.find(revisions[i].from);
    if (found == byId.end()) {
      throw std::invalid_argument("revision " + revisions[i].id + " comes from " + revisions[i].from +
                                  ", which is not in the history");
    }
    from[i] = found->second;
  }

  const std::vector<int> oldestFirst = OldestFirst(revisions, from, lineOrder);
  HistoryLayout layout;
  std::vector<int> rowOf(revisions.size());
  for (std::size_t k = 0; k < oldestFirst.size(); ++k) rowOf[oldestFirst[k]] = static_cast<int>(oldestFirst.size() - 1 - k);

  // Lines in the order their rows are reached from the top, the first line
  // (the one nothing came before) first so that it keeps the leftmost lane.
  std::map<std::string, int> lineAt;
  for (int k = static_cast<int>(oldestFirst.size()) - 1; k >= 0; --k) {
    const int i = oldestFirst[k];
    auto [entry, added] = lineAt.emplace(revisions[i].line, static_cast<int>(layout.lines.size()));
    if (added) {
      HistoryLine line;
      line.id = revisions[i].line;
      line.top = line.last = rowOf[i];
      layout.lines.push_back(line);
    }
    HistoryLine& line = layout.lines[entry->second];
    line.last = std::max(line.last, rowOf[i]);
    if (from[i] >= 0 && revisions[from[i]].line != revisions[i].line) {
      line.source = std::max(line.source, rowOf[from[i]]);
    }
  }
  for (std::size_t i = 0; i < revisions.size(); ++i) {
    if (from[i] >= 0) continue;
    const auto first = std::find_if(layout.lines.begin(), layout.lines.end(),
                                    [&](const HistoryLine& line) { return line.id == revisions[i].line; });
    std::rotate(layout.lines.begin(), first, first + 1);
    break;
  }

  // Where each lane is free again: the row below the last line that held it.
  std::vector<int> freeFrom;
  for (std::size_t l = 0; l < layout.lines.size(); ++l) {
    HistoryLine& line = layout.lines[l];
    lineAt[line.id] = static_cast<int>(l);
    std::size_t lane = l == 0 ? 0 : 1;
    while (lane < freeFrom.size() && freeFrom[lane] > line.top) ++lane;
    if (lane == freeFrom.size()) freeFrom.push_back(0);
    freeFrom[lane] = line.end() + 1;
    line.lane = static_cast<int>(lane);
  }
  layout.lanes = static_cast<int>(freeFrom.size());

  for (std::size_t i = 0; i < revisions.size(); ++i) {
    HistoryRevision& revision = revisions[i];
    revision.row = rowOf[i];
    revision.lane = layout.lines[lineAt[revision.line]].lane;
    if (from[i] >= 0) {
      revision.fromRow = rowOf[from[i]];
      revision.branchStart = revisions[from[i]].line != revision.line;
      revision.fromRevision = revisions[from[i]].revision;
    }
  }
  std::sort(revisions.begin(), revisions.end(),
            [](const HistoryRevision& a, const HistoryRevision& b) { return a.row < b.row; });
  layout.revisions = std::move(revisions);
  return layout;
}

std::string DisplayTime(const std::string& time) {
  // YYYY-MM-DDTHH:MM:SS[.fff]Z
  if (time.size() < 20 || time[10] != 'T' || time.back() != 'Z') return time;
  return time.substr(0, 10) + " " + time.substr(11, 8);
}

std::string ValueText(const nlohmann::json& value) {
  if (value.is_null()) return "\xE2\x88\x85";
  if (value.is_string()) return value.get<std::string>();
  // 2.0 reads better as 2; the JSON document keeps the stored type.
  if (value.is_number_float() && std::abs(value.get<double>()) < 1e15 &&
      value.get<double>() == std::trunc(value.get<double>())) {
    return std::to_string(static_cast<long long>(value.get<double>()));
  }
  return value.dump();
}

std::string ChangeText(const AttributeChange& change) {
  return change.name + ": " + ValueText(change.before) + " \xE2\x86\x92 " + ValueText(change.after);
}

std::string ChangesText(const std::vector<AttributeChange>& changes) {
  std::string out;
  for (const AttributeChange& change : changes) out += (out.empty() ? "" : ", ") + ChangeText(change);
  return out;
}

std::string RevisionLabel(const HistoryRevision& revision) {
  return std::to_string(revision.revision) +
         (revision.branchStart ? " (branched from " + std::to_string(revision.fromRevision) + ")" : "");
}

}  // namespace udm
