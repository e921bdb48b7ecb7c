#pragma once

#include <system_error>
#include <utility>

#include <vqutl/vqString.h>

// The outcome of an operating-system call. The library never throws: every
// fallible operation returns one of these, and a failure's text names the
// file, library or symbol concerned and the system's reason.
class [[nodiscard]] osaStatus {
 public:
  // Success.
  osaStatus() = default;

  // `reason` is the system's error, when there is one.
  static osaStatus Failure(vqString text, std::error_code reason = {}) {
    osaStatus status;
    status.m_failed = true;
    status.m_text = std::move(text);
    status.m_reason = reason;
    return status;
  }

  bool IsOk() const { return !m_failed; }
  // Empty on success.
  const vqString& GetText() const { return m_text; }
  // Lets callers branch on the cause (e.g. std::errc::permission_denied);
  // empty on success and for failures the system did not report.
  const std::error_code& GetReason() const { return m_reason; }

 private:
  bool m_failed = false;
  vqString m_text;
  std::error_code m_reason;
};
