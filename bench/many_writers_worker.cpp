// A worker of the many-writers benchmark: its loop through the runtime, the
// loop both kinds of worker share, and the report it gives its parent.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <stdexcept>

#include <boost/make_shared.hpp>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/iDbDriver.h>

#include "many_writers.h"

using namespace vqkudm;

namespace {

std::string PgConnection(const std::string& database) {
  const char* server = std::getenv("VQKUDM_TEST_PG");
  if (!server) throw std::runtime_error("VQKUDM_TEST_PG is not set");
  return std::string(server) + " dbname=" + database;
}

std::string LocalDatabaseFile(const WriterRepository& repository) {
  return repository.location + "/writers/repository.db";
}

}  // namespace

boost::shared_ptr<UDMSession> OpenWriterSession(const WriterRepository& repository, const std::string& user) {
  auto config = boost::make_shared<UDMSessionConfig>();
  config->SetRepositoryName("writers");
  config->SetUserName(user);
  // Hundreds of benchmark repositories do not belong in the user's list.
  config->SetRegistered(false);
  if (repository.store == "postgres") {
    config->SetDataSource("PostGres");
    config->SetLMRepoClientSettings({{"dbconnectstring", PgConnection(repository.location)}});
  } else {
    config->SetRepositoryBaseDir(repository.location);
  }
  return boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->CreateSession(config));
}

std::shared_ptr<vqlm::iDbDriver> OpenWriterDatabase(const WriterRepository& repository) {
  if (repository.store == "postgres") {
    return store::OpenRepositoryDatabase("postgres", PgConnection(repository.location));
  }
  return store::OpenRepositoryDatabase("sqlite", LocalDatabaseFile(repository));
}

std::string FormatReport(const WorkerReport& report) {
  std::ostringstream out;
  out << "session " << report.sessionId << "\n"
      << "seconds " << report.seconds << "\n"
      << "conflicts " << report.conflicts << " " << report.stale << "\n";
  for (const auto& [dmid, count] : report.checkIns) out << "item " << dmid << " " << count << "\n";
  for (std::size_t i = 0; i < report.latenciesUs.size(); ++i) {
    out << (i % 500 == 0 ? (i ? "\nlatency" : "latency") : "") << " " << report.latenciesUs[i];
  }
  if (!report.latenciesUs.empty()) out << "\n";
  // One line: a message may hold line breaks.
  std::string failure = report.failure;
  for (char& c : failure) c = c == '\n' ? ' ' : c;
  if (!failure.empty()) out << "fail " << failure << "\n";
  out << "end\n";
  return out.str();
}

WorkerReport ParseReport(const std::string& text) {
  WorkerReport report;
  std::istringstream lines(text);
  std::string line;
  bool ended = false;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string key;
    words >> key;
    if (key == "session") {
      words >> report.sessionId;
    } else if (key == "seconds") {
      words >> report.seconds;
    } else if (key == "conflicts") {
      words >> report.conflicts >> report.stale;
    } else if (key == "item") {
      std::string dmid;
      std::int64_t count = 0;
      words >> dmid >> count;
      report.checkIns[dmid] += count;
    } else if (key == "latency") {
      std::int64_t us = 0;
      while (words >> us) report.latenciesUs.push_back(us);
    } else if (key == "fail") {
      report.failure = line.substr(5);
    } else if (key == "end") {
      ended = true;
    }
  }
  if (!ended && report.failure.empty()) report.failure = "the worker ended without its report";
  return report;
}

WorkerReport RunLoop(const WorkerPlan& plan, WriterLoop& loop) {
  using Clock = std::chrono::steady_clock;
  WorkerReport report;
  report.sessionId = loop.SessionId();
  std::mt19937 random(static_cast<unsigned>(plan.index * 7919 + ::getpid()));
  const Clock::time_point start = Clock::now();
  const Clock::time_point end =
      start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(plan.seconds));
  try {
    for (Clock::time_point now = start; now < end;) {
      // Half of the rounds on the contested items, half on the worker's own.
      const std::string& dmid = random() % 2 ? plan.shared[random() % plan.shared.size()] : plan.own;
      const Outcome outcome = loop.CheckInOnce(dmid);
      const Clock::time_point done = Clock::now();
      if (outcome == Outcome::kCheckedIn) {
        report.latenciesUs.push_back(std::chrono::duration_cast<std::chrono::microseconds>(done - now).count());
        ++report.checkIns[dmid];
      } else {
        ++report.conflicts;
        report.stale += outcome == Outcome::kStale ? 1 : 0;
      }
      now = done;
    }
  } catch (const std::exception& e) {
    report.failure = e.what();
  }
  report.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return report;
}

namespace {

class RuntimeLoop final : public WriterLoop {
 public:
  explicit RuntimeLoop(const WorkerPlan& plan)
      : m_session(OpenWriterSession(plan.repository, "writer" + std::to_string(plan.index))) {}

  std::string SessionId() const override { return m_session->GetSessionId(); }

  // The latest revision, checked out, its counter raised, checked in.
  Outcome CheckInOnce(const std::string& dmid) override {
    UDMItemPtr item = m_session->FindLatest(dmid);
    if (!item) throw std::runtime_error("item " + dmid + " is not in the repository");
    try {
      item->CheckOut("");
    } catch (const UDMException& e) {
      if (e.GetExceptionSubCategory() == ExcSubConflict) return Outcome::kConflict;
      throw;
    }
    // A check-in between reading and checking out makes the check-out start
    // a branch (parts may branch), which takes no lock: drop it, a lost race.
    if (item->GetRevision() != item->GetLatestRevision()) {
      item->UndoCheckOut(-1, GDM_RECURSE_NONE);
      return Outcome::kStale;
    }
    try {
      Raise(*item);
    } catch (const std::exception& e) {
      // The lock outlives a failed check-in: hand it back, or the item stays
      // held by a session that is gone.
      std::string message = e.what();
      try {
        item->UndoCheckOut(-1, GDM_RECURSE_NONE);
      } catch (const std::exception& undo) {
        message += "; undoing the check-out failed too, " + dmid + " stays checked out: " + undo.what();
      }
      throw std::runtime_error(message);
    }
    return Outcome::kCheckedIn;
  }

 private:
  static void Raise(UDMItem& item) {
    double counter = 0;
    if (!item.GetAttributeValue(kCounterAttribute).ToDouble(counter) ||
        counter != static_cast<double>(static_cast<std::int64_t>(counter))) {
      throw std::runtime_error(item.GetUID().ToString() + " holds no whole number in \"" + kCounterAttribute + "\"");
    }
    item.SetAttribute(kCounterAttribute, vqVariant(counter + 1));
    item.Persist("", GDM_RECURSE_NONE, -1, false, false);
  }

  boost::shared_ptr<UDMSession> m_session;
};

std::vector<std::string> SplitIds(const std::string& text) {
  std::vector<std::string> ids;
  std::istringstream in(text);
  for (std::string id; std::getline(in, id, ',');) ids.push_back(id);
  return ids;
}

void Say(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

}  // namespace

std::unique_ptr<WriterLoop> OpenRuntimeLoop(const WorkerPlan& plan) { return std::make_unique<RuntimeLoop>(plan); }

int WorkerMain(int argc, char** argv) {
  if (argc != 9) {
    std::fputs(
        "usage: many_writers_bench worker runtime|raw sqlite|postgres LOCATION INDEX SECONDS SHARED_IDS OWN_ID\n",
        stderr);
    return 2;
  }
  const std::string kind = argv[2];
  WorkerPlan plan;
  plan.repository = {argv[3], argv[4]};
  plan.index = std::atoi(argv[5]);
  plan.seconds = std::atof(argv[6]);
  plan.shared = SplitIds(argv[7]);
  plan.own = argv[8];
  WorkerReport report;
  std::unique_ptr<WriterLoop> loop;
  try {
    loop = kind == "raw" ? OpenRawLoop(plan) : OpenRuntimeLoop(plan);
  } catch (const std::exception& e) {
    report.failure = std::string("cannot open the repository: ") + e.what();
    Say(FormatReport(report));
    return 1;
  }
  Say("ready\n");
  // All start together: the parent sends a line once every worker is ready.
  char line[16];
  if (!std::fgets(line, sizeof line, stdin)) return 1;
  report = RunLoop(plan, *loop);
  loop.reset();
  Say(FormatReport(report));
  return report.failure.empty() ? 0 : 1;
}
