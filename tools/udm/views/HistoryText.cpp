#include "views/HistoryText.h"

#include <ostream>
#include <string>
#include <vector>

namespace udm {

namespace {

const char* const kLaneColours[] = {"\033[31m", "\033[32m", "\033[33m", "\033[34m", "\033[35m", "\033[36m"};
constexpr const char* kReset = "\033[0m";
constexpr const char* kBold = "\033[1m";
constexpr const char* kDim = "\033[2m";
constexpr const char* kRed = "\033[31m";
constexpr const char* kGreen = "\033[32m";
constexpr const char* kCyan = "\033[36m";
constexpr const char* kYellow = "\033[33m";

// One character of the graph and the lane whose colour it takes.
struct Cell {
  char glyph = ' ';
  int lane = -1;
};

class Writer {
 public:
  Writer(std::ostream& out, const HistoryLayout& layout, bool colour)
      : m_out(out), m_layout(layout), m_colour(colour) {}

  void Write() {
    const std::vector<HistoryRevision>& revisions = m_layout.revisions;
    for (std::size_t r = 0; r < revisions.size(); ++r) {
      const int row = static_cast<int>(r);
      const HistoryRevision& revision = revisions[r];
      std::vector<Cell> cells = Lanes(row, false);
      cells[2 * revision.lane] = {'*', revision.lane};
      m_out << Graph(cells) << " " << Paint(kBold, kYellow, RevisionLabel(revision)) << "  " << Paint(kGreen, DisplayTime(revision.time))
            << "  " << Paint(kCyan, revision.by) << "  " << revision.comment << "\n";

      m_out << Graph(Lanes(row, true)) << "   " << Paint(kDim, revision.id);
      for (std::size_t c = 0; c < revision.changed.size(); ++c) {
        const AttributeChange& change = revision.changed[c];
        m_out << (c == 0 ? "  " : ", ");
        m_out << change.name << ": " << Paint(kRed, ValueText(change.before)) << " \xE2\x86\x92 "
              << Paint(kGreen, ValueText(change.after));
      }
      m_out << "\n";
      if (MergesBelow(row)) {
        std::string connector = Graph(Connector(row));
        connector.erase(connector.find_last_not_of(' ') + 1);
        m_out << connector << "\n";
      }
    }
  }

 private:
  // The lanes held at `row`, or (`gap`) between it and the next row.
  std::vector<Cell> Lanes(int row, bool gap) const {
    std::vector<Cell> cells(2 * m_layout.lanes);
    for (const HistoryLine& line : m_layout.lines) {
      const bool held = gap ? line.top <= row && row + 1 < line.end() + (line.source >= 0 ? 1 : 0)
                            : line.top <= row && row < line.end();
      if (held) cells[2 * line.lane] = {'|', line.lane};
    }
    return cells;
  }

  bool MergesBelow(int row) const {
    for (const HistoryLine& line : m_layout.lines) {
      if (line.source == row + 1) return true;
    }
    return false;
  }

  // The branches that started from the next row running into its lane.
  std::vector<Cell> Connector(int row) const {
    std::vector<Cell> cells = Lanes(row, true);
    std::vector<const HistoryLine*> merging;
    for (const HistoryLine& line : m_layout.lines) {
      if (line.source != row + 1) continue;
      cells[2 * line.lane] = {};
      merging.push_back(&line);
    }
    const int target = m_layout.revisions[row + 1].lane;
    for (const HistoryLine* line : merging) {
      const int lane = line->lane;
      const bool right = lane > target;
      const int slash = right ? 2 * lane - 1 : 2 * lane + 1;
      cells[slash] = {right ? '/' : '\\', lane};
      const int from = right ? 2 * target + 1 : slash + 1;
      const int to = right ? slash : 2 * target;
      for (int c = from; c < to; ++c) {
        if (cells[c].glyph == ' ') cells[c] = {'_', lane};
      }
    }
    return cells;
  }

  std::string Graph(const std::vector<Cell>& cells) const {
    std::string out;
    for (const Cell& cell : cells) {
      if (m_colour && cell.lane >= 0) {
        out += std::string(kLaneColours[cell.lane % 6]) + (cell.glyph == '*' ? kBold : "") + cell.glyph + kReset;
      } else {
        out += cell.glyph;
      }
    }
    return out;
  }

  std::string Paint(const char* style, const std::string& text) const {
    return m_colour ? style + text + kReset : text;
  }
  std::string Paint(const char* first, const char* second, const std::string& text) const {
    return m_colour ? std::string(first) + second + text + kReset : text;
  }

  std::ostream& m_out;
  const HistoryLayout& m_layout;
  bool m_colour;
};

}  // namespace

void WriteHistoryText(std::ostream& out, const HistoryLayout& layout, bool colour) {
  Writer(out, layout, colour).Write();
}

}  // namespace udm
