// Many writers on one repository: worker processes check parts out, raise a
// counter and check them in for a fixed time, four items contested by all,
// one item each their own; then the repository must show every check-in
// exactly once. Four workers on the embedded SQLite store; sixteen clients
// on PostgreSQL when VQKUDM_TEST_PG names a server. Each store also runs the
// same loop written by hand in SQL (many_writers_raw.cpp), verified the same
// way, and the table gives the ratio of the two throughputs.
//
// Usage: many_writers_bench [--seconds N] [--store sqlite|postgres|all]

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include <vqkudmrt/UDMFramework.h>
#include <vqlmidbdriver/DbDriverLoader.h>
#include <vqlmidbdriver/iDbDriver.h>
#include <vqlmosa/osaLibrary.h>

#include "many_writers.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

constexpr int kSqliteWorkers = 4;
constexpr int kPostgresClients = 16;
constexpr std::size_t kViolationsShown = 20;

struct StoreResult {
  std::string store;
  RunResult runtime, raw;
};

// The embedded store: one repository per run in a temporary directory.
StoreResult RunSqlite(double seconds) {
  const fs::path dir = fs::temp_directory_path() / ("udm-writers-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  StoreResult result{"sqlite", {}, {}};
  result.runtime = RunWriters("runtime", {"sqlite", (dir / "runtime").string()}, kSqliteWorkers, seconds);
  result.raw = RunWriters("raw", {"sqlite", (dir / "raw").string()}, kSqliteWorkers, seconds);
  if (result.runtime.violations.empty() && result.raw.violations.empty()) {
    fs::remove_all(dir);
  } else {
    std::fprintf(stderr, "many_writers_bench: kept %s for inspection\n", dir.c_str());
  }
  return result;
}

// A connection to the server's maintenance database, for creating and
// dropping the benchmark's databases.
class PgServer {
 public:
  PgServer() {
    const vqString module = UDMFramework::GetInstance()->GetInstallLayout().driverDir + "/" +
                            osaLibrary::GetAbsoluteLibraryName("vqlmidbdriver_postgres");
    const vqlm::DbStatus loaded = vqlm::LoadDbDriver(module, m_admin);
    const vqlm::DbStatus opened = loaded ? m_admin->Open(std::getenv("VQKUDM_TEST_PG")) : loaded;
    if (!opened) throw std::runtime_error("cannot reach the PostgreSQL server: " + opened.GetText());
  }
  // A new, empty database of that name (names are the benchmark's own).
  void Create(const std::string& name) {
    Drop(name);
    const vqlm::DbStatus status = m_admin->ExecSqlStatement("CREATE DATABASE " + name);
    if (!status) throw std::runtime_error("cannot create database " + name + ": " + status.GetText());
  }
  void Drop(const std::string& name) { m_admin->ExecSqlStatement("DROP DATABASE IF EXISTS " + name + " WITH (FORCE)"); }

 private:
  std::shared_ptr<vqlm::iDbDriver> m_admin;
};

StoreResult RunPostgres(double seconds) {
  PgServer server;
  const std::string prefix = "udmwriters_" + std::to_string(::getpid());
  StoreResult result{"postgres", {}, {}};
  server.Create(prefix + "_runtime");
  result.runtime = RunWriters("runtime", {"postgres", prefix + "_runtime"}, kPostgresClients, seconds);
  server.Create(prefix + "_raw");
  result.raw = RunWriters("raw", {"postgres", prefix + "_raw"}, kPostgresClients, seconds);
  if (result.runtime.violations.empty() && result.raw.violations.empty()) {
    server.Drop(prefix + "_runtime");
    server.Drop(prefix + "_raw");
  } else {
    std::fprintf(stderr, "many_writers_bench: kept databases %s_runtime and %s_raw for inspection\n", prefix.c_str(),
                 prefix.c_str());
  }
  return result;
}

void PrintTable(const std::vector<StoreResult>& stores) {
  std::printf("%-9s %7s %6s %11s %9s %5s %8s %8s  %11s %9s %8s %8s  %11s\n", "store", "workers", "secs",
              "check-ins/s", "conflicts", "stale", "p50 us", "p99 us", "raw ci/s", "raw confl", "raw p50", "raw p99",
              "raw/runtime");
  for (const StoreResult& s : stores) {
    const RunResult& a = s.runtime;
    const RunResult& b = s.raw;
    const double ratio = a.Rate() > 0 ? b.Rate() / a.Rate() : 0;
    std::printf("%-9s %7d %6.1f %11.1f %9lld %5lld %8lld %8lld  %11.1f %9lld %8lld %8lld  %10.2fx\n", s.store.c_str(),
                a.workers, a.seconds, a.Rate(), static_cast<long long>(a.conflicts), static_cast<long long>(a.stale),
                static_cast<long long>(a.p50), static_cast<long long>(a.p99), b.Rate(),
                static_cast<long long>(b.conflicts), static_cast<long long>(b.p50), static_cast<long long>(b.p99),
                ratio);
  }
}

// Prints the outcome of the checks; false on any violation.
bool Report(const std::string& store, const char* side, const RunResult& run) {
  if (run.violations.empty()) {
    std::printf("%s %s: verified %lld check-ins: no lost update, one holder per check-out, change log complete and "
                "in order\n",
                store.c_str(), side, static_cast<long long>(run.checkIns));
    return true;
  }
  for (std::size_t i = 0; i < run.violations.size() && i < kViolationsShown; ++i) {
    std::printf("VIOLATION %s %s: %s\n", store.c_str(), side, run.violations[i].c_str());
  }
  if (run.violations.size() > kViolationsShown) {
    std::printf("VIOLATION %s %s: ... and %zu more\n", store.c_str(), side, run.violations.size() - kViolationsShown);
  }
  return false;
}

int Usage() {
  std::fputs("usage: many_writers_bench [--seconds N] [--store sqlite|postgres|all]\n", stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "worker") == 0) return WorkerMain(argc, argv);
  double seconds = 10;
  std::string which = "all";
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--seconds" && i + 1 < argc) {
      seconds = std::atof(argv[++i]);
      if (seconds <= 0) return Usage();
    } else if (option == "--store" && i + 1 < argc) {
      which = argv[++i];
      if (which != "sqlite" && which != "postgres" && which != "all") return Usage();
    } else {
      return Usage();
    }
  }
  const bool server = std::getenv("VQKUDM_TEST_PG") != nullptr;
  if (which == "postgres" && !server) {
    std::fprintf(stderr,
                 "many_writers_bench needs a server for postgres: eval \"$(scripts/pg-test-server.sh start)\"\n");
    return 2;
  }
  // A worker that died must not take the parent with it on its next write.
  ::signal(SIGPIPE, SIG_IGN);
  std::vector<StoreResult> stores;
  try {
    if (which != "postgres") stores.push_back(RunSqlite(seconds));
    if (which == "postgres" || (which == "all" && server)) stores.push_back(RunPostgres(seconds));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "many_writers_bench: %s\n", e.what());
    return 1;
  }
  if (which == "all" && !server) std::printf("postgres: skipped, VQKUDM_TEST_PG is not set\n");
  PrintTable(stores);
  bool sound = true;
  for (const StoreResult& s : stores) {
    sound = Report(s.store, "runtime", s.runtime) && sound;
    sound = Report(s.store, "raw", s.raw) && sound;
  }
  return sound ? 0 : 1;
}
