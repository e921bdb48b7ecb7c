// A Python loop through the vqkudm package against the same work through
// the C++ profile: the create-and-persist workload of profile_bench. Both
// sides time only the work, not opening the repository nor (for Python)
// starting the interpreter.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include <vqkudm/UDMProfileMgr.h>

#include "profile_workload.h"
#include "ratio_reporter.h"

namespace fs = std::filesystem;

namespace {

// The seconds the Python side reports for `count` parts.
double RunPython(const fs::path& dir, int count) {
  const std::string command = "PYTHONPATH='" PYTHON_PACKAGE_DIR "' '" PYTHON_EXECUTABLE "' '" PYTHON_WORKLOAD
                              "' '" + dir.string() + "' " + std::to_string(count);
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  if (!pipe) throw std::runtime_error("cannot run " + command);
  char line[64] = {};
  if (!std::fgets(line, sizeof line, pipe.get())) throw std::runtime_error("no time from " + command);
  if (::pclose(pipe.release()) != 0) throw std::runtime_error(command + " failed");
  return std::strtod(line, nullptr);
}

void BM_PythonCreateAndPersist_runtime(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    const fs::path dir = FreshProfileDirectory("python");
    state.SetIterationTime(RunPython(dir, count));
    fs::remove_all(dir);
  }
  state.SetItemsProcessed(state.iterations() * count);
}

void BM_PythonCreateAndPersist_baseline(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    const fs::path dir = FreshProfileDirectory("cpp");
    boost::shared_ptr<vqkudm::IUDMProfile> profile = OpenBenchProfile(dir);
    const auto start = std::chrono::steady_clock::now();
    CreateAndPersistThroughProfile(*profile, count);
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    vqkudm::UDMProfileMgr::DiscardProfile(profile);
    fs::remove_all(dir);
  }
  state.SetItemsProcessed(state.iterations() * count);
}

}  // namespace

BENCHMARK(BM_PythonCreateAndPersist_runtime)->Name("PythonCreateAndPersist/runtime")->Arg(20000)
    ->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_PythonCreateAndPersist_baseline)->Name("PythonCreateAndPersist/baseline")->Arg(20000)
    ->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

int main(int argc, char** argv) { return RunBenchmarksWithRatios(argc, argv); }
