#pragma once

// Ctrl-C and SIGTERM as a flag: long work checks it at points where it can
// still undo what it started, then ends with the shell's status for the
// signal (128 + its number). A second signal while one waits ends the
// process at once, for work that never checks.

#include <stdexcept>

namespace udm {

// Raised by CheckInterrupted once a signal came.
class Interrupted : public std::runtime_error {
 public:
  explicit Interrupted(int signal);
  int signal() const { return m_signal; }

 private:
  int m_signal;
};

// Handles SIGINT and SIGTERM for the rest of the process.
void InstallSignalHandlers();
// The signal received since installing, 0 for none.
int ReceivedSignal();
// Raises Interrupted when a signal came.
void CheckInterrupted();
// What the process exits with after `signal`.
int ExitStatusAfter(int signal);

}  // namespace udm
