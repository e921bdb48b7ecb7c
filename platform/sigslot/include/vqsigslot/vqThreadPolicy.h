#pragma once

#include <mutex>

// Locking policies of signals. A signal holds its policy's lock for a whole
// emission, so the lock must allow the emitting thread to enter again (a slot
// may connect, disconnect or emit on the same signal).

// For objects used from one thread: locking does nothing.
struct single_threaded {
  void lock() {}
  void unlock() {}
};

// For signals shared between threads: emissions and connection changes
// exclude each other.
struct multi_threaded {
  multi_threaded() = default;
  // Each copy has its own mutex.
  multi_threaded(const multi_threaded&) {}
  multi_threaded& operator=(const multi_threaded&) { return *this; }
  void lock() { m_mutex.lock(); }
  void unlock() { m_mutex.unlock(); }

 private:
  std::recursive_mutex m_mutex;
};
