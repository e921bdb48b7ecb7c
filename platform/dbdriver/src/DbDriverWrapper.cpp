#include <vqlmidbdriver/DbDriverWrapper.h>

namespace vqlm {

DbDriverWrapper::DbDriverWrapper(std::shared_ptr<iDbDriver> target) : m_target(std::move(target)) {}
DbDriverWrapper::~DbDriverWrapper() = default;

vqString DbDriverWrapper::GetDriverName() const { return m_target->GetDriverName(); }
DbStatus DbDriverWrapper::Open(const vqString& connection) { return m_target->Open(connection); }
void DbDriverWrapper::Close() { m_target->Close(); }
bool DbDriverWrapper::IsOpen() const { return m_target->IsOpen(); }
DbStatus DbDriverWrapper::ExecSqlQuery(const vqString& sql, ResultSet& out) {
  return m_target->ExecSqlQuery(sql, out);
}
DbStatus DbDriverWrapper::ExecSqlStatement(const vqString& sql) {
  return m_target->ExecSqlStatement(sql);
}
DbStatus DbDriverWrapper::BeginTransaction() { return m_target->BeginTransaction(); }
DbStatus DbDriverWrapper::Commit() { return m_target->Commit(); }
DbStatus DbDriverWrapper::Rollback() { return m_target->Rollback(); }
bool DbDriverWrapper::IsInTransaction() const { return m_target->IsInTransaction(); }
DbStatus DbDriverWrapper::Prepare(const vqString& sql, std::unique_ptr<iDbStatement>& out) {
  return m_target->Prepare(sql, out);
}
DbStatus DbDriverWrapper::BulkInsertEach(const vqString& table,
                                         const vqStlVector<vqString>& columns, std::size_t rowCount,
                                         const DbRowFiller& fill) {
  return m_target->BulkInsertEach(table, columns, rowCount, fill);
}
bool DbDriverWrapper::HasNotifications() const { return m_target->HasNotifications(); }
DbStatus DbDriverWrapper::Listen(const vqString& channel) { return m_target->Listen(channel); }
DbStatus DbDriverWrapper::Notify(const vqString& channel, const vqString& payload) {
  return m_target->Notify(channel, payload);
}
DbStatus DbDriverWrapper::WaitForNotification(int timeoutMs, vqStlVector<vqString>& payloads) {
  return m_target->WaitForNotification(timeoutMs, payloads);
}

}  // namespace vqlm
