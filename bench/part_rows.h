#pragma once

// The create-and-persist workload shared by the benchmarks: a project with
// `count` parts of five attributes each, made through the runtime, and the
// same rows table by table for the raw baselines to write their own way.

#include <vector>

#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMItem.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqVariant.h>

struct TableRows {
  const char* table;
  vqStlVector<vqString> columns;
  std::vector<vqStlVector<vqVariant>> rows;
};

// Creates the project and its parts in `session` and persists them.
void CreateAndPersistParts(vqkudm::IUDMSession& session, int count);

// Every row the runtime writes for that persist, including the definition's
// default attribute and the change-log entries.
std::vector<TableRows> MakePartRows(int count);
