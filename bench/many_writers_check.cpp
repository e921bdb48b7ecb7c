// What many writers must leave behind, read by a session of none of them:
// every check-in counted exactly once, one holder of a check-out at a time,
// and a change log that tells the same story in order.
//
// The engine logs a check-out as SIGNAL_CHECKED_OUT with the identifier of
// the revision checked out (data-model id + revision r), inside the lock's
// transaction and only when this session won; a check-in as
// SIGNAL_PERSISTED with the identifier of the revision stored (r + 1), in
// the check-in's transaction. A lost check-out, a check-out that found a
// newer revision, a branch (which takes no lock) and an undone check-out log
// nothing.

#include <set>
#include <sstream>

#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqlmidbdriver/iDbDriver.h>

#include "many_writers.h"

using namespace vqkudm;

namespace {

using Violations = std::vector<std::string>;

std::string Text(std::int64_t n) { return std::to_string(n); }

std::string Number(const vqVariant& value) {
  double number = 0;
  if (!value.ToDouble(number)) return "\"" + value.ToString() + "\"";
  std::ostringstream out;
  out.precision(17);
  out << number;
  return out.str();
}

bool Holds(const UDMItem& item, std::int64_t expected) {
  double number = 0;
  return item.GetAttributeValue(kCounterAttribute).ToDouble(number) && number == static_cast<double>(expected);
}

// No lost update: the counter of every revision is the initial value plus
// its revision number, and the latest revision is one per reported check-in.
void CheckCounters(UDMSession& checker, const PlannedItem& planned, std::int64_t reported, Violations& out) {
  UDMItemPtr latest = checker.FindLatest(planned.dmid);
  if (!latest) {
    out.push_back(planned.dmid + " is missing");
    return;
  }
  const std::int64_t expected = planned.initial + reported;
  if (!Holds(*latest, expected)) {
    out.push_back("lost update: " + planned.dmid + " counts " + Number(latest->GetAttributeValue(kCounterAttribute)) +
                  ", expected " + Text(planned.initial) + " + " + Text(reported) + " check-ins = " + Text(expected));
  }
  if (latest->GetRevision() != reported || latest->GetLatestRevision() != reported) {
    out.push_back(planned.dmid + " is at revision " + Text(latest->GetRevision()) + " (latest " +
                  Text(latest->GetLatestRevision()) + ") after " + Text(reported) + " reported check-ins");
  }
  const vqStlVector<UDMItemPtr> revisions = latest->GetAllRevisions();
  if (static_cast<std::int64_t>(revisions.size()) != reported + 1) {
    out.push_back(planned.dmid + " has " + Text(static_cast<std::int64_t>(revisions.size())) +
                  " stored revisions, expected " + Text(reported + 1));
  }
  // The first revision off is where an update was lost; the rest follow from it.
  std::int64_t off = 0;
  for (const UDMItemPtr& revision : revisions) {
    if (Holds(*revision, planned.initial + revision->GetRevision())) continue;
    if (off++ == 0) {
      out.push_back("lost update: revision " + Text(revision->GetRevision()) + " of " + planned.dmid + " counts " +
                    Number(revision->GetAttributeValue(kCounterAttribute)) + ", expected " +
                    Text(planned.initial + revision->GetRevision()));
    }
  }
  if (off > 1) out.push_back(planned.dmid + ": " + Text(off - 1) + " later revisions are off too");
}

// One item's story in the log.
struct ItemHistory {
  int setupCheckIns = 0;
  int stored = -1;             // the latest revision the log has stored
  std::string holder;          // the session holding the check-out, or empty
  std::int64_t heldSince = 0;  // sequence of its check-out
  std::int64_t checkIns = 0;
};

// A reader following the log during the run must have seen every change,
// each once: one it missed became visible after a later one.
void CheckFollowed(const vqStlVector<UDMSession::LoggedChange>& log, std::int64_t setupSequence,
                   const std::vector<std::int64_t>& watched, Violations& out) {
  std::set<std::int64_t> seen;
  for (std::int64_t sequence : watched) {
    if (!seen.insert(sequence).second) {
      out.push_back("a reader following the log saw change " + Text(sequence) + " twice");
    }
  }
  std::int64_t missed = 0;
  for (const UDMSession::LoggedChange& change : log) {
    if (change.sequence <= setupSequence || seen.count(change.sequence)) continue;
    if (missed++ == 0) {
      out.push_back("change log out of order: a reader following it passed over change " + Text(change.sequence) +
                    ", which became visible after a later one");
    }
  }
  if (missed > 1) out.push_back("... " + Text(missed - 1) + " more changes passed over");
}

void CheckLog(UDMSession& checker, std::map<std::string, ItemHistory>& items,
              const std::map<std::pair<std::string, std::string>, std::int64_t>& reportedBy,
              const std::set<std::string>& sessions, std::int64_t setupSequence,
              const std::vector<std::int64_t>& watched, Violations& out) {
  vqStlVector<UDMSession::LoggedChange> log;
  checker.ReadChangesOfOthers(0, log);
  CheckFollowed(log, setupSequence, watched, out);
  std::map<std::pair<std::string, std::string>, std::int64_t> loggedBy;  // (session, item) -> check-ins
  std::int64_t previous = 0;
  for (const UDMSession::LoggedChange& change : log) {
    const std::string at = "change " + Text(change.sequence) + " (" + SignalOptionName(change.op) + " of " +
                           change.uid.ToString() + " by " + change.sessionId + ")";
    if (change.sequence <= previous) out.push_back("change log out of order: " + at + " after " + Text(previous));
    previous = change.sequence;
    auto item = items.find(change.uid.IsValid() ? change.uid.GetDmUid() : vqString());
    if (item == items.end()) {
      out.push_back(at + ": no entity the run made");
      continue;
    }
    ItemHistory& history = item->second;
    const int revision = change.uid.GetRevision();
    if (change.sequence <= setupSequence) {
      // The item's creation: stored as revision 0 without a check-out.
      if (change.op == SIGNAL_PERSISTED) {
        ++history.setupCheckIns;
        history.stored = revision;
      }
      continue;
    }
    if (!sessions.count(change.sessionId)) out.push_back(at + ": by a session no worker reported");
    switch (change.op) {
      case SIGNAL_CHECKED_OUT:
        if (!history.holder.empty()) {
          out.push_back("two winners: " + at + " while " + history.holder + " held it since change " +
                        Text(history.heldSince));
        }
        if (revision != history.stored) {
          out.push_back(at + ": revision " + Text(history.stored) + " was the latest stored");
        }
        history.holder = change.sessionId;
        history.heldSince = change.sequence;
        break;
      case SIGNAL_PERSISTED:
        if (history.holder != change.sessionId) {
          out.push_back(at + " without holding the check-out (held by " +
                        (history.holder.empty() ? std::string("nobody") : history.holder) + ")");
        }
        if (revision != history.stored + 1) {
          out.push_back(at + ": the revision before it stored was " + Text(history.stored));
        }
        history.stored = revision;
        history.holder.clear();
        ++history.checkIns;
        ++loggedBy[{change.sessionId, change.uid.GetDmUid()}];
        break;
      case SIGNAL_CHECKOUT_UNDONE:
        if (history.holder != change.sessionId) out.push_back(at + " of a check-out it did not hold");
        history.holder.clear();
        break;
      default:
        out.push_back(at + ": a change the workers never make");
    }
  }
  for (const auto& [dmid, history] : items) {
    if (history.setupCheckIns != 1) {
      out.push_back(dmid + " has " + Text(history.setupCheckIns) +
                    " check-ins logged before the workers started, not 1");
    }
    if (!history.holder.empty()) {
      out.push_back(dmid + " is left checked out by " + history.holder + " since change " + Text(history.heldSince));
    }
  }
  std::set<std::pair<std::string, std::string>> keys;
  for (const auto& entry : reportedBy) keys.insert(entry.first);
  for (const auto& entry : loggedBy) keys.insert(entry.first);
  for (const auto& key : keys) {
    const auto reported = reportedBy.find(key);
    const auto logged = loggedBy.find(key);
    const std::int64_t r = reported == reportedBy.end() ? 0 : reported->second;
    const std::int64_t l = logged == loggedBy.end() ? 0 : logged->second;
    if (r != l) {
      out.push_back("the log has " + Text(l) + " check-ins of " + key.second + " by " + key.first +
                    ", the worker reported " + Text(r));
    }
  }
}

// A lock row left behind keeps the item from everyone else for good.
void CheckNoLocks(UDMSession& checker, Violations& out) {
  vqlm::ResultSet rows;
  const vqlm::DbStatus status =
      checker.Database().ExecSqlQuery("SELECT dmid, holder, session_id FROM udm_lock", {}, rows);
  if (!status) {
    out.push_back("cannot read the check-out locks: " + status.GetText());
    return;
  }
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    out.push_back(rows.GetValue(i, 0).ToString() + " is still checked out by " + rows.GetValue(i, 1).ToString() +
                  " (session " + rows.GetValue(i, 2).ToString() + ")");
  }
}

}  // namespace

std::vector<std::string> VerifyRun(UDMSession& checker, const std::vector<PlannedItem>& items,
                                   const std::vector<WorkerReport>& reports, std::int64_t setupSequence,
                                   const std::vector<std::int64_t>& watched) {
  Violations out;
  std::map<std::string, std::int64_t> reported;
  std::map<std::pair<std::string, std::string>, std::int64_t> reportedBy;
  std::set<std::string> sessions;
  for (const WorkerReport& report : reports) {
    sessions.insert(report.sessionId);
    for (const auto& [dmid, count] : report.checkIns) {
      reported[dmid] += count;
      reportedBy[{report.sessionId, dmid}] += count;
    }
  }
  std::map<std::string, ItemHistory> histories;
  for (const PlannedItem& item : items) histories[item.dmid];
  for (const auto& entry : reported) {
    if (!histories.count(entry.first)) {
      out.push_back("a worker reported check-ins of " + entry.first + ", no item of the run");
    }
  }
  for (const PlannedItem& item : items) CheckCounters(checker, item, reported[item.dmid], out);
  CheckLog(checker, histories, reportedBy, sessions, setupSequence, watched, out);
  CheckNoLocks(checker, out);
  return out;
}
