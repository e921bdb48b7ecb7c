#pragma once

// Many writers on one repository: worker processes check items out, add one
// to a counter attribute and check them in, some items contested by all of
// them, one item each their own. The parent (many_writers_bench.cpp) runs
// each store twice (many_writers_run.cpp): with workers going through the
// runtime (many_writers_worker.cpp) and with workers doing the same in plain
// SQL (many_writers_raw.cpp); then it verifies what they left
// (many_writers_check.cpp).

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

namespace vqlm {
class iDbDriver;
}
namespace vqkudm {
class UDMSession;
}

// The counter every check-in raises by one: a number attribute of kClassPart.
inline constexpr const char* kCounterAttribute = "mass";

// A repository the workers share: on "sqlite" `location` is the repository
// base directory, on "postgres" the database's name on the server that
// VQKUDM_TEST_PG reaches (so no password travels on a command line).
struct WriterRepository {
  std::string store;
  std::string location;
};

// A session of `user` on the repository, not entered in the user's registry.
boost::shared_ptr<vqkudm::UDMSession> OpenWriterSession(const WriterRepository& repository, const std::string& user);
// The repository's database itself, for the raw loop.
std::shared_ptr<vqlm::iDbDriver> OpenWriterDatabase(const WriterRepository& repository);

// What a worker was told: which items to work on and for how long.
struct WorkerPlan {
  WriterRepository repository;
  int index = 0;
  double seconds = 0;
  std::vector<std::string> shared;  // data-model ids every worker contests
  std::string own;                  // the data-model id only this worker uses
};

// What a worker did, as it writes it to its standard output for the parent.
struct WorkerReport {
  std::string sessionId;            // as the change log names it
  double seconds = 0;               // how long its loop ran
  std::int64_t conflicts = 0;       // check-outs refused because another session won
  std::int64_t stale = 0;           // of those: lost to a check-in made after the item was read
  std::map<std::string, std::int64_t> checkIns;  // data-model id -> successful check-ins
  std::vector<std::int64_t> latenciesUs;         // check-out + edit + check-in, per success
  std::string failure;              // empty unless the worker failed
};

std::string FormatReport(const WorkerReport& report);
WorkerReport ParseReport(const std::string& text);

// How one round of check-out, edit and check-in ended.
enum class Outcome {
  kCheckedIn,
  kConflict,  // another session held the check-out
  kStale,     // the revision read was no longer the latest when the check-out looked
};

// One worker's way of doing a round: through the runtime
// (many_writers_worker.cpp) or in plain SQL (many_writers_raw.cpp). Raises
// on anything but a conflict, leaving no check-out of its own behind.
class WriterLoop {
 public:
  virtual ~WriterLoop() = default;
  virtual std::string SessionId() const = 0;
  virtual Outcome CheckInOnce(const std::string& dmid) = 0;
};
std::unique_ptr<WriterLoop> OpenRuntimeLoop(const WorkerPlan& plan);
std::unique_ptr<WriterLoop> OpenRawLoop(const WorkerPlan& plan);

// Rounds on items picked at random until the plan's time is up or a round
// fails (recorded in the report).
WorkerReport RunLoop(const WorkerPlan& plan, WriterLoop& loop);

// The worker process: `many_writers_bench worker runtime|raw STORE LOCATION
// INDEX SECONDS SHARED_IDS OWN_ID`. It says "ready" once its session is
// open, starts on a line from its parent, then prints its report.
int WorkerMain(int argc, char** argv);

// An item the parent made before the workers started.
struct PlannedItem {
  std::string dmid;
  std::int64_t initial = 0;  // its counter at revision 0
};

// Every violation of the invariants many writers must keep, one line each
// (empty when there is none): no lost update, one holder of a check-out at a
// time, a complete change log in order. `setupSequence` is the last change
// logged before the workers started; `watched` the sequence numbers a reader
// following the log saw while they worked; `checker` a session of none of them.
std::vector<std::string> VerifyRun(vqkudm::UDMSession& checker, const std::vector<PlannedItem>& items,
                                   const std::vector<WorkerReport>& reports, std::int64_t setupSequence,
                                   const std::vector<std::int64_t>& watched);

// One run of `workers` workers of one kind ("runtime" or "raw") for
// `seconds` on a fresh repository: the items made, the workers started
// together, the log followed while they work, then everything verified.
struct RunResult {
  int workers = 0;
  double seconds = 0;
  std::int64_t checkIns = 0, conflicts = 0, stale = 0;
  std::int64_t p50 = 0, p99 = 0;        // latency of a successful round, microseconds
  std::vector<std::string> violations;  // failures of workers, then of the invariants
  double Rate() const { return seconds > 0 ? static_cast<double>(checkIns) / seconds : 0; }
};
RunResult RunWriters(const char* kind, const WriterRepository& repository, int workers, double seconds);
