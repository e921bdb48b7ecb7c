#pragma once

// What a test needs to look at a failure.

#include <vqkudmrt/UDMException.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

// The exception an action raises; fails the test when it raises none.
inline vqkudm::UDMException RaisedBy(const std::function<void()>& action) {
  try {
    action();
  } catch (const vqkudm::UDMException& e) {
    return e;
  }
  ADD_FAILURE() << "no UDMException was raised";
  return vqkudm::UDMException();
}

inline bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}
