#pragma once

// The database driver interface. The core reaches a database only through
// it; each database has one driver module created through its exported C
// entry "CreateDriver". Every call reports failure by value (DbStatus), never
// by exception.
//
// SQL uses "?" placeholders on every driver (drivers translate them where
// their database wants another form), so no caller ever builds SQL from
// values. A driver object is one connection and is not thread-safe: use one
// per thread.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <vqlmidbdriver/DbParam.h>
#include <vqlmidbdriver/DbRow.h>
#include <vqlmidbdriver/DbStatus.h>
#include <vqlmidbdriver/ResultSet.h>
#include <vqlmidbdriver/vqlmidbdriverApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqlm {

// A prepared statement of one driver. Owned by the caller; must not outlive
// its driver. Bindings persist across executions until re-bound.
class VQLMIDBDRIVER_API iDbStatement {
 public:
  virtual ~iDbStatement();

  virtual const vqString& GetSql() const = 0;
  virtual int GetParameterCount() const = 0;

  // Parameters are numbered from 1. An empty variant binds NULL; a string
  // list binds its text form.
  virtual DbStatus Bind(int index, const vqVariant& value) = 0;
  virtual DbStatus BindBlob(int index, const void* data, std::size_t size) = 0;

  // Runs a statement that returns no rows. `rowsAffected`, when given,
  // receives the number of rows inserted, changed or deleted.
  virtual DbStatus Execute(std::int64_t* rowsAffected = nullptr) = 0;
  // Runs a query and collects all its rows into `out` (cleared first).
  virtual DbStatus Query(ResultSet& out) = 0;
  // Runs a query and hands `onRow` each row as it is read. An exception
  // from `onRow` ends the query and passes on.
  virtual DbStatus QueryEach(const std::function<void(const DbRow&)>& onRow);

  // Binds `values` to parameters 1..n.
  DbStatus BindAll(const vqStlVector<vqVariant>& values);
};

class VQLMIDBDRIVER_API iDbDriver {
 public:
  virtual ~iDbDriver();

  // "sqlite", "postgres", …
  virtual vqString GetDriverName() const = 0;

  // Opens a database. The connection text is the driver's own: a file path
  // for SQLite, a libpq connection string for PostgreSQL. Opening an open
  // driver closes the old connection first.
  virtual DbStatus Open(const vqString& connection) = 0;
  // Closes the connection, rolling back an open transaction. Safe to repeat.
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;

  // Plain SQL text, for statements that take no values (schema, pragmas).
  virtual DbStatus ExecSqlQuery(const vqString& sql, ResultSet& out) = 0;
  virtual DbStatus ExecSqlStatement(const vqString& sql) = 0;

  // Transactions do not nest: BeginTransaction inside one fails (DbMisuse).
  virtual DbStatus BeginTransaction() = 0;
  virtual DbStatus Commit() = 0;
  virtual DbStatus Rollback() = 0;
  virtual bool IsInTransaction() const = 0;

  virtual DbStatus Prepare(const vqString& sql, std::unique_ptr<iDbStatement>& out) = 0;

  // Inserts `rowCount` rows into one table by the driver's fastest path
  // (COPY on PostgreSQL, a reused prepared statement on SQLite), asking
  // `fill` for each row's values as it writes it. Runs inside the caller's
  // transaction if one is open.
  virtual DbStatus BulkInsertEach(const vqString& table, const vqStlVector<vqString>& columns,
                                  std::size_t rowCount, const DbRowFiller& fill) = 0;
  // The same for rows held as values; every row has one value per column.
  DbStatus BulkInsert(const vqString& table, const vqStlVector<vqString>& columns,
                      const std::vector<vqStlVector<vqVariant>>& rows);

  // Notifications between connections (LISTEN/NOTIFY on PostgreSQL). A
  // driver without them answers false and DbMisuse; callers then poll.
  virtual bool HasNotifications() const;
  // Subscribes this connection to `channel`.
  virtual DbStatus Listen(const vqString& channel);
  // Sends `payload` on `channel`; inside a transaction it is delivered at commit.
  virtual DbStatus Notify(const vqString& channel, const vqString& payload);
  // Waits up to `timeoutMs` for notifications on the channels listened to and
  // appends their payloads; returns at once when some are already waiting.
  virtual DbStatus WaitForNotification(int timeoutMs, vqStlVector<vqString>& payloads);

  // One-shot forms of Prepare + BindAll + Query/Execute.
  DbStatus ExecSqlQuery(const vqString& sql, const vqStlVector<vqVariant>& params, ResultSet& out);
  DbStatus ExecSqlStatement(const vqString& sql, const vqStlVector<vqVariant>& params,
                            std::int64_t* rowsAffected = nullptr);
};

// The signature of a driver module's "CreateDriver" entry. The returned
// driver is owned by the caller, who must keep the module loaded while it lives.
typedef iDbDriver* (*CreateDriverFunction)();

}  // namespace vqlm
