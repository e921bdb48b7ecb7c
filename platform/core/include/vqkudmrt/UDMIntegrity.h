#pragma once

// What UDMSession::VerifyRepository finds: each broken invariant with what
// it concerns, and how much was checked.

#include <cstdint>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

struct UDMIntegrityFinding {
  // The check that found it: "database", "revision", "attribute", "link",
  // "reference", "classification", "relation", "file", "content",
  // "unreferenced content", "lock" or "schema".
  vqString check;
  // What it concerns: a revision or entity identifier, a content key, a table.
  vqString subject;
  vqString message;
  // False for what does no harm and is only reported: a content nothing
  // refers to, as an interrupted check-in leaves behind.
  bool fault = true;
  // Removed by this run, which was asked to prune.
  bool removed = false;
};

struct UDMIntegrityReport {
  int schemaVersion = 0;
  std::uint64_t entities = 0;
  std::uint64_t revisions = 0;
  std::uint64_t fileRecords = 0;
  std::uint64_t contents = 0;
  vqStlVector<UDMIntegrityFinding> findings;

  // No finding is a fault.
  bool IsSound() const {
    for (const UDMIntegrityFinding& finding : findings) {
      if (finding.fault) return false;
    }
    return true;
  }
};

}  // namespace vqkudm
