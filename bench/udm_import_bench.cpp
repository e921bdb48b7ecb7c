// `udm import-tree` of a generated tree (files of 4 KiB to 1 MiB, spread over
// folders) run as the real binary, against copying the tree and hashing the
// copy (`cp -r` + `sha256sum`), and against `git add` + `git commit`.

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "ratio_reporter.h"

namespace fs = std::filesystem;

namespace {

// 2,000 files keep CI fast; for the 10,000-file size set this to 10000 and
// rebuild the udm_import_bench target.
constexpr int kFiles = 2000;
constexpr int kFilesPerFolder = 50;
constexpr double kSmallest = 4 << 10;
constexpr double kLargest = 1 << 20;

fs::path Root() {
  static const fs::path root = fs::temp_directory_path() / ("udm-import-bench-" + std::to_string(::getpid()));
  return root;
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) std::abort();
}

// Sizes spread evenly on a log scale, so small files dominate as in real trees.
const fs::path& Tree() {
  static const fs::path tree = [] {
    const fs::path dir = Root() / "tree";
    std::mt19937 random(42);
    std::uniform_real_distribution<double> exponent(0, 1);
    std::string bytes;
    for (int i = 0; i < kFiles; ++i) {
      const int folder = i / kFilesPerFolder;
      const fs::path parent = dir / ("group" + std::to_string(folder % 4)) / ("folder" + std::to_string(folder));
      fs::create_directories(parent);
      const auto size = static_cast<std::size_t>(kSmallest * std::pow(kLargest / kSmallest, exponent(random)));
      bytes.resize(size);
      for (char& c : bytes) c = static_cast<char>(random());
      std::ofstream(parent / ("file" + std::to_string(i) + ".bin"), std::ios::binary)
          .write(bytes.data(), static_cast<std::streamsize>(size));
    }
    return dir;
  }();
  return tree;
}

// A fresh, empty directory for one iteration's output.
fs::path Fresh(const std::string& name) {
  const fs::path dir = Root() / name;
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

void BM_ImportTree_runtime(benchmark::State& state) {
  const fs::path tree = Tree();
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path work = Fresh("udm");
    const std::string udm = "cd " + work.string() + " && NORVEL_VQK_UDMRT_DB_DIR=" + (work / "registry").string() +
                            " " + UDM_BINARY + " ";
    Run(udm + "init >/dev/null");
    state.ResumeTiming();
    Run(udm + "--quiet import-tree " + tree.string() + " >/dev/null");
  }
  state.counters["files"] = kFiles;
}

void BM_CopyAndHash_baseline(benchmark::State& state) {
  const fs::path tree = Tree();
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path copy = Fresh("copy");
    state.ResumeTiming();
    Run("cp -r " + tree.string() + " " + copy.string() + " && find " + copy.string() +
        " -type f -print0 | xargs -0 sha256sum >/dev/null");
  }
}

void BM_GitCommit_baseline(benchmark::State& state) {
  const fs::path tree = Tree();
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path work = Fresh("git");
    const std::string git = "git -C " + work.string() + " -c user.name=bench -c user.email=bench@invalid ";
    Run("cp -r " + tree.string() + "/. " + work.string() + " && " + git + "init -q");
    state.ResumeTiming();
    Run(git + "add -A && " + git + "commit -qm import");
  }
}

}  // namespace

BENCHMARK(BM_ImportTree_runtime)->Name("ImportTreeVsCp/runtime")->Unit(benchmark::kMillisecond)->Iterations(1)
    ->UseRealTime();
BENCHMARK(BM_CopyAndHash_baseline)->Name("ImportTreeVsCp/baseline")->Unit(benchmark::kMillisecond)->Iterations(1)
    ->UseRealTime();
BENCHMARK(BM_ImportTree_runtime)->Name("ImportTreeVsGit/runtime")->Unit(benchmark::kMillisecond)->Iterations(1)
    ->UseRealTime();
BENCHMARK(BM_GitCommit_baseline)->Name("ImportTreeVsGit/baseline")->Unit(benchmark::kMillisecond)->Iterations(1)
    ->UseRealTime();

int main(int argc, char** argv) {
  const int result = RunBenchmarksWithRatios(argc, argv);
  fs::remove_all(Root());
  return result;
}
