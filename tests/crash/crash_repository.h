#pragma once

// The repository the crash rounds work on, as the writer and the checker
// both open it.

#include <string>

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>

// Where the rounds run: an embedded repository under `location` (a
// directory), or the PostgreSQL database `location` on the server of
// `server` (a libpq connection string).
struct CrashTarget {
  std::string kind;  // "sqlite" or "postgres"
  std::string location;
  std::string server;
};

boost::shared_ptr<vqkudm::IUDMProfile> OpenCrashRepository(const CrashTarget& target, const std::string& workspace);

// The names the writer gives, so the checker finds what each operation made.
std::string BatchName(int op);
std::string ChildName(int op, int index);
