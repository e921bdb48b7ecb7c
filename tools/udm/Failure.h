#pragma once

// How udm reports what went wrong: operation failures are UDMExceptions
// (exit status 1), wrong usage is a UsageError (exit status 2).

#include <stdexcept>
#include <string>

#include <vqkudmrt/UDMException.h>

namespace udm {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Refuses the operation of `command` as the runtime refuses its own.
[[noreturn]] void Refuse(const std::string& command, const std::string& message,
                         vqkudm::ExceptionSubCategory subCategory);

// The exception's text for users: argument checks prefix the raising
// function's signature, which only --verbose shows.
std::string UserMessage(const vqkudm::UDMException& failure);

}  // namespace udm
