#pragma once

// What the benchmarks share: a session on a local repository, and the
// create-and-persist workload (a project with `count` parts of five
// attributes each) made through the runtime, with the same rows table by
// table for the raw baselines to write their own way.

#include <string>

#include <benchmark/benchmark.h>
#include <vector>

#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMItem.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqVariant.h>

namespace vqlm {
class iDbDriver;
}

struct TableRows {
  const char* table;
  vqStlVector<vqString> columns;
  std::vector<vqStlVector<vqVariant>> rows;
};

// A session on the local repository "bench" under `baseDir`.
boost::shared_ptr<vqkudm::IUDMSession> OpenBenchSession(const std::string& baseDir);

// Creates the project and its parts in `session` and persists them.
void CreateAndPersistParts(vqkudm::IUDMSession& session, int count);

// Every row the runtime writes for that persist, including the definition's
// default attribute and the change-log entries.
std::vector<TableRows> MakePartRows(int count);
// The rows inserted as an application would write them: one prepared INSERT
// per table, executed row by row, in one transaction.
void InsertRowsRaw(vqlm::iDbDriver& db, const std::vector<TableRows>& tables);

// The baseline of creating and persisting `state.range(0)` parts: their rows
// inserted with InsertRowsRaw into a fresh SQLite database.
void BM_CreateAndPersistPartsRaw(benchmark::State& state);
