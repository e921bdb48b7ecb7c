#pragma once

// Benchmarks come in pairs named "<work>/runtime" and "<work>/baseline"; after
// the run the reporter prints, for each pair, how many times slower the
// runtime was than the baseline.

#include <benchmark/benchmark.h>

#include <map>
#include <string>

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  std::map<std::string, std::map<std::string, double>> m_times;  // work -> side -> seconds
};

// Runs the benchmarks of the program with the ratio reporter; use as main.
int RunBenchmarksWithRatios(int argc, char** argv);
