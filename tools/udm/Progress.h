#pragma once

// A one-line progress bar on stderr for commands that move many files:
// items, files and bytes done of the total (those the work knows), the rate
// and the time left.
// Redrawn at most a few times a second; drawn only when Wanted.

#include <chrono>
#include <cstdint>
#include <string>

namespace udm {

struct Options;

struct ProgressCounts {
  std::uint64_t items = 0;
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

class Progress {
 public:
  // Whether a command should draw one: not under --json or --quiet, and only
  // when stderr is a terminal.
  static bool Wanted(const Options& options);

  // Draws nothing unless `shown`.
  Progress(bool shown, const ProgressCounts& total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Counts `done` more and redraws when the last drawing is old enough.
  void Advance(const ProgressCounts& done);
  // Sets the counts to `done` of `total`, for work that reports where it
  // stands rather than what it did last.
  void Reach(const ProgressCounts& done, const ProgressCounts& total);
  // Replaces the counts with a phase's name ("checking in"), drawn at once.
  void Phase(const std::string& name);
  // Erases the bar.
  void Finish();

  // The line drawn for `done` of `total` after `elapsed`.
  static std::string Line(const ProgressCounts& done, const ProgressCounts& total, std::chrono::duration<double> elapsed);

 private:
  void Draw(const std::string& line);

  bool m_shown;
  bool m_drawn = false;
  ProgressCounts m_total;
  ProgressCounts m_done;
  std::chrono::steady_clock::time_point m_start;
  std::chrono::steady_clock::time_point m_lastDrawn;
};

}  // namespace udm
