// The baseline of the many-writers benchmark: the runtime's round done by
// hand in SQL on the same database engine and the same tables, so that the
// runtime's checks read it too.
//
// What it does, as the runtime does: a check-out is its own transaction (on
// SQLite BEGIN IMMEDIATE, synchronous=FULL in WAL mode, as the driver opens
// every repository) that takes the lock row by its unique key and logs the
// check-out; the check-in is a second one that checks the lock is still
// ours, advances the latest revision only from the one checked out, copies
// the revision row and its attributes with the new counter, drops the lock
// and logs the check-in (on PostgreSQL after the same lock that keeps the
// log in commit order). Two commits per round, as the runtime makes.
//
// What it does not: keep objects or an identity map, load definitions,
// check mandatory or unique attributes, carry structure, references,
// classifications, files or drafts over to the new revision, or send
// PostgreSQL notifications of the change. Items are never branched.

#include <unistd.h>

#include <stdexcept>

#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMUpdateWrapper.h>
#include <vqkudmrt/store/SqlDialect.h>
#include <vqlmidbdriver/iDbDriver.h>

#include "many_writers.h"

using namespace vqkudm;

namespace {

class RawLoop final : public WriterLoop {
 public:
  explicit RawLoop(const WorkerPlan& plan)
      : m_db(OpenWriterDatabase(plan.repository)),
        m_sessionId("raw-" + std::to_string(plan.index) + "-" + std::to_string(::getpid())),
        m_holder("raw" + std::to_string(plan.index)),
        m_changeLogLock(store::SqlDialect::ForDriver(m_db->GetDriverName())->changeLogLock) {
    m_takeLock = Prepare(
        "INSERT INTO udm_lock (dmid, holder, session_id, locked_time, comment) VALUES (?, ?, ?, ?, '')"
        " ON CONFLICT (dmid) DO NOTHING");
    m_lockHolder = Prepare("SELECT session_id FROM udm_lock WHERE dmid = ?");
    m_dropLock = Prepare("DELETE FROM udm_lock WHERE dmid = ? AND session_id = ?");
    m_latest = Prepare("SELECT latest_rev FROM udm_entity WHERE dmid = ?");
    m_counter = Prepare("SELECT num_value FROM udm_attribute WHERE uid = ? AND name = ?");
    m_advance = Prepare("UPDATE udm_entity SET latest_rev = ? WHERE dmid = ? AND latest_rev = ?");
    m_copyRevision = Prepare(
        "INSERT INTO udm_revision (uid, dmid, revision, name, modified_by, modified_time, comment)"
        " SELECT ?, dmid, ?, name, ?, ?, '' FROM udm_revision WHERE uid = ?");
    m_copyAttributes = Prepare(
        "INSERT INTO udm_attribute (uid, name, type, text_value, num_value)"
        " SELECT ?, name, type, text_value, num_value FROM udm_attribute WHERE uid = ? AND name <> ?");
    m_setAttribute =
        Prepare("INSERT INTO udm_attribute (uid, name, type, text_value, num_value) VALUES (?, ?, ?, ?, ?)");
    m_logChange = Prepare("INSERT INTO udm_change (session_id, op, uid, change_time) VALUES (?, ?, ?, ?)");
    if (!m_changeLogLock.empty()) m_lockChangeLog = Prepare(m_changeLogLock);
  }

  std::string SessionId() const override { return m_sessionId; }

  Outcome CheckInOnce(const std::string& dmid) override {
    int revision = 0;
    Check(m_db->BeginTransaction(), "begin the check-out");
    try {
      if (Execute(*m_takeLock, {dmid, m_holder, m_sessionId, UDMSession::Now()}) == 0) {
        Check(m_db->Rollback(), "end the lost check-out");
        return Outcome::kConflict;
      }
      revision = static_cast<int>(Int(QueryOne(*m_latest, {dmid}, "the latest revision")));
      LogChange(SIGNAL_CHECKED_OUT, dmid + std::to_string(revision));
      Check(m_db->Commit(), "commit the check-out");
    } catch (...) {
      if (m_db->IsInTransaction()) m_db->Rollback();
      throw;
    }
    try {
      CheckIn(dmid, revision);
    } catch (const std::exception& e) {
      if (m_db->IsInTransaction()) m_db->Rollback();
      // Hand the lock back, as the runtime's worker undoes its check-out.
      std::string message = e.what();
      try {
        Execute(*m_dropLock, {dmid, m_sessionId});
      } catch (const std::exception& undo) {
        message += "; releasing the lock failed too, " + dmid + " stays locked: " + undo.what();
      }
      throw std::runtime_error(message);
    }
    return Outcome::kCheckedIn;
  }

 private:
  void CheckIn(const std::string& dmid, int revision) {
    const std::string from = dmid + std::to_string(revision);
    const std::string to = dmid + std::to_string(revision + 1);
    const std::int64_t counter = Int(QueryOne(*m_counter, {from, kCounterAttribute}, "the counter"));
    const vqVariant raised(static_cast<double>(counter + 1));
    Check(m_db->BeginTransaction(), "begin the check-in");
    if (QueryOne(*m_lockHolder, {dmid}, "the lock").ToString() != m_sessionId) {
      throw std::runtime_error("the lock of " + dmid + " is no longer ours");
    }
    if (Execute(*m_advance, {vqVariant(revision + 1), dmid, vqVariant(revision)}) != 1) {
      throw std::runtime_error("another writer stored a newer revision of " + dmid);
    }
    Execute(*m_copyRevision, {to, vqVariant(revision + 1), m_holder, UDMSession::Now(), from});
    Execute(*m_copyAttributes, {to, from, kCounterAttribute});
    Execute(*m_setAttribute, {to, kCounterAttribute, vqVariant(static_cast<std::int64_t>(raised.GetType())),
                              raised.ToString(), raised});
    Execute(*m_dropLock, {dmid, m_sessionId});
    LogChange(SIGNAL_PERSISTED, to);
    Check(m_db->Commit(), "commit the check-in");
  }

  void LogChange(SignalOption op, const std::string& uid) {
    if (m_lockChangeLog) {
      vqlm::ResultSet granted;
      Check(m_lockChangeLog->Query(granted), "lock the change log");
    }
    Execute(*m_logChange, {m_sessionId, vqVariant(static_cast<int>(op)), uid, UDMSession::Now()});
  }

  std::unique_ptr<vqlm::iDbStatement> Prepare(const std::string& sql) {
    std::unique_ptr<vqlm::iDbStatement> statement;
    Check(m_db->Prepare(sql, statement), "prepare a statement");
    return statement;
  }

  std::int64_t Execute(vqlm::iDbStatement& statement, const vqStlVector<vqVariant>& values) {
    std::int64_t changed = 0;
    Check(statement.BindAll(values), "bind values");
    Check(statement.Execute(&changed), "run " + statement.GetSql());
    return changed;
  }

  vqVariant QueryOne(vqlm::iDbStatement& statement, const vqStlVector<vqVariant>& values, const char* what) {
    vqlm::ResultSet rows;
    Check(statement.BindAll(values), "bind values");
    Check(statement.Query(rows), std::string("read ") + what);
    if (rows.IsEmpty()) throw std::runtime_error(std::string("no ") + what + " for " + values[0].ToString());
    return rows.GetValue(0, 0);
  }

  static std::int64_t Int(const vqVariant& value) {
    double number = 0;
    if (!value.ToDouble(number)) throw std::runtime_error("not a number: " + value.ToString());
    return static_cast<std::int64_t>(number);
  }

  static void Check(const vqlm::DbStatus& status, const std::string& what) {
    if (!status) throw std::runtime_error("cannot " + what + ": " + status.GetText());
  }

  std::shared_ptr<vqlm::iDbDriver> m_db;
  std::string m_sessionId;
  std::string m_holder;
  std::string m_changeLogLock;
  std::unique_ptr<vqlm::iDbStatement> m_takeLock, m_lockHolder, m_dropLock, m_latest, m_counter, m_advance,
      m_copyRevision, m_copyAttributes, m_setAttribute, m_logChange, m_lockChangeLog;
};

}  // namespace

std::unique_ptr<WriterLoop> OpenRawLoop(const WorkerPlan& plan) { return std::make_unique<RawLoop>(plan); }
