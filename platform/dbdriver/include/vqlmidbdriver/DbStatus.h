#pragma once

#include <vqlmidbdriver/vqlmidbdriverApi.h>
#include <vqutl/vqString.h>

namespace vqlm {

// What kind of failure a driver call met. Drivers map their native codes to
// these in one place each; callers branch on the kind, never on native codes.
enum DbErrorKind {
  DbOk = 0,
  DbFailed,         // any failure not listed below
  DbBusy,           // locked by another connection beyond the busy timeout
  DbConstraint,     // a unique, foreign-key, not-null or check constraint refused the change
  DbConnection,     // could not connect, or the connection was lost
  DbAuthentication, // the server refused the credentials
  DbNotOpen,        // the driver has no open database
  DbMisuse,         // bad SQL or a call out of order (a programming error)
  DbSerialization,  // a concurrent transaction won; retrying may succeed
};

// Outcome of a driver call: a kind and, on failure, a text that says what
// failed and why (the server's or library's own reason included), plus the
// SQLSTATE where the database reports one.
class VQLMIDBDRIVER_API DbStatus {
 public:
  DbStatus() = default;
  static DbStatus Failure(DbErrorKind kind, const vqString& text, const vqString& sqlState = vqString(),
                          int nativeCode = 0);

  bool IsOk() const { return m_kind == DbOk; }
  explicit operator bool() const { return IsOk(); }
  DbErrorKind GetKind() const { return m_kind; }
  const vqString& GetText() const { return m_text; }
  const vqString& GetSqlState() const { return m_sqlState; }
  int GetNativeCode() const { return m_nativeCode; }

 private:
  DbErrorKind m_kind = DbOk;
  vqString m_text;
  vqString m_sqlState;
  int m_nativeCode = 0;
};

}  // namespace vqlm
