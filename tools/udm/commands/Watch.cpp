// udm watch: the repository's changes, by any process, as they are stored.

#include <cctype>
#include <iostream>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include <vqkudm/UDMProfileExtensions.h>

#include "Failure.h"
#include "Repository.h"
#include "Signals.h"
#include "Tool.h"

namespace udm {

namespace {

// How long one call waits for changes; a signal ends the wait much sooner.
constexpr int kWaitMs = 60000;

struct WatchArguments {
  std::string since;
};

bool AllDigits(const std::string& text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

// The sequence number to follow the log after.
std::int64_t Start(const boost::shared_ptr<vqkudm::IUDMProfile>& profile, const std::string& since) {
  if (since.empty()) return vqkudm::UDMProfileExtensions::LastChangeSequence(profile);
  if (AllDigits(since)) {
    try {
      return std::stoll(since);
    } catch (const std::out_of_range&) {
      throw UsageError("--since " + since + ": no change has so high a number");
    }
  }
  try {
    return vqkudm::UDMProfileExtensions::ChangeSequenceBefore(profile, since);
  } catch (const vqkudm::UDMException& failure) {
    if (failure.GetExceptionCategory() != vqkudm::ExcCatInvalidArgument) throw;
    throw UsageError("--since: " + UserMessage(failure) + ", or a change's sequence number");
  }
}

nlohmann::json ChangeJson(const vqkudm::UDMLoggedChange& change) {
  auto textOrNull = [](const vqString& text) { return text.empty() ? nlohmann::json() : nlohmann::json(text.str()); };
  return {{"sequence", change.sequence},
          {"time", change.time.str()},
          {"kind", change.kind.str()},
          {"id", change.itemId.str()},
          {"name", textOrNull(change.name)},
          {"class", textOrNull(change.cdef)},
          {"revision", change.revision},
          {"child", textOrNull(change.childId)},
          {"user", textOrNull(change.user)},
          {"session", change.sessionId.str()},
          {"version", 1}};
}

// "2026-11-24T05:01:17.221Z  persisted  bracket (UDMPart) rev 1  by alice"
void PrintLine(std::ostream& out, const vqkudm::UDMLoggedChange& change) {
  out << change.time << "  " << change.kind << "  ";
  if (change.resolved) {
    out << change.name << " (" << change.cdef << ")";
  } else {
    out << change.itemId;
  }
  out << " rev " << change.revision;
  if (!change.childId.empty()) out << "  child " << change.childId;
  if (!change.user.empty()) {
    out << "  by " << change.user;
  } else {
    out << "  in session " << change.sessionId;
  }
}

void Watch(const Options& options, const WatchArguments& arguments) {
  // A watcher only reads: it must not move the user's check-outs into its session.
  const OpenRepository repository(options, OpenRepository::kStored);
  std::int64_t after = Start(repository.pointer(), arguments.since);
  const auto signalled = [] { return ReceivedSignal() != 0; };
  for (;;) {
    CheckInterrupted();
    vqStlVector<vqkudm::UDMLoggedChange> changes;
    vqkudm::UDMProfileExtensions::ChangesAfter(repository.pointer(), after, kWaitMs, changes, signalled);
    for (const vqkudm::UDMLoggedChange& change : changes) {
      if (options.json) {
        std::cout << ChangeJson(change).dump();
      } else {
        PrintLine(std::cout, change);
      }
      // Whoever reads the pipe hears of each change as it comes.
      std::cout << std::endl;
      after = change.sequence;
    }
  }
}

}  // namespace

void AddWatchCommand(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<WatchArguments>();
  const Options& options = tool.options;
  CLI::App* watch = tool.Add(app, "watch",
                             "Prints each change stored in the repository, by any process, as it comes, until "
                             "interrupted; --json prints one object per line (see docs/cli.md).\n"
                             "Example: udm watch --since 2026-11-24T05:00:00Z",
                             [&options, arguments] { Watch(options, *arguments); });
  watch->add_option("--since", arguments->since,
                    "first replay the changes after SEQ (a change's sequence number) or TIME (ISO 8601, e.g. "
                    "2026-11-24T05:00:00Z); without it only new changes")
      ->type_name("SEQ|TIME");
}

}  // namespace udm
