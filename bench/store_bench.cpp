// Creating and persisting many items: the runtime against inserting the same
// rows with prepared statements in one raw SQLite transaction.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <map>

#include <boost/make_shared.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMQueryResults.h>
#include <vqkudmrt/UDMQuerySettings.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/iDbDriver.h>

#include "raw_statements.h"
#include "workload.h"
#include "ratio_reporter.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

fs::path FreshDirectory() {
  const fs::path dir = fs::temp_directory_path() / ("udm-bench-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

void BM_CreateAndPersistItems_runtime(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path dir = FreshDirectory();
    boost::shared_ptr<IUDMSession> session = OpenBenchSession(dir.string());
    state.ResumeTiming();

    CreateAndPersistParts(*session, count);

    state.PauseTiming();
    UDMFramework::GetInstance()->DeleteSession(session);
    session.reset();
    fs::remove_all(dir);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * count);
}

// A repository of `count` parts written directly (fast set-up), plus a chain
// of ten levels and a node with 1,000 children, shared by the read benchmarks.
struct ReadFixture {
  fs::path dir;
  boost::shared_ptr<IUDMSession> session;
  std::shared_ptr<vqlm::iDbDriver> raw;
  std::vector<UDMUID> items;
  UDMUID deepest;
  UDMUID wide;

  explicit ReadFixture(int count) {
    dir = FreshDirectory() / "read";
    fs::create_directories(dir);
    session = OpenBenchSession(dir.string());
    raw = store::OpenRepositoryDatabase("sqlite", (dir / "bench" / "repository.db").string());
    const vqString now = UDMSession::Now();
    std::vector<vqStlVector<vqVariant>> entities, revisions, links;
    auto add = [&](const vqString& cdef) {
      const UDMUID uid = UDMUID::Generate();
      entities.push_back({uid.GetDmUid(), cdef, kClassItem, vqVariant(0), vqVariant(0), "bench", now});
      revisions.push_back({uid.ToString(), uid.GetDmUid(), vqVariant(0), "item", "bench", now, ""});
      return uid;
    };
    for (int i = 0; i < count; ++i) items.push_back(add(kClassPart));
    UDMUID parent = add(kClassProject);
    for (int level = 0; level < 10; ++level) {
      const UDMUID child = add(kClassPart);
      links.push_back({parent.GetDmUid(), "parts/" + child.GetDmUid(), "parts", child.GetDmUid(), vqVariant(0),
                       vqVariant(0)});
      parent = child;
    }
    deepest = parent;
    wide = add(kClassProject);
    for (int i = 0; i < 1000; ++i) {
      links.push_back({wide.GetDmUid(), "parts/" + items[i].GetDmUid(), "parts", items[i].GetDmUid(), vqVariant(0),
                       vqVariant(i)});
    }
    // A use is named by its group and child, as a repository's first uses are.
    raw->BeginTransaction();
    if (!raw->BulkInsert("udm_entity", {"dmid", "cdef", "class", "latest_rev", "deleted", "created_by", "created_time"},
                         entities) ||
        !raw->BulkInsert("udm_revision", {"uid", "dmid", "revision", "name", "modified_by", "modified_time", "comment"},
                         revisions) ||
        !raw->BulkInsert("udm_link", {"parent_dmid", "use_id", "grp", "child_dmid", "from_rev", "position"}, links) ||
        !raw->Commit()) {
      std::abort();
    }
  }
  ~ReadFixture() {
    UDMFramework::GetInstance()->DeleteSession(session);
    session.reset();
    raw.reset();
    fs::remove_all(dir);
  }
};

ReadFixture& Reads() {
  static ReadFixture fixture(1000000);
  return fixture;
}

void BM_LoadById_runtime(benchmark::State& state) {
  ReadFixture& f = Reads();
  std::size_t i = 0;
  for (auto _ : state) {
    // A fresh identifier each time: the session must go to the repository.
    UDMItemPtr item = f.session->FindItemById(f.items[(i++ * 7919) % f.items.size()], true, "");
    benchmark::DoNotOptimize(item);
  }
}

void BM_LoadById_baseline(benchmark::State& state) {
  ReadFixture& f = Reads();
  std::unique_ptr<vqlm::iDbStatement> revision;
  f.raw->Prepare("SELECT" RAW_ITEM_COLUMNS
                 " FROM udm_revision r JOIN udm_entity e ON e.dmid = r.dmid"
                 " LEFT JOIN udm_attribute a ON a.uid = r.uid WHERE r.uid = ? AND r.state = 0",
                 revision);
  std::size_t i = 0;
  vqlm::ResultSet rows;
  for (auto _ : state) {
    revision->Bind(1, f.items[(i++ * 7919) % f.items.size()].ToString());
    revision->Query(rows);
    if (rows.IsEmpty()) std::abort();
  }
}

void BM_WhereUsedTenLevels_runtime(benchmark::State& state) {
  ReadFixture& f = Reads();
  for (auto _ : state) {
    std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>> byLevel;
    f.session->FindItemById(f.deepest, true, "")->GetParentsFromDB(byLevel, 0, 0);
    if (byLevel.size() != 10) std::abort();
  }
}

void BM_WhereUsedTenLevels_baseline(benchmark::State& state) {
  ReadFixture& f = Reads();
  // Every ancestor with its item columns, as the runtime returns them.
  std::unique_ptr<vqlm::iDbStatement> ancestors;
  f.raw->Prepare(kRawWhereUsed, ancestors);
  vqlm::ResultSet rows;
  for (auto _ : state) {
    ancestors->Bind(1, f.deepest.GetDmUid());
    ancestors->Query(rows);
    if (rows.GetRowCount() < 10) std::abort();
  }
}

void BM_ThousandChildren_runtime(benchmark::State& state) {
  ReadFixture& f = Reads();
  UDMItemPtr wide;
  vqStlVector<UDMItemPtr> children;
  for (auto _ : state) {
    // A session that holds the assembly alone, so the children come from the repository.
    state.PauseTiming();
    children.clear();
    wide.reset();
    boost::dynamic_pointer_cast<UDMSession>(f.session)->ReleaseCache();
    wide = f.session->FindItemById(f.wide, true, "");
    state.ResumeTiming();
    wide->GetChildren(children, "parts");
    if (children.size() != 1000) std::abort();
  }
}

void BM_ThousandChildren_baseline(benchmark::State& state) {
  ReadFixture& f = Reads();
  // The same rows the runtime reads: each use valid in the assembly's
  // revision, with its child's entity, latest revision and attributes.
  std::unique_ptr<vqlm::iDbStatement> children;
  f.raw->Prepare("SELECT l.grp, l.position, l.use_id, l.attrs," RAW_ITEM_COLUMNS
                 " FROM udm_link l JOIN udm_entity e ON e.dmid = l.child_dmid" RAW_ITEM_JOINS
                 " WHERE l.parent_dmid = ? AND l.from_rev <= ? AND (l.to_rev IS NULL OR l.to_rev > ?)"
                 " AND l.grp = 'parts' ORDER BY l.grp, l.position",
                 children);
  vqlm::ResultSet rows;
  for (auto _ : state) {
    children->BindAll({f.wide.GetDmUid(), vqVariant(f.wide.GetRevision()), vqVariant(f.wide.GetRevision())});
    children->Query(rows);
    if (rows.GetRowCount() != 1000) std::abort();
  }
}

// Items with 1,000 stored revisions each, every revision with two
// attributes; more revisions in all than a session's cache holds, so that
// each run reads revisions the session does not have.
constexpr int kHistories = 25;

struct HistoryFixture {
  fs::path dir;
  std::vector<UDMUID> latest;
  std::shared_ptr<vqlm::iDbDriver> raw;
  boost::shared_ptr<IUDMSession> session;

  HistoryFixture() {
    dir = FreshDirectory() / "history";
    fs::create_directories(dir / "bench");
    raw = store::OpenRepositoryDatabase("sqlite", (dir / "bench" / "repository.db").string());
    const vqString now = UDMSession::Now();
    std::vector<vqStlVector<vqVariant>> entities, revisions, attributes;
    for (int item = 0; item < kHistories; ++item) {
      const UDMUID first = UDMUID::Generate();
      entities.push_back({first.GetDmUid(), kClassPart, kClassItem, vqVariant(999), vqVariant(0), "bench", now});
      for (int r = 0; r < 1000; ++r) {
        const vqString uid = first.WithRevision(r).ToString();
        revisions.push_back({uid, first.GetDmUid(), vqVariant(r), "history", "bench", now, "revision"});
        attributes.push_back({uid, "mass", vqVariant(4), vqString::FromDouble(r), vqVariant(double(r))});
        attributes.push_back({uid, "material", vqVariant(5), "steel", vqVariant()});
      }
      latest.push_back(first.WithRevision(999));
    }
    raw->BeginTransaction();
    raw->BulkInsert("udm_entity", {"dmid", "cdef", "class", "latest_rev", "deleted", "created_by", "created_time"},
                    entities);
    raw->BulkInsert("udm_revision", {"uid", "dmid", "revision", "name", "modified_by", "modified_time", "comment"},
                    revisions);
    raw->BulkInsert("udm_attribute", {"uid", "name", "type", "text_value", "num_value"}, attributes);
    raw->Commit();
    session = OpenBenchSession(dir.string());
  }
  ~HistoryFixture() {
    UDMFramework::GetInstance()->DeleteSession(session);
    raw.reset();
    fs::remove_all(dir);
  }
};

HistoryFixture& History() {
  static HistoryFixture fixture;
  return fixture;
}

void BM_AllRevisionsOfThousand_runtime(benchmark::State& state) {
  HistoryFixture& f = History();
  int run = 0;
  for (auto _ : state) {
    state.PauseTiming();
    UDMItemPtr item = f.session->FindItemById(f.latest[run++ % kHistories], true, "");
    state.ResumeTiming();
    vqStlVector<UDMItemPtr> revisions = item->GetAllRevisions();
    if (revisions.size() != 1000) std::abort();
  }
}

// Every column an item is made of, as the runtime reads them.
void BM_AllRevisionsOfThousand_baseline(benchmark::State& state) {
  HistoryFixture& f = History();
  vqlm::ResultSet rows;
  int run = 0;
  for (auto _ : state) {
    f.raw->ExecSqlQuery(
        "SELECT e.dmid, e.cdef, e.class, e.latest_rev, e.deleted, e.created_by, e.created_time, e.branch_from,"
        " r.uid, r.revision, r.name, r.modified_by, r.modified_time, r.comment, a.name, a.type, a.text_value,"
        " a.num_value FROM udm_entity e JOIN udm_revision r ON r.dmid = e.dmid AND r.state = 0"
        " LEFT JOIN udm_attribute a ON a.uid = r.uid WHERE e.dmid = ? ORDER BY r.revision",
        {f.latest[run++ % kHistories].GetDmUid()}, rows);
    if (rows.GetRowCount() != 2000) std::abort();
  }
}

// 100,000 parts, each with a mass; a query picks 100 of them by range.
struct QueryFixture {
  fs::path dir;
  boost::shared_ptr<IUDMSession> session;
  std::shared_ptr<vqlm::iDbDriver> raw;

  QueryFixture() {
    dir = FreshDirectory() / "query";
    fs::create_directories(dir / "bench");
    raw = store::OpenRepositoryDatabase("sqlite", (dir / "bench" / "repository.db").string());
    const vqString now = UDMSession::Now();
    std::vector<vqStlVector<vqVariant>> entities, revisions, attributes;
    for (int i = 0; i < 100000; ++i) {
      const UDMUID uid = UDMUID::Generate();
      entities.push_back({uid.GetDmUid(), kClassPart, kClassItem, vqVariant(0), vqVariant(0), "bench", now});
      revisions.push_back({uid.ToString(), uid.GetDmUid(), vqVariant(0), "part-" + std::to_string(i), "bench", now, ""});
      attributes.push_back({uid.ToString(), "mass", vqVariant(4), vqString::FromDouble(i), vqVariant(double(i))});
      attributes.push_back({uid.ToString(), "material", vqVariant(5), i % 2 ? "steel" : "brass", vqVariant()});
    }
    raw->BeginTransaction();
    raw->BulkInsert("udm_entity", {"dmid", "cdef", "class", "latest_rev", "deleted", "created_by", "created_time"},
                    entities);
    raw->BulkInsert("udm_revision", {"uid", "dmid", "revision", "name", "modified_by", "modified_time", "comment"},
                    revisions);
    raw->BulkInsert("udm_attribute", {"uid", "name", "type", "text_value", "num_value"}, attributes);
    raw->Commit();
    session = OpenBenchSession(dir.string());
  }
  ~QueryFixture() {
    UDMFramework::GetInstance()->DeleteSession(session);
    raw.reset();
    fs::remove_all(dir);
  }
};

QueryFixture& Queries() {
  static QueryFixture fixture;
  return fixture;
}

void BM_QueryRangePage_runtime(benchmark::State& state) {
  QueryFixture& f = Queries();
  UDMQuerySettings settings;
  settings.AddSortByMetadata("mass", false);
  for (auto _ : state) {
    UDMQueryResults results;
    f.session->QueryPaged(results, "mass >= 50000 and mass < 50100 and material = 'steel'", 0, 100, settings, false,
                          false, false);
    if (results.GetEntities().size() != 50) std::abort();
  }
}

// The same rows, their count and their attributes, as one would write them
// by hand: from the attribute index, joined to the entities.
void BM_QueryRangePage_baseline(benchmark::State& state) {
  QueryFixture& f = Queries();
  vqlm::ResultSet rows, count, attributes;
  const char* const from =
      " FROM udm_attribute m JOIN udm_attribute k ON k.uid = m.uid AND k.name = 'material' AND k.text_value = ?"
      " JOIN udm_revision r ON r.uid = m.uid AND r.state = 0 JOIN udm_entity e ON e.dmid = r.dmid"
      " WHERE m.name = 'mass' AND m.num_value >= ? AND m.num_value < ? AND r.revision = e.latest_rev AND e.deleted = 0";
  const vqStlVector<vqVariant> params{vqVariant("steel"), vqVariant(50000.0), vqVariant(50100.0)};
  for (auto _ : state) {
    f.raw->ExecSqlQuery(vqString("SELECT r.uid, e.cdef, r.name, e.deleted") + from + " ORDER BY m.num_value LIMIT 100",
                        params, rows);
    f.raw->ExecSqlQuery(vqString("SELECT count(*)") + from, params, count);
    vqString in = "SELECT uid, name, type, text_value, num_value FROM udm_attribute WHERE uid IN (";
    vqStlVector<vqVariant> uids;
    for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
      in += i ? ", ?" : "?";
      uids.push_back(rows.GetValue(i, 0));
    }
    f.raw->ExecSqlQuery(in + ")", uids, attributes);
    if (rows.GetRowCount() != 50) std::abort();
  }
}

// The query's items themselves, none of them in the session yet: each run
// asks for another of the 1,000 ranges, and the session's cache holds fewer
// items than the runs go through before they come back to a range.
constexpr int kRanges = 1000;

void BM_QueryRangeItems_runtime(benchmark::State& state) {
  QueryFixture& f = Queries();
  int run = 0;
  for (auto _ : state) {
    const int from = (run++ % kRanges) * 100;
    vqStlVector<UDMItemPtr> items;
    f.session->ExecuteQuery(f.session->CreateQuery("mass >= " + std::to_string(from) + " and mass < " +
                                                       std::to_string(from + 100) + " and material = 'steel'",
                                                   false, 0),
                            1, false, items);
    if (items.size() != 50) std::abort();
  }
}

// The same rows with every column and attribute an item holds.
void BM_QueryRangeItems_baseline(benchmark::State& state) {
  QueryFixture& f = Queries();
  vqlm::ResultSet rows;
  int run = 0;
  for (auto _ : state) {
    const double from = (run++ % kRanges) * 100.0;
    f.raw->ExecSqlQuery(
        "SELECT e.dmid, e.cdef, e.class, e.latest_rev, e.deleted, e.created_by, e.created_time, r.uid, r.name,"
        " r.modified_by, r.modified_time, r.comment, a.name, a.type, a.text_value, a.num_value"
        " FROM udm_attribute m JOIN udm_attribute k ON k.uid = m.uid AND k.name = 'material' AND k.text_value = ?"
        " JOIN udm_revision r ON r.uid = m.uid AND r.state = 0 JOIN udm_entity e ON e.dmid = r.dmid"
        " LEFT JOIN udm_attribute a ON a.uid = r.uid"
        " WHERE m.name = 'mass' AND m.num_value >= ? AND m.num_value < ? AND r.revision = e.latest_rev"
        " AND e.deleted = 0 ORDER BY r.uid",
        {vqVariant("steel"), vqVariant(from), vqVariant(from + 100)}, rows);
    if (rows.GetRowCount() != 100) std::abort();
  }
}

}  // namespace

BENCHMARK(BM_QueryRangeItems_runtime)->Name("QueryRangeItemsOf100k/runtime")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_QueryRangeItems_baseline)->Name("QueryRangeItemsOf100k/baseline")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_QueryRangePage_runtime)->Name("QueryRangePageOf100k/runtime")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_QueryRangePage_baseline)->Name("QueryRangePageOf100k/baseline")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AllRevisionsOfThousand_runtime)->Name("AllRevisionsOfThousand/runtime")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AllRevisionsOfThousand_baseline)->Name("AllRevisionsOfThousand/baseline")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadById_runtime)->Name("LoadByIdFromMillion/runtime")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LoadById_baseline)->Name("LoadByIdFromMillion/baseline")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WhereUsedTenLevels_runtime)->Name("WhereUsedTenLevels/runtime")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WhereUsedTenLevels_baseline)->Name("WhereUsedTenLevels/baseline")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ThousandChildren_runtime)->Name("ThousandChildren/runtime")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ThousandChildren_baseline)->Name("ThousandChildren/baseline")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CreateAndPersistItems_runtime)->Name("CreateAndPersistItems/runtime")->Arg(100000)
    ->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_CreateAndPersistPartsRaw)->Name("CreateAndPersistItems/baseline")->Arg(100000)
    ->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv) { return RunBenchmarksWithRatios(argc, argv); }
