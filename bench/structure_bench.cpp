// The product structure's hot paths, read from the repository: where-used of
// a part that a thousand assemblies on ten levels use, and the children and
// uses of an assembly with a thousand uses. Each against hand-written SQL run
// through its own SQLite connection on the same repository file.

#include <benchmark/benchmark.h>

#include <sqlite3.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include "ratio_reporter.h"
#include "sqlite_raw.h"
#include "workload.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

fs::path FreshDirectory(const std::string& name) {
  const fs::path dir = fs::temp_directory_path() / ("udm-structure-bench-" + name + "-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

void Describe(UDMItem& item, int i) {
  item.SetAttribute("material", vqVariant("steel"));
  item.SetAttribute("mass", vqVariant(0.5 + i));
  item.SetAttribute("partnumber", vqVariant("PN-" + std::to_string(i)));
}

// A part used by 1,000 assemblies on ten levels of 100: each assembly of
// level 1 uses the part (every fourth one twice), each one above uses three
// assemblies of the level below, so that all of them reach the part.
struct WhereUsedFixture {
  static constexpr int kLevels = 10;
  static constexpr int kPerLevel = 100;
  static constexpr std::size_t kAncestors = kLevels * kPerLevel;

  fs::path dir = FreshDirectory("where-used");
  boost::shared_ptr<UDMSession> session;
  UDMUID partUid;
  UDMItemPtr part;
  std::string partDmid;
  std::unique_ptr<RawSqlite> raw;
  sqlite3_stmt* ancestors = nullptr;

  WhereUsedFixture() {
    {
      boost::shared_ptr<IUDMSession> build = OpenBenchSession(dir.string());
      UDMItemPtr used = build->CreateEntity(kClassPart, "part", UDMUID());
      Describe(*used, 0);
      std::vector<UDMItemPtr> below, level;
      for (int l = 1; l <= kLevels; ++l) {
        level.clear();
        for (int j = 0; j < kPerLevel; ++j) {
          UDMItemPtr assembly =
              build->CreateEntity(kClassPart, "assembly-" + std::to_string(l) + "-" + std::to_string(j), UDMUID());
          Describe(*assembly, l * kPerLevel + j);
          if (l == 1) {
            assembly->AddChild(used, "parts");
            if (j % 4 == 0) assembly->AddChild(used, "parts");
          } else {
            for (int k : {0, 1, 37}) assembly->AddChild(below[(j + k) % kPerLevel], "parts");
          }
          level.push_back(assembly);
        }
        below.swap(level);
      }
      for (const UDMItemPtr& top : below) top->Persist("bench", GDM_RECURSE_ALL, -1, false, true);
      partUid = used->GetUID();
      UDMFramework::GetInstance()->DeleteSession(build);
    }
    // Reads go through a session that built nothing.
    session = boost::dynamic_pointer_cast<UDMSession>(OpenBenchSession(dir.string()));
    part = session->FindItemById(partUid, true, "");
    if (!part) std::abort();
    partDmid = partUid.GetDmUid().str();
    raw = std::make_unique<RawSqlite>((dir / "bench" / "repository.db").string(), true);
    // Every ancestor once per level and group it is reached at, nearest
    // first, with how many uses it makes of the level below, its latest
    // revision and attributes: what the runtime answers.
    ancestors = raw->Prepare(kRawWhereUsed);
    // Both sides read everything once before anything is measured. Besides
    // warming the caches this allocates the raw connection's page cache now:
    // allocated between the runtime's rounds instead, it leaves glibc
    // trimming the heap after each round and faulting it in again in the
    // next, which made its rounds about 1.6 times slower.
    RawRows rows;
    sqlite3_bind_text(ancestors, 1, partDmid.c_str(), -1, SQLITE_STATIC);
    raw->ReadAll(ancestors, rows);
    vqStlVector<UDMWhereUsed> users;
    part->GetWhereUsed(users, 0);
  }
  ~WhereUsedFixture() {
    raw.reset();
    part.reset();
    UDMFramework::GetInstance()->DeleteSession(session);
    session.reset();
    fs::remove_all(dir);
  }
};

WhereUsedFixture& WhereUsed() {
  static WhereUsedFixture fixture;
  return fixture;
}

void BM_WhereUsed_runtime(benchmark::State& state) {
  WhereUsedFixture& f = WhereUsed();
  vqStlVector<UDMWhereUsed> users;
  for (auto _ : state) {
    state.PauseTiming();
    // Nothing of the last round may be reused: the ancestors are read again.
    users.clear();
    f.session->ReleaseCache();
    state.ResumeTiming();
    f.part->GetWhereUsed(users, 0);
    if (users.size() != WhereUsedFixture::kAncestors) std::abort();
  }
}

void BM_ParentsFromDB_runtime(benchmark::State& state) {
  WhereUsedFixture& f = WhereUsed();
  std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>> byLevel;
  for (auto _ : state) {
    state.PauseTiming();
    byLevel.clear();
    f.session->ReleaseCache();
    state.ResumeTiming();
    f.part->GetParentsFromDB(byLevel, 0, 0);
    std::size_t found = 0;
    for (const auto& [level, parents] : byLevel) found += parents.size();
    if (byLevel.size() != WhereUsedFixture::kLevels || found != WhereUsedFixture::kAncestors) std::abort();
  }
}

void BM_WhereUsed_baseline(benchmark::State& state) {
  WhereUsedFixture& f = WhereUsed();
  RawItems ancestors;
  for (auto _ : state) {
    sqlite3_bind_text(f.ancestors, 1, f.partDmid.c_str(), -1, SQLITE_STATIC);
    if (f.raw->ReadItems(f.ancestors, 3, ancestors) != WhereUsedFixture::kAncestors) std::abort();
  }
}

// An assembly with 1,000 uses of 100 parts, each part used ten times, each
// use with its own find number and quantity.
struct ChildrenFixture {
  static constexpr int kParts = 100;
  static constexpr std::size_t kUses = 1000;

  fs::path dir = FreshDirectory("children");
  boost::shared_ptr<UDMSession> session;
  UDMUID assembly;
  std::string assemblyDmid;
  std::unique_ptr<RawSqlite> raw;
  sqlite3_stmt* children = nullptr;
  sqlite3_stmt* uses = nullptr;

  ChildrenFixture() {
    {
      boost::shared_ptr<IUDMSession> build = OpenBenchSession(dir.string());
      UDMItemPtr top = build->CreateEntity(kClassPart, "assembly", UDMUID());
      Describe(*top, 0);
      std::vector<UDMItemPtr> parts;
      for (int i = 0; i < kParts; ++i) {
        parts.push_back(build->CreateEntity(kClassPart, "part-" + std::to_string(i), UDMUID()));
        Describe(*parts.back(), i + 1);
      }
      for (std::size_t n = 0; n < kUses; ++n) {
        top->AddUse(parts[n % kParts], "parts",
                    {{"findnumber", vqVariant(std::int64_t(n + 1))}, {"quantity", vqVariant(2.0)}});
      }
      top->Persist("bench", GDM_RECURSE_ALL, -1, false, true);
      assembly = top->GetUID();
      assemblyDmid = assembly.GetDmUid().str();
      UDMFramework::GetInstance()->DeleteSession(build);
    }
    session = boost::dynamic_pointer_cast<UDMSession>(OpenBenchSession(dir.string()));
    raw = std::make_unique<RawSqlite>((dir / "bench" / "repository.db").string(), true);
    // The uses valid in the assembly's revision, in their order, each with
    // the child's latest revision and attributes; then the same with each
    // use's identifier and attributes.
#define BENCH_USES_OF_REVISION                                                                     \
  " FROM udm_link l JOIN udm_entity e ON e.dmid = l.child_dmid" RAW_ITEM_JOINS                   \
  " WHERE l.parent_dmid = ? AND l.grp = ? AND l.from_rev <= ? AND (l.to_rev IS NULL OR l.to_rev > ?)" \
  " ORDER BY l.position"
    children = raw->Prepare("SELECT l.position, l.grp," RAW_ITEM_COLUMNS BENCH_USES_OF_REVISION);
    uses = raw->Prepare("SELECT l.position, l.grp, l.use_id, l.attrs," RAW_ITEM_COLUMNS BENCH_USES_OF_REVISION);
#undef BENCH_USES_OF_REVISION
    // Both sides read everything once first, as for where-used.
    RawRows rows;
    for (sqlite3_stmt* statement : {children, uses}) {
      sqlite3_bind_text(statement, 1, assemblyDmid.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(statement, 2, "parts", -1, SQLITE_STATIC);
      sqlite3_bind_int(statement, 3, assembly.GetRevision());
      sqlite3_bind_int(statement, 4, assembly.GetRevision());
      raw->ReadAll(statement, rows);
    }
    vqStlVector<UDMChildUse> found;
    FreshAssembly()->GetUses(found, "parts");
  }
  ~ChildrenFixture() {
    raw.reset();
    UDMFramework::GetInstance()->DeleteSession(session);
    session.reset();
    fs::remove_all(dir);
  }

  // The stored assembly in a session that holds nothing else: its children
  // and uses must come from the repository.
  UDMItemPtr FreshAssembly() {
    session->ReleaseCache();
    UDMItemPtr item = session->FindItemById(assembly, true, "");
    if (!item) std::abort();
    return item;
  }
};

ChildrenFixture& Children() {
  static ChildrenFixture fixture;
  return fixture;
}

void BM_Children_runtime(benchmark::State& state) {
  ChildrenFixture& f = Children();
  vqStlVector<UDMItemPtr> children;
  UDMItemPtr assembly;
  for (auto _ : state) {
    state.PauseTiming();
    children.clear();
    assembly.reset();
    assembly = f.FreshAssembly();
    state.ResumeTiming();
    assembly->GetChildren(children, "parts");
    if (children.size() != ChildrenFixture::kUses) std::abort();
  }
}

void BM_Uses_runtime(benchmark::State& state) {
  ChildrenFixture& f = Children();
  vqStlVector<UDMChildUse> uses;
  UDMItemPtr assembly;
  for (auto _ : state) {
    state.PauseTiming();
    uses.clear();
    assembly.reset();
    assembly = f.FreshAssembly();
    state.ResumeTiming();
    assembly->GetUses(uses, "parts");
    if (uses.size() != ChildrenFixture::kUses) std::abort();
  }
}

// `lead`: the use's columns before RAW_ITEM_COLUMNS.
void RunChildrenBaseline(benchmark::State& state, sqlite3_stmt* statement, int lead) {
  ChildrenFixture& f = Children();
  const int revision = f.assembly.GetRevision();
  RawItems uses;
  for (auto _ : state) {
    sqlite3_bind_text(statement, 1, f.assemblyDmid.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_text(statement, 2, "parts", -1, SQLITE_STATIC);
    sqlite3_bind_int(statement, 3, revision);
    sqlite3_bind_int(statement, 4, revision);
    if (f.raw->ReadItems(statement, lead, uses) != ChildrenFixture::kUses) std::abort();
  }
}

void BM_Children_baseline(benchmark::State& state) { RunChildrenBaseline(state, Children().children, 2); }
void BM_Uses_baseline(benchmark::State& state) { RunChildrenBaseline(state, Children().uses, 4); }

}  // namespace

BENCHMARK(BM_WhereUsed_runtime)->Name("WhereUsed1000On10Levels/runtime")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WhereUsed_baseline)->Name("WhereUsed1000On10Levels/baseline")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ParentsFromDB_runtime)->Name("ParentsFromDB1000On10Levels/runtime")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WhereUsed_baseline)->Name("ParentsFromDB1000On10Levels/baseline")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Children_runtime)->Name("Children1000UsesOf100/runtime")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Children_baseline)->Name("Children1000UsesOf100/baseline")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Uses_runtime)->Name("Uses1000Of100/runtime")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Uses_baseline)->Name("Uses1000Of100/baseline")->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) { return RunBenchmarksWithRatios(argc, argv); }
