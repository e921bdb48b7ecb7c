#pragma once

// The runtime's logger. Levels are indices into the vocabulary's log-level
// names (LM_MSG_PERFORMANCE = 0 ... LM_MSG_FATAL = 5); a line is written when
// its level is at or above the logger's threshold. Thread-safe.

#include <memory>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

namespace vqkudm {

// The name texts of a function, carried for logging.
class VQKUDMRT_API UDMFnLogger {
 public:
  UDMFnLogger() = default;
  UDMFnLogger(const vqString& first, const vqString& second) : m_first(first), m_second(second) {}
  UDMFnLogger(const UDMFnLogger& other) = default;
  UDMFnLogger& operator=(const UDMFnLogger& other) {
    m_first = other.m_first;
    m_second = other.m_second;
    return *this;
  }
  const vqString& GetFirst() const { return m_first; }
  const vqString& GetSecond() const { return m_second; }

 private:
  vqString m_first;
  vqString m_second;
};

class VQKUDMRT_API UDMLogger {
 public:
  enum Level {
    LevelPerformance = 0,
    LevelDebug = 1,
    LevelInfo = 2,
    LevelWarning = 3,
    LevelError = 4,
    LevelFatal = 5,
  };

  // Appends to `filePath` (creating it) when it is not empty, else writes
  // to standard error. If the file cannot be opened, falls back to standard
  // error and says so there.
  UDMLogger(const vqString& filePath, int threshold);
  ~UDMLogger();
  UDMLogger(const UDMLogger&) = delete;
  UDMLogger& operator=(const UDMLogger&) = delete;

  bool IsLoggedToFile() const;
  const vqString& GetFilePath() const;
  int GetThreshold() const;
  void SetThreshold(int threshold);

  // Writes one line: time, level name and text. Levels outside 0..5 are
  // clamped. Never throws.
  void LogMessage(const vqString& text, int level);
  void Flush();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace vqkudm
