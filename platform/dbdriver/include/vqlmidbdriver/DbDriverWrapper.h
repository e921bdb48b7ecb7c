#pragma once

#include <memory>

#include <vqlmidbdriver/iDbDriver.h>

namespace vqlm {

// Forwards every call to another driver. Derive from it to decorate a
// driver or to inject one fault (fail a commit, drop a connection) while
// everything else runs for real.
class VQLMIDBDRIVER_API DbDriverWrapper : public iDbDriver {
 public:
  explicit DbDriverWrapper(std::shared_ptr<iDbDriver> target);
  ~DbDriverWrapper() override;

  iDbDriver& Target() { return *m_target; }

  vqString GetDriverName() const override;
  DbStatus Open(const vqString& connection) override;
  void Close() override;
  bool IsOpen() const override;
  DbStatus ExecSqlQuery(const vqString& sql, ResultSet& out) override;
  DbStatus ExecSqlStatement(const vqString& sql) override;
  DbStatus BeginTransaction() override;
  DbStatus Commit() override;
  DbStatus Rollback() override;
  bool IsInTransaction() const override;
  DbStatus Prepare(const vqString& sql, std::unique_ptr<iDbStatement>& out) override;
  DbStatus BulkInsertEach(const vqString& table, const vqStlVector<vqString>& columns, std::size_t rowCount,
                          const DbRowFiller& fill) override;
  bool HasNotifications() const override;
  DbStatus Listen(const vqString& channel) override;
  DbStatus Notify(const vqString& channel, const vqString& payload) override;
  DbStatus WaitForNotification(int timeoutMs, vqStlVector<vqString>& payloads) override;

  using iDbDriver::ExecSqlQuery;
  using iDbDriver::ExecSqlStatement;

 private:
  std::shared_ptr<iDbDriver> m_target;
};

}  // namespace vqlm
