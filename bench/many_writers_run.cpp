// One run of the many-writers benchmark: the items made, the worker
// processes started together, the change log followed while they work, and
// their reports checked against what they left.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>

#include "many_writers.h"

extern char** environ;

using namespace vqkudm;

namespace {

// Items every worker contests; each also has one of its own.
constexpr int kSharedItems = 4;

// A worker process: told to start on its standard input, reporting on its
// standard output.
class WorkerProcess {
 public:
  explicit WorkerProcess(const std::vector<std::string>& arguments) {
    int in[2], out[2];
    // Close-on-exec, so that no other worker holds these pipes open.
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    std::vector<char*> argv;
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    if (::posix_spawn(&m_pid, argv[0], &actions, &attributes, argv.data(), environ) != 0) m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(in[0]);
    ::close(out[1]);
    m_in = in[1];
    m_out = out[0];
  }
  ~WorkerProcess() {
    Release(false);
    if (m_out >= 0) ::close(m_out);
    int status = 0;
    if (m_pid > 0) ::waitpid(m_pid, &status, 0);
  }

  // Reads until the worker says it is ready; false when it ended first.
  bool AwaitReady() {
    while (m_output.find("ready\n") == std::string::npos) {
      if (!ReadSome()) return false;
    }
    return true;
  }
  // Starts a ready worker, or (`go` false) tells it to end without working.
  void Release(bool go) {
    if (m_in < 0) return;
    if (go && ::write(m_in, "go\n", 3) != 3) std::perror("many_writers_bench: cannot start a worker");
    ::close(m_in);
    m_in = -1;
  }
  // Waits for the worker's end; its report, with a failure when it exited badly.
  WorkerReport Finish() {
    Release(false);
    while (ReadSome()) {
    }
    int status = 0;
    if (m_pid > 0 && ::waitpid(m_pid, &status, 0) == m_pid) m_status = status;
    m_pid = -1;
    WorkerReport report = ParseReport(m_output);
    if (m_status != 0 && report.failure.empty()) {
      report.failure = WIFSIGNALED(m_status) ? std::string("killed by signal ") + std::to_string(WTERMSIG(m_status))
                                              : "exited with status " + std::to_string(WEXITSTATUS(m_status));
    }
    return report;
  }

 private:
  bool ReadSome() {
    if (m_out < 0) return false;
    char buffer[8192];
    const ssize_t got = ::read(m_out, buffer, sizeof buffer);
    if (got <= 0) return false;
    m_output.append(buffer, static_cast<std::size_t>(got));
    return true;
  }

  pid_t m_pid = -1;
  int m_in = -1;
  int m_out = -1;
  int m_status = 0;
  std::string m_output;
};

std::string SelfPath() {
  char path[4096];
  const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return "many_writers_bench";
  return std::string(path, static_cast<std::size_t>(length));
}

// The contested items first, then one of each worker's own; every counter
// starts at a value of its own so that a mixed-up item shows.
std::vector<PlannedItem> MakeItems(const WriterRepository& repository, int workers,
                                   std::int64_t& setupSequence) {
  boost::shared_ptr<UDMSession> session = OpenWriterSession(repository, "setup");
  std::vector<PlannedItem> items;
  for (int i = 0; i < kSharedItems + workers; ++i) {
    const std::string name =
        i < kSharedItems ? "shared-" + std::to_string(i) : "own-" + std::to_string(i - kSharedItems);
    UDMItemPtr part = session->CreateEntity(kClassPart, name, UDMUID());
    const std::int64_t initial = 1000 * (i + 1);
    part->SetAttribute(kCounterAttribute, vqVariant(static_cast<double>(initial)));
    part->Persist("made for many writers", GDM_RECURSE_NONE, -1, false, false);
    items.push_back({part->GetUID().GetDmUid(), initial});
  }
  setupSequence = session->LastChangeSequence();
  UDMFramework::GetInstance()->DeleteSession(session);
  return items;
}

// Follows the change log while the workers write it, as a session that
// picks up the changes of others does: it reads after the last sequence it
// saw, so a change that became visible only after a later one is passed
// over for good, and the check finds it missing.
class LogWatcher {
 public:
  LogWatcher(const WriterRepository& repository, std::int64_t after)
      : m_session(OpenWriterSession(repository, "watcher")), m_last(after) {}
  ~LogWatcher() {
    if (m_thread.joinable()) Stop();
  }

  void Start() {
    m_thread = std::thread([this] {
      while (!m_stop) {
        Read();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    });
  }
  // The sequence numbers seen, in the order they were seen.
  std::vector<std::int64_t> Stop() {
    m_stop = true;
    m_thread.join();
    Read();
    UDMFramework::GetInstance()->DeleteSession(m_session);
    return m_seen;
  }
  const std::string& Failure() const { return m_failure; }

 private:
  void Read() {
    if (!m_failure.empty()) return;
    vqStlVector<UDMSession::LoggedChange> changes;
    try {
      m_session->ReadChangesOfOthers(m_last, changes);
    } catch (const std::exception& e) {
      m_failure = e.what();
    }
    for (const UDMSession::LoggedChange& change : changes) m_seen.push_back(change.sequence);
    if (!changes.empty()) m_last = changes.back().sequence;
  }

  boost::shared_ptr<UDMSession> m_session;
  std::int64_t m_last;
  std::atomic<bool> m_stop{false};
  std::thread m_thread;
  std::vector<std::int64_t> m_seen;
  std::string m_failure;
};

std::int64_t Percentile(std::vector<std::int64_t>& sorted, double fraction) {
  if (sorted.empty()) return 0;
  const std::size_t rank = static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(sorted.size())));
  return sorted[std::max<std::size_t>(rank, 1) - 1];
}

}  // namespace

RunResult RunWriters(const char* kind, const WriterRepository& repository, int workers, double seconds) {
  std::fprintf(stderr, "many writers: %s on %s, %d workers, %g s\n", kind, repository.store.c_str(), workers,
               seconds);
  RunResult result;
  result.workers = workers;
  std::int64_t setupSequence = 0;
  const std::vector<PlannedItem> items = MakeItems(repository, workers, setupSequence);
  std::string shared;
  for (int i = 0; i < kSharedItems; ++i) shared += (i ? "," : "") + items[i].dmid;

  std::vector<std::unique_ptr<WorkerProcess>> processes;
  for (int w = 0; w < workers; ++w) {
    processes.push_back(std::make_unique<WorkerProcess>(std::vector<std::string>{
        SelfPath(), "worker", kind, repository.store, repository.location, std::to_string(w), std::to_string(seconds),
        shared, items[kSharedItems + w].dmid}));
  }
  LogWatcher watcher(repository, setupSequence);
  bool ready = true;
  for (auto& process : processes) ready = process->AwaitReady() && ready;
  watcher.Start();
  for (auto& process : processes) process->Release(ready);

  std::vector<WorkerReport> reports;
  std::vector<std::int64_t> latencies;
  for (int w = 0; w < workers; ++w) {
    reports.push_back(processes[w]->Finish());
    const WorkerReport& report = reports.back();
    if (!report.failure.empty()) {
      result.violations.push_back("worker " + std::to_string(w) + " failed: " + report.failure);
    }
    result.seconds = std::max(result.seconds, report.seconds);
    result.conflicts += report.conflicts;
    result.stale += report.stale;
    for (const auto& entry : report.checkIns) result.checkIns += entry.second;
    latencies.insert(latencies.end(), report.latenciesUs.begin(), report.latenciesUs.end());
  }
  processes.clear();
  const std::vector<std::int64_t> watched = watcher.Stop();
  if (!watcher.Failure().empty()) {
    result.violations.push_back("following the change log failed: " + watcher.Failure());
  }
  std::sort(latencies.begin(), latencies.end());
  result.p50 = Percentile(latencies, 0.50);
  result.p99 = Percentile(latencies, 0.99);

  boost::shared_ptr<UDMSession> checker = OpenWriterSession(repository, "checker");
  for (std::string& violation : VerifyRun(*checker, items, reports, setupSequence, watched)) {
    result.violations.push_back(std::move(violation));
  }
  UDMFramework::GetInstance()->DeleteSession(checker);
  return result;
}
