#include "Signals.h"

#include <csignal>
#include <string>

namespace udm {

namespace {

volatile std::sig_atomic_t g_received = 0;

extern "C" void OnSignal(int signal) {
  if (g_received != 0) {
    // Only signal() and raise() here: both are async-signal-safe.
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    return;
  }
  g_received = signal;
}

}  // namespace

Interrupted::Interrupted(int signal)
    : std::runtime_error(signal == SIGINT ? "interrupted" : "terminated by signal " + std::to_string(signal)),
      m_signal(signal) {}

void InstallSignalHandlers() {
  struct sigaction action {};
  action.sa_handler = OnSignal;
  // The database and file copies go on through a signal rather than fail.
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

int ReceivedSignal() { return g_received; }

void CheckInterrupted() {
  if (g_received != 0) throw Interrupted(g_received);
}

int ExitStatusAfter(int signal) { return 128 + signal; }

}  // namespace udm
