// Checking files in: the runtime (hash while copying into the vault, sync,
// record) against copying the same files with cp, hashing them once and
// syncing the copies to disk, which the runtime's durability requires too;
// and a history of ten revisions whose files change 10% per revision, whose
// vault growth must be the changed bytes only, against the same history in git.

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sodium.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include <boost/make_shared.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include "ratio_reporter.h"
#include "workload.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

const fs::path& Root() {
  static const fs::path root = fs::temp_directory_path() / ("udm-file-bench-" + std::to_string(::getpid()));
  return root;
}

void WriteRandom(const fs::path& path, std::size_t size, unsigned seed) {
  std::mt19937_64 random(seed);
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i + 8 <= size; i += 8) {
    const std::uint64_t word = random();
    std::memcpy(&bytes[i], &word, 8);
  }
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// `count` files of `size` bytes, made once per shape.
std::vector<fs::path> SourceFiles(int count, std::size_t size) {
  const fs::path dir = Root() / ("src-" + std::to_string(count) + "x" + std::to_string(size));
  std::vector<fs::path> files;
  const bool made = fs::exists(dir);
  fs::create_directories(dir);
  for (int i = 0; i < count; ++i) {
    files.push_back(dir / ("file-" + std::to_string(i) + ".bin"));
    if (!made) WriteRandom(files.back(), size, static_cast<unsigned>(i));
  }
  return files;
}

std::uintmax_t DirectoryBytes(const fs::path& dir) {
  std::uintmax_t total = 0;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    if (entry.is_regular_file()) total += entry.file_size();
  }
  return total;
}

void BM_CheckInFiles_runtime(benchmark::State& state) {
  const std::vector<fs::path> files = SourceFiles(static_cast<int>(state.range(0)), state.range(1));
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path dir = Root() / "repo";
    fs::remove_all(dir);
    boost::shared_ptr<IUDMSession> session = OpenBenchSession(dir.string());
    state.ResumeTiming();

    UDMItemPtr part = session->CreateEntity(kClassPart, "files", UDMUID());
    for (const fs::path& file : files) part->AddFile(file.string(), true, false, "");
    part->Persist("bench", GDM_RECURSE_NONE, -1, false, true);

    state.PauseTiming();
    UDMFramework::GetInstance()->DeleteSession(session);
    fs::remove_all(dir);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) * state.range(1));
}

void BM_CheckInFiles_baseline(benchmark::State& state) {
  const std::vector<fs::path> files = SourceFiles(static_cast<int>(state.range(0)), state.range(1));
  std::vector<char> buffer(1 << 20);
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path dir = Root() / "copy";
    fs::remove_all(dir);
    fs::create_directories(dir);
    state.ResumeTiming();

    const std::string command = "cp " + (files.front().parent_path() / "*").string() + " " + dir.string();
    if (std::system(command.c_str()) != 0) std::abort();
    for (const fs::path& file : files) {
      crypto_generichash_state hash;
      crypto_generichash_init(&hash, nullptr, 0, 32);
      std::ifstream in(file, std::ios::binary);
      while (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || in.gcount() > 0) {
        crypto_generichash_update(&hash, reinterpret_cast<unsigned char*>(buffer.data()),
                                  static_cast<unsigned long long>(in.gcount()));
      }
      unsigned char digest[32];
      crypto_generichash_final(&hash, digest, sizeof digest);
      benchmark::DoNotOptimize(digest);
    }
    const int directory = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY);
    if (directory < 0 || ::syncfs(directory) != 0) std::abort();
    ::close(directory);

    state.PauseTiming();
    fs::remove_all(dir);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) * state.range(1));
}

constexpr int kHistoryFiles = 1000;
constexpr std::size_t kHistoryFileSize = 16 * 1024;
constexpr int kRevisions = 10;

// Rewrites every tenth file (a different tenth each revision) in `work`.
std::uintmax_t ChangeTenth(const fs::path& work, int revision) {
  std::uintmax_t changed = 0;
  for (int i = revision % 10; i < kHistoryFiles; i += 10) {
    WriteRandom(work / ("f" + std::to_string(i)), kHistoryFileSize, static_cast<unsigned>(revision * 7919 + i));
    changed += kHistoryFileSize;
  }
  return changed;
}

fs::path FreshWorkTree() {
  const fs::path work = Root() / "work";
  fs::remove_all(work);
  fs::create_directories(work);
  for (int i = 0; i < kHistoryFiles; ++i) WriteRandom(work / ("f" + std::to_string(i)), kHistoryFileSize, i);
  return work;
}

void BM_TenRevisionsTenPercentChanged_runtime(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path work = FreshWorkTree();
    const fs::path dir = Root() / "repo";
    fs::remove_all(dir);
    boost::shared_ptr<IUDMSession> session = OpenBenchSession(dir.string());
    UDMItemPtr part = session->CreateEntity(kClassPart, "history", UDMUID());
    for (int i = 0; i < kHistoryFiles; ++i) part->AddFile((work / ("f" + std::to_string(i))).string(), true, false, "");
    part->Persist("initial", GDM_RECURSE_NONE, -1, false, true);
    const std::uintmax_t before = DirectoryBytes(dir / "bench" / "vault");
    std::uintmax_t changed = 0;
    state.ResumeTiming();

    for (int revision = 1; revision <= kRevisions; ++revision) {
      state.PauseTiming();
      changed += ChangeTenth(work, revision);
      state.ResumeTiming();
      part->CheckOut("");
      for (int i = revision % 10; i < kHistoryFiles; i += 10) part->UpdateFile((work / ("f" + std::to_string(i))).string());
      part->Persist("revision", GDM_RECURSE_NONE, -1, false, true);
    }

    state.PauseTiming();
    const std::uintmax_t growth = DirectoryBytes(dir / "bench" / "vault") - before;
    state.counters["vault_growth_per_changed_byte"] = static_cast<double>(growth) / static_cast<double>(changed);
    UDMFramework::GetInstance()->DeleteSession(session);
    fs::remove_all(dir);
    state.ResumeTiming();
  }
}

void BM_TenRevisionsTenPercentChanged_baseline(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path work = FreshWorkTree();
    const std::string git = "git -C " + work.string() + " -c user.name=bench -c user.email=bench@invalid ";
    if (std::system((git + "init -q && " + git + "add -A && " + git + "commit -qm initial").c_str()) != 0) {
      std::abort();
    }
    state.ResumeTiming();

    for (int revision = 1; revision <= kRevisions; ++revision) {
      state.PauseTiming();
      ChangeTenth(work, revision);
      state.ResumeTiming();
      if (std::system((git + "add -A && " + git + "commit -qm revision").c_str()) != 0) std::abort();
    }
  }
}

}  // namespace

BENCHMARK(BM_CheckInFiles_runtime)->Name("CheckInFiles/runtime")->Args({1000, 64 << 10})->Args({20, 50 << 20})
    ->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_CheckInFiles_baseline)->Name("CheckInFiles/baseline")->Args({1000, 64 << 10})->Args({20, 50 << 20})
    ->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_TenRevisionsTenPercentChanged_runtime)->Name("TenRevisionsTenPercentChanged/runtime")
    ->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_TenRevisionsTenPercentChanged_baseline)->Name("TenRevisionsTenPercentChanged/baseline")
    ->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv) {
  if (sodium_init() < 0) return 1;
  const int result = RunBenchmarksWithRatios(argc, argv);
  fs::remove_all(Root());
  return result;
}
