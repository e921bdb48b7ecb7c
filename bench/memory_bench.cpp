// Peak resident memory (VmHWM) of the runtime's work, each workload in a
// fresh process of its own (this program run again with --workload=...), so
// that one workload's peak never shows in another's:
//   - an empty process, and a session on an empty repository;
//   - creating and persisting 100,000 parts (large_repository.h), and the
//     1,000,000 that the reads then use;
//   - one session reading 100,000, 300,000 and 1,000,000 items one after
//     another by identifier, dropping each, against a SQLite connection
//     reading the same rows by hand.
// Besides that peak, each process reports the peak of its anonymous memory
// (the heap) and, at the end of its work, its anonymous and file-backed
// resident memory: SQLite reads the repository through a memory map, and
// the pages it touched count as resident file memory, which the kernel can
// drop at will.
//
// VQKUDM_MEMORY_MAX (or --max=N) caps the number of items read, and with it
// the repository built for reading.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>

#include "large_repository.h"
#include "sqlite_raw.h"
#include "workload.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

// Kilobytes of a field of /proc/self/status; read without allocating, so
// that the sampling thread below adds nothing to what it measures.
long StatusKb(const char* field) {
  char text[4096];
  const int fd = ::open("/proc/self/status", O_RDONLY);
  if (fd < 0) return 0;
  const ssize_t size = ::read(fd, text, sizeof text - 1);
  ::close(fd);
  if (size <= 0) return 0;
  text[size] = '\0';
  const char* at = std::strstr(text, field);
  return at ? std::atol(at + std::strlen(field) + 1) : 0;
}

// The kernel keeps the peak of all resident memory only (VmHWM), in which
// the database pages SQLite maps would hide the heap; the heap's peak is
// sampled here instead, every few milliseconds.
class AnonymousPeak {
 public:
  AnonymousPeak()
      : m_thread([this] {
          while (!m_stop) {
            Sample();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
          }
        }) {}
  ~AnonymousPeak() {
    m_stop = true;
    m_thread.join();
  }
  long Kb() {
    Sample();
    return m_peak;
  }

 private:
  void Sample() {
    const long now = StatusKb("RssAnon");
    long seen = m_peak;
    while (now > seen && !m_peak.compare_exchange_weak(seen, now)) {
    }
  }

  std::atomic<bool> m_stop{false};
  std::atomic<long> m_peak{0};
  std::thread m_thread;
};

// What a workload process prints last, for the parent to read.
void Report(AnonymousPeak& anonymous, double seconds) {
  std::printf("peak_kb=%ld anon_peak_kb=%ld anon_kb=%ld file_kb=%ld seconds=%.3f\n", StatusKb("VmHWM"),
              anonymous.Kb(), StatusKb("RssAnon"), StatusKb("RssFile"), seconds);
}

fs::path RepositoryFile(const fs::path& dir) { return dir / "bench" / "repository.db"; }

// Reads the identifiers of `file` one line at a time, so the list itself
// takes no memory in the measured process.
template <class Visit>
long ForEachIdentifier(const fs::path& file, long count, Visit visit) {
  std::ifstream in(file);
  std::string uid;
  long done = 0;
  while (done < count && std::getline(in, uid)) {
    visit(uid);
    ++done;
  }
  return done;
}

int RunWorkload(const std::string& workload, const fs::path& dir, long count) {
  AnonymousPeak anonymous;
  const auto start = std::chrono::steady_clock::now();
  auto seconds = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
  if (workload == "process") {
    Report(anonymous, seconds());
    return 0;
  }
  if (workload == "rawread") {
    // What EntityStore::LoadRevision reads, kept only until the next item.
    RawSqlite raw(RepositoryFile(dir).string(), true);
    sqlite3_stmt* head = raw.Prepare(
        "SELECT e.cdef, e.class, e.latest_rev, e.deleted, e.created_by, e.created_time, e.branch_from,"
        " r.name, r.modified_by, r.modified_time, r.comment"
        " FROM udm_revision r JOIN udm_entity e ON e.dmid = r.dmid WHERE r.uid = ? AND r.state = 0");
    sqlite3_stmt* attributes =
        raw.Prepare("SELECT name, type, text_value, num_value FROM udm_attribute WHERE uid = ? ORDER BY name");
    RawRows rows, values;
    const long read = ForEachIdentifier(dir / "uids.txt", count, [&](const std::string& uid) {
      BindText(head, 1, uid);
      if (raw.ReadAll(head, rows) != 1) std::abort();
      BindText(attributes, 1, uid);
      raw.ReadAll(attributes, values);
    });
    if (read != count) std::abort();
    Report(anonymous, seconds());
    return 0;
  }
  boost::shared_ptr<IUDMSession> session = OpenBenchSession(dir.string());
  if (workload == "create") {
    BuildWithRuntime(*session, RepositoryShape(static_cast<int>(count)), nullptr, nullptr);
  } else if (workload == "read") {
    const long read = ForEachIdentifier(dir / "uids.txt", count, [&](const std::string& uid) {
      if (!session->FindItemById(UDMUID(uid), true, "")) std::abort();
    });
    if (read != count) std::abort();
  } else if (workload != "session") {
    std::fprintf(stderr, "unknown workload %s\n", workload.c_str());
    return 2;
  }
  // Measured with the session still open: what it holds counts.
  Report(anonymous, seconds());
  UDMFramework::GetInstance()->DeleteSession(session);
  return 0;
}

struct Measured {
  long peakKb = 0, anonPeakKb = 0, anonKb = 0, fileKb = 0;
  double seconds = 0;
};

// Runs one workload in a process of its own and reads what it reports.
Measured Spawn(const std::string& workload, const fs::path& dir, long count) {
  const std::string command = fs::read_symlink("/proc/self/exe").string() + " --workload=" + workload + " --dir='" +
                              dir.string() + "' --count=" + std::to_string(count);
  fs::create_directories(dir);
  std::fprintf(stderr, "[memory] %s %ld\n", workload.c_str(), count);
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) std::abort();
  Measured m;
  char line[512];
  bool reported = false;
  while (std::fgets(line, sizeof line, pipe)) {
    reported = std::sscanf(line, "peak_kb=%ld anon_peak_kb=%ld anon_kb=%ld file_kb=%ld seconds=%lf", &m.peakKb,
                           &m.anonPeakKb, &m.anonKb, &m.fileKb, &m.seconds) == 5 ||
               reported;
  }
  if (pclose(pipe) != 0 || !reported) {
    std::fprintf(stderr, "workload %s %ld failed\n", workload.c_str(), count);
    std::error_code ignored;
    fs::remove_all(dir.parent_path(), ignored);
    std::exit(1);
  }
  return m;
}

// The identifiers of every stored item in random order, one per line.
void WriteIdentifiers(const fs::path& dir) {
  std::vector<std::string> uids;
  {
    RawSqlite raw(RepositoryFile(dir).string(), true);
    sqlite3_stmt* all = raw.Prepare("SELECT uid FROM udm_revision WHERE state = 0");
    RawRows rows;
    raw.ReadAll(all, rows);
    for (const auto& row : rows) uids.push_back(row[0].text);
  }
  std::shuffle(uids.begin(), uids.end(), std::mt19937(7));
  std::ofstream out(dir / "uids.txt");
  for (const std::string& uid : uids) out << uid << '\n';
}

std::string Thousands(long value) {
  std::string digits = std::to_string(value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(static_cast<std::size_t>(at), ",");
  return digits;
}

void PrintLine(const std::string& work, const Measured& m) {
  std::printf("%-46s %9.1f %9.1f %9.1f %9.1f %9.1f\n", work.c_str(), m.peakKb / 1024.0, m.anonPeakKb / 1024.0,
              m.anonKb / 1024.0, m.fileKb / 1024.0, m.seconds);
  std::fflush(stdout);
}

int RunAll(long maximum) {
  const fs::path root = fs::temp_directory_path() / ("udm-memory-bench-" + std::to_string(::getpid()));
  fs::remove_all(root);
  std::vector<long> reads;
  for (long count : {100000L, 300000L, 1000000L}) {
    if (count <= maximum) reads.push_back(count);
  }
  if (reads.empty()) reads.push_back(maximum);
  constexpr long kCreated = 100000;

  std::printf("memory_bench: peak resident memory, each workload in a fresh process\n");
  std::printf("%-46s %9s %9s %9s %9s %9s\n", "workload", "peak MB", "heap peak", "heap end", "file end",
              "seconds");
  PrintLine("empty process", Spawn("process", root / "empty", 0));
  PrintLine("session on an empty repository", Spawn("session", root / "empty", 0));
  PrintLine("create and persist " + Thousands(kCreated) + " parts", Spawn("create", root / "created", kCreated));
  fs::remove_all(root / "created");

  // The repository the reads use; its parts are rounded up to a multiple of 100.
  const long parts = (reads.back() + 99) / 100 * 100;
  const fs::path readDir = root / "read";
  PrintLine("create and persist " + Thousands(parts) + " parts (read below)", Spawn("create", readDir, parts));
  WriteIdentifiers(readDir);
  for (long count : reads) {
    PrintLine("session reading " + Thousands(count) + " items by id", Spawn("read", readDir, count));
  }
  for (long count : reads) {
    PrintLine("  baseline: SQLite reading " + Thousands(count) + " by hand", Spawn("rawread", readDir, count));
  }
  fs::remove_all(root);
  std::printf("\nMB throughout. peak: VmHWM, all resident memory; heap peak: the largest anonymous resident memory\n"
              "sampled; heap end and file end: anonymous and file-backed (the mapped database) at the end of the work.\n"
              "targets: creating 100,000 parts at most 200 MB; reading bounded by the session's cache, flat as the\n"
              "count grows.\n");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string workload;
  fs::path dir;
  long count = 0;
  long maximum = 1000000;
  if (const char* text = std::getenv("VQKUDM_MEMORY_MAX")) maximum = std::atol(text);
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--workload=", 0) == 0) {
      workload = arg.substr(11);
    } else if (arg.rfind("--dir=", 0) == 0) {
      dir = arg.substr(6);
    } else if (arg.rfind("--count=", 0) == 0) {
      count = std::atol(arg.c_str() + 8);
    } else if (arg.rfind("--max=", 0) == 0) {
      maximum = std::atol(arg.c_str() + 6);
    } else {
      std::fprintf(stderr, "usage: %s [--max=ITEMS]   (or VQKUDM_MEMORY_MAX=ITEMS)\n", argv[0]);
      return 2;
    }
  }
  if (!workload.empty()) return RunWorkload(workload, dir, count);
  return RunAll(maximum);
}
