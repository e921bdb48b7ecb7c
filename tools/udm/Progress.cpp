#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "Output.h"
#include "Tool.h"

namespace udm {

namespace {

constexpr auto kRedrawEvery = std::chrono::milliseconds(200);
constexpr int kBarWidth = 20;

std::string Duration(double seconds) {
  const long whole = std::lround(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
  return text;
}

}  // namespace

bool Progress::Wanted(const Options& options) { return !options.json && !options.quiet && ::isatty(STDERR_FILENO); }

Progress::Progress(bool shown, const ProgressCounts& total)
    : m_shown(shown), m_total(total), m_start(std::chrono::steady_clock::now()) {}

Progress::~Progress() { Finish(); }

void Progress::Advance(const ProgressCounts& done) {
  m_done.items += done.items;
  m_done.files += done.files;
  m_done.bytes += done.bytes;
  if (!m_shown) return;
  const auto now = std::chrono::steady_clock::now();
  if (m_drawn && now - m_lastDrawn < kRedrawEvery) return;
  m_lastDrawn = now;
  Draw(Line(m_done, m_total, now - m_start));
}

void Progress::Reach(const ProgressCounts& done, const ProgressCounts& total) {
  m_total = total;
  m_done = {};
  Advance(done);
}

void Progress::Phase(const std::string& name) {
  if (m_shown) Draw(name + "...");
}

void Progress::Finish() {
  if (!m_drawn) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  m_drawn = false;
}

std::string Progress::Line(const ProgressCounts& done, const ProgressCounts& total,
                           std::chrono::duration<double> elapsed) {
  // Bytes are what takes the time; without them (an empty tree, a package's
  // contents) files set the pace.
  const bool byBytes = total.bytes > 0;
  const double doneUnits = static_cast<double>(byBytes ? done.bytes : done.files);
  const double totalUnits = static_cast<double>(byBytes ? total.bytes : total.files);
  const double share = totalUnits > 0 ? doneUnits / totalUnits : 1.0;
  const int filled = static_cast<int>(std::min(1.0, share) * kBarWidth);
  const double seconds = elapsed.count();
  const double rate = seconds > 0 ? doneUnits / seconds : 0;
  std::string line = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '-') + "] ";
  if (total.items > 0) line += std::to_string(done.items) + "/" + std::to_string(total.items) + " items, ";
  line += std::to_string(done.files) + "/" + std::to_string(total.files) + " files";
  if (byBytes) line += ", " + HumanBytes(doneUnits) + "/" + HumanBytes(totalUnits);
  if (rate > 0) {
    char perSecond[32];
    std::snprintf(perSecond, sizeof perSecond, "%.0f files/s", rate);
    line += ", " + (byBytes ? HumanBytes(rate) + "/s" : std::string(perSecond)) + ", " +
            Duration(std::max(0.0, totalUnits - doneUnits) / rate) + " left";
  }
  return line;
}

void Progress::Draw(const std::string& line) {
  std::fprintf(stderr, "\r%s\033[K", line.c_str());
  std::fflush(stderr);
  m_drawn = true;
}

}  // namespace udm
