#include "ratio_reporter.h"

#include <cstdio>

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
    const std::string name = run.benchmark_name();
    for (const char* side : {"/runtime", "/baseline"}) {
      const std::size_t at = name.find(side);
      if (at == std::string::npos) continue;
      const std::string work = name.substr(0, at) + name.substr(at + std::string(side).size());
      m_times[work][side + 1] = run.GetAdjustedRealTime();
    }
  }
}

void RatioReporter::Finalize() {
  ConsoleReporter::Finalize();
  std::printf("\n%-60s %12s\n", "work", "runtime/baseline");
  for (const auto& [work, sides] : m_times) {
    auto runtime = sides.find("runtime");
    auto baseline = sides.find("baseline");
    if (runtime == sides.end() || baseline == sides.end() || baseline->second <= 0) continue;
    std::printf("%-60s %11.2fx\n", work.c_str(), runtime->second / baseline->second);
  }
}

int RunBenchmarksWithRatios(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
