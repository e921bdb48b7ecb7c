// How the runtime's work grows with the repository: repositories of 10,000,
// 100,000 and 1,000,000 parts (see large_repository.h), each built once and
// then read by every lookup, against hand-written SQL through a SQLite
// connection of its own on the same repository file. Creating should cost
// the same per item at every size, and a lookup at most a little more as the
// repository grows; the table shows the cost per item or per call.
//
// VQKUDM_GROWTH_MAX (or --max=N) leaves out the sizes above N; a maximum
// below 10,000 runs that one size alone.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMQuery.h>
#include <vqkudmrt/UDMQueryResults.h>
#include <vqkudmrt/UDMQuerySettings.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/iDbDriver.h>

#include "large_repository.h"
#include "sqlite_raw.h"
#include "workload.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

// Seconds per operation, the median of `rounds` rounds of `ops` operations
// each; `prepare(n)` runs untimed before operation `n` (counted over all
// rounds), so that nothing of one call is reused by the next.
double PerOperation(int rounds, int ops, const std::function<void(std::size_t)>& prepare,
                    const std::function<void(std::size_t)>& operation) {
  std::vector<double> perRound;
  std::size_t n = 0;
  for (int round = 0; round < rounds; ++round) {
    Clock::duration spent{};
    for (int i = 0; i < ops; ++i, ++n) {
      prepare(n);
      const auto start = Clock::now();
      operation(n);
      spent += Clock::now() - start;
    }
    perRound.push_back(std::chrono::duration<double>(spent).count() / ops);
  }
  std::sort(perRound.begin(), perRound.end());
  return perRound[perRound.size() / 2];
}

const std::function<void(std::size_t)> kNothing = [](std::size_t) {};

// Seconds this process has run on a CPU; next to the wall time of a build it
// shows how long the build waited for the disk.
double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Where the repositories live; removed on the way out, also after a failure.
fs::path& Root() {
  static fs::path root = fs::temp_directory_path() / ("udm-growth-bench-" + std::to_string(::getpid()));
  return root;
}

[[noreturn]] void Wrong(const std::string& what) {
  std::fprintf(stderr, "wrong result: %s\n", what.c_str());
  std::error_code ignored;
  fs::remove_all(Root(), ignored);
  std::abort();
}

void Progress(const std::string& text) {
  std::fprintf(stderr, "[growth] %s\n", text.c_str());
  std::fflush(stderr);
}

// One row of the table: the runtime's and the baseline's cost per size.
struct Line {
  std::string work;
  std::string unit;
  bool ratio = true;
  std::vector<std::pair<double, double>> values;
};


class SizeRun {
 public:
  SizeRun(const fs::path& root, int parts) : m_shape(parts), m_dir(root / std::to_string(parts)) {
    fs::remove_all(m_dir);
    fs::create_directories(m_dir);
  }
  ~SizeRun() {
    m_raw.reset();
    if (m_session) UDMFramework::GetInstance()->DeleteSession(m_session);
    m_session.reset();
    fs::remove_all(m_dir);
  }

  const RepositoryShape& Shape() const { return m_shape; }

  std::pair<BuildResult, BuildResult> Build() {
    Progress("building " + std::to_string(m_shape.parts) + " parts through the runtime");
    BuildResult runtime;
    double cpu = CpuSeconds();
    {
      boost::shared_ptr<IUDMSession> build = OpenBenchSession(m_dir.string());
      runtime = BuildWithRuntime(*build, m_shape, &m_parts, &m_assemblies);
      UDMFramework::GetInstance()->DeleteSession(build);
    }
    Progress("built in " + std::to_string(runtime.seconds) + " s, " + std::to_string(CpuSeconds() - cpu) +
             " s on the CPU; the same rows by hand");
    const fs::path rawFile = m_dir / "raw.db";
    store::OpenRepositoryDatabase("sqlite", rawFile.string()).reset();
    cpu = CpuSeconds();
    const BuildResult raw = BuildWithSqlite(rawFile.string(), m_shape);
    Progress("written in " + std::to_string(raw.seconds) + " s, " + std::to_string(CpuSeconds() - cpu) +
             " s on the CPU; comparing the rows");
    const std::string mine = SummarizeRows(RepositoryFile().string());
    const std::string theirs = SummarizeRows(rawFile.string());
    if (mine != theirs) Wrong("the baseline wrote other rows than the runtime:\n" + mine + "---\n" + theirs);
    for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(rawFile.string() + suffix);
    // Reads go through a session that built nothing.
    m_session = boost::dynamic_pointer_cast<UDMSession>(OpenBenchSession(m_dir.string()));
    m_raw = std::make_unique<RawSqlite>(RepositoryFile().string(), true);
    return {runtime, raw};
  }

  // Each returns seconds per call, runtime and baseline.
  std::pair<double, double> LoadById();
  std::pair<double, double> MaterialQuery();
  std::pair<double, double> NamePrefixQuery();
  std::pair<double, double> SortedPage();
  std::pair<double, double> Children();
  std::pair<double, double> WhereUsed();

 private:
  fs::path RepositoryFile() const { return m_dir / "bench" / "repository.db"; }

  RepositoryShape m_shape;
  fs::path m_dir;
  std::vector<UDMUID> m_parts;
  std::vector<UDMUID> m_assemblies;
  boost::shared_ptr<UDMSession> m_session;
  std::unique_ptr<RawSqlite> m_raw;
};

std::pair<double, double> SizeRun::LoadById() {
  constexpr int kRounds = 5;
  const int loads = std::min(1000, m_shape.parts / 2 / kRounds);
  // Distinct parts in random order: none is in the session's cache yet.
  std::vector<int> order(m_parts.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
  std::shuffle(order.begin(), order.end(), std::mt19937(42));
  const std::size_t half = order.size() / 2;
  auto check = [&](const std::string& name, std::size_t n) {
    if (name != PartValues(order[n]).name) Wrong("loaded " + name + " for " + PartValues(order[n]).name);
  };
  // The runtime takes the first half of the order, the baseline the second:
  // neither reads a part the other has just read.
  const double runtime = PerOperation(kRounds, loads, kNothing, [&](std::size_t n) {
    UDMItemPtr item = m_session->FindItemById(m_parts[order[n]], true, "");
    check(item ? item->GetName() : "nothing", n);
  });
  // The revision with its entity and attributes, in one statement as the runtime reads it.
  sqlite3_stmt* query =
      m_raw->Prepare("SELECT" RAW_ITEM_COLUMNS
                     " FROM udm_revision r JOIN udm_entity e ON e.dmid = r.dmid"
                     " LEFT JOIN udm_attribute a ON a.uid = r.uid WHERE r.uid = ? AND r.state = 0");
  RawItems found;
  const double raw = PerOperation(kRounds, loads, kNothing, [&](std::size_t n) {
    const std::string& uid = m_parts[order[half + n]].ToString();
    BindText(query, 1, uid);
    if (m_raw->ReadItems(query, 0, found) != 1) Wrong("no revision " + uid);
    if (found[0].columns[9].text != PartValues(order[half + n]).name)
      Wrong("loaded " + found[0].columns[9].text);
  });
  return {runtime, raw};
}

std::pair<double, double> SizeRun::MaterialQuery() {
  constexpr int kRounds = 5;
  const std::size_t expected = static_cast<std::size_t>(m_shape.parts / 100);
  vqStlVector<UDMItemPtr> items;
  const double runtime = PerOperation(
      kRounds, 1,
      [&](std::size_t) {
        items.clear();
        m_session->ReleaseCache();
      },
      [&](std::size_t) {
        m_session->ExecuteQuery(m_session->CreateQuery("material = '" + OnePercentMaterial() + "'", false, 0), 1,
                                false, items);
        if (items.size() != expected) Wrong("material query found " + std::to_string(items.size()));
      });
  items.clear();
  // Latest stored revisions of entities that are not deleted and not
  // relations, in the runtime's order, each with all its attributes.
  sqlite3_stmt* query = m_raw->Prepare(
      "SELECT" RAW_ITEM_COLUMNS
      " FROM udm_attribute m JOIN udm_revision r ON r.uid = m.uid AND r.state = 0"
      " JOIN udm_entity e ON e.dmid = r.dmid AND e.latest_rev = r.revision"
      " LEFT JOIN udm_attribute a ON a.uid = r.uid"
      " WHERE m.name = 'material' AND m.text_value = ? AND e.deleted = 0 AND e.class <> 'UDMRelation'"
      " ORDER BY r.dmid");
  RawItems found;
  const double raw = PerOperation(kRounds, 1, kNothing, [&](std::size_t) {
    BindText(query, 1, OnePercentMaterial());
    if (m_raw->ReadItems(query, 0, found) != expected) Wrong("raw material query");
  });
  return {runtime, raw};
}

std::pair<double, double> SizeRun::NamePrefixQuery() {
  constexpr int kRounds = 5, kQueries = 20;
  const std::string prefix = TenPartsPrefix(m_shape);
  vqStlVector<UDMItemPtr> items;
  const double runtime = PerOperation(
      kRounds, kQueries,
      [&](std::size_t) {
        items.clear();
        m_session->ReleaseCache();
      },
      [&](std::size_t) {
        m_session->ExecuteQuery(m_session->CreateQuery("name like '" + prefix + "*'", false, 0), 1, false, items);
        if (items.size() != 10) Wrong("name query found " + std::to_string(items.size()));
      });
  items.clear();
  sqlite3_stmt* query = m_raw->Prepare(
      "SELECT" RAW_ITEM_COLUMNS
      " FROM udm_revision r JOIN udm_entity e ON e.dmid = r.dmid AND e.latest_rev = r.revision"
      " LEFT JOIN udm_attribute a ON a.uid = r.uid"
      " WHERE r.name GLOB ? AND r.state = 0 AND e.deleted = 0 AND e.class <> 'UDMRelation'"
      // The unary + keeps SQLite from walking every revision in identifier
      // order to spare itself sorting ten rows; the name index finds them.
      " ORDER BY +r.dmid");
  RawItems found;
  const double raw = PerOperation(kRounds, kQueries, kNothing, [&](std::size_t) {
    BindText(query, 1, prefix + "*");
    if (m_raw->ReadItems(query, 0, found) != 10) Wrong("raw name query");
  });
  return {runtime, raw};
}

std::pair<double, double> SizeRun::SortedPage() {
  constexpr int kRounds = 5, kPage = 50;
  const std::uint64_t total = static_cast<std::uint64_t>(m_shape.Items());
  const std::string first = PartValues(0).name;
  UDMQuerySettings settings;
  settings.AddSortByMetadata("mass", false);
  const double runtime = PerOperation(kRounds, 1, kNothing, [&](std::size_t) {
    UDMQueryResults results;
    m_session->QueryPaged(results, "", 0, kPage, settings, false, false, false);
    if (results.GetEntities().size() != kPage || results.GetTotal() != total ||
        results.GetEntities().front().GetName() != first || results.GetEntities().front().GetContent().empty()) {
      Wrong("sorted page");
    }
  });
  // The page from the index on (name, num_value); ties by identifier. A
  // number's text follows from it, so the runtime's tie-break on the text of
  // the value changes nothing here. Entities without a mass come after, by
  // identifier; then the count of all and the attributes of the page.
  const char* const visible =
      " JOIN udm_entity e ON e.dmid = r.dmid AND e.latest_rev = r.revision"
      " WHERE e.deleted = 0 AND e.class <> 'UDMRelation'";
  sqlite3_stmt* page = m_raw->Prepare(
      std::string("SELECT r.uid, e.cdef, r.name, e.deleted FROM udm_attribute s JOIN udm_revision r"
                  " ON r.uid = s.uid AND r.state = 0") +
      visible + " AND s.name = 'mass' ORDER BY s.num_value, r.dmid LIMIT ?");
  sqlite3_stmt* rest = m_raw->Prepare(
      std::string("SELECT r.uid, e.cdef, r.name, e.deleted FROM udm_revision r") + visible +
      " AND r.state = 0 AND NOT EXISTS (SELECT 1 FROM udm_attribute s WHERE s.uid = r.uid AND s.name = 'mass')"
      " ORDER BY r.dmid LIMIT ?");
  sqlite3_stmt* count = m_raw->Prepare(std::string("SELECT count(*) FROM udm_revision r") + visible + " AND r.state = 0");
  std::string in = "SELECT uid, name, type, text_value, num_value FROM udm_attribute WHERE uid IN (?";
  for (int i = 1; i < kPage; ++i) in += ", ?";
  sqlite3_stmt* attributes = m_raw->Prepare(in + ")");
  RawRows rows, more, counted, values;
  const double raw = PerOperation(kRounds, 1, kNothing, [&](std::size_t) {
    sqlite3_bind_int(page, 1, kPage);
    m_raw->ReadAll(page, rows);
    if (rows.size() < kPage) {
      sqlite3_bind_int(rest, 1, kPage - static_cast<int>(rows.size()));
      m_raw->ReadAll(rest, more);
      rows.insert(rows.end(), more.begin(), more.end());
    }
    m_raw->ReadAll(count, counted);
    for (int i = 0; i < kPage; ++i) {
      if (static_cast<std::size_t>(i) < rows.size()) {
        BindText(attributes, i + 1, rows[static_cast<std::size_t>(i)][0].text);
      } else {
        BindNull(attributes, i + 1);
      }
    }
    m_raw->ReadAll(attributes, values);
    if (rows.size() != kPage || rows.front()[2].text != first || counted[0][0].integer != std::int64_t(total)) {
      Wrong("raw sorted page");
    }
  });
  return {runtime, raw};
}

std::pair<double, double> SizeRun::Children() {
  constexpr int kRounds = 5, kCalls = 20;
  const UDMUID& uid = m_assemblies[m_assemblies.size() / 2];
  UDMItemPtr assembly;
  vqStlVector<UDMItemPtr> children;
  const double runtime = PerOperation(
      kRounds, kCalls,
      [&](std::size_t) {
        // A stored assembly in a session that holds nothing else.
        children.clear();
        assembly.reset();
        m_session->ReleaseCache();
        assembly = m_session->FindItemById(uid, true, "");
      },
      [&](std::size_t) {
        assembly->GetChildren(children, "parts");
        if (children.size() != RepositoryShape::kFanOut) Wrong("children " + std::to_string(children.size()));
      });
  children.clear();
  assembly.reset();
  // The uses valid in the assembly's revision, in their order, each with the
  // child's latest revision and attributes.
  sqlite3_stmt* query = m_raw->Prepare(
      "SELECT l.position, l.grp," RAW_ITEM_COLUMNS
      " FROM udm_link l JOIN udm_entity e ON e.dmid = l.child_dmid"
      " JOIN udm_revision r ON r.dmid = e.dmid AND r.revision = e.latest_rev AND r.state = 0"
      " LEFT JOIN udm_attribute a ON a.uid = r.uid"
      " WHERE l.parent_dmid = ? AND l.grp = 'parts' AND l.from_rev <= ? AND (l.to_rev IS NULL OR l.to_rev > ?)"
      " ORDER BY l.position");
  RawItems uses;
  const double raw = PerOperation(kRounds, kCalls, kNothing, [&](std::size_t) {
    BindText(query, 1, uid.GetDmUid());
    sqlite3_bind_int(query, 2, uid.GetRevision());
    sqlite3_bind_int(query, 3, uid.GetRevision());
    if (m_raw->ReadItems(query, 2, uses) != RepositoryShape::kFanOut) Wrong("raw children");
  });
  return {runtime, raw};
}

std::pair<double, double> SizeRun::WhereUsed() {
  constexpr int kRounds = 5, kCalls = 20;
  const UDMUID& uid = m_parts[m_parts.size() / 2];
  const std::size_t levels = static_cast<std::size_t>(m_shape.Levels());
  UDMItemPtr part;
  vqStlVector<UDMWhereUsed> users;
  const double runtime = PerOperation(
      kRounds, kCalls,
      [&](std::size_t) {
        users.clear();
        part.reset();
        m_session->ReleaseCache();
        part = m_session->FindItemById(uid, true, "");
      },
      [&](std::size_t) {
        part->GetWhereUsed(users, 0);
        if (users.size() != levels) Wrong("where-used found " + std::to_string(users.size()));
      });
  users.clear();
  part.reset();
  sqlite3_stmt* query = m_raw->Prepare(kRawWhereUsed);
  RawItems ancestors;
  const double raw = PerOperation(kRounds, kCalls, kNothing, [&](std::size_t) {
    BindText(query, 1, uid.GetDmUid());
    if (m_raw->ReadItems(query, 3, ancestors) != levels) Wrong("raw where-used");
  });
  return {runtime, raw};
}

std::vector<int> Sizes(int argc, char** argv) {
  long maximum = 1000000;
  if (const char* text = std::getenv("VQKUDM_GROWTH_MAX")) maximum = std::atol(text);
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--max=", 0) == 0) {
      maximum = std::atol(arg.c_str() + 6);
    } else {
      std::fprintf(stderr, "usage: %s [--max=PARTS]   (or VQKUDM_GROWTH_MAX=PARTS)\n", argv[0]);
      std::exit(2);
    }
  }
  std::vector<int> sizes;
  for (int size : {10000, 100000, 1000000}) {
    if (size <= maximum) sizes.push_back(size);
  }
  if (sizes.empty()) sizes.push_back(static_cast<int>(maximum));
  return sizes;
}

std::string Thousands(double value) {
  std::string digits = std::to_string(static_cast<long long>(value + 0.5));
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(static_cast<std::size_t>(at), ",");
  return digits;
}

void Print(const std::vector<int>& sizes, const std::vector<Line>& lines) {
  std::printf("\n%-40s %-9s", "work", "unit");
  for (int size : sizes) std::printf(" | %26s", (Thousands(size) + " parts").c_str());
  std::printf("\n%-40s %-9s", "", "");
  for (std::size_t i = 0; i < sizes.size(); ++i) std::printf(" | %9s %9s %6s", "runtime", "raw", "ratio");
  std::printf("\n");
  for (const Line& line : lines) {
    std::printf("%-40s %-9s", line.work.c_str(), line.unit.c_str());
    for (const auto& [runtime, raw] : line.values) {
      if (line.ratio) {
        std::printf(" | %9.1f %9.1f %5.2fx", runtime, raw, raw > 0 ? runtime / raw : 0.0);
      } else {
        std::printf(" | %9s %9s %6s", Thousands(runtime).c_str(), Thousands(raw).c_str(), "");
      }
    }
    std::printf("\n");
  }
  std::printf("\nover 1.5 times the baseline:\n");
  bool any = false;
  for (const Line& line : lines) {
    for (std::size_t i = 0; line.ratio && i < sizes.size(); ++i) {
      const auto& [runtime, raw] = line.values[i];
      if (raw > 0 && runtime / raw > 1.5) {
        std::printf("  %s at %s parts: %.2fx\n", line.work.c_str(), Thousands(sizes[i]).c_str(), runtime / raw);
        any = true;
      }
    }
  }
  if (!any) std::printf("  nothing\n");
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<int> sizes = Sizes(argc, argv);
  const fs::path& root = Root();
  std::vector<Line> lines = {
      {"create and persist", "us/item", true, {}},
      {"  items per second", "items/s", false, {}},
      {"load by identifier (random part)", "us/load", true, {}},
      {"query material = x (1% of parts)", "ms/query", true, {}},
      {"  the same per item found", "us/item", true, {}},
      {"query name like 'prefix*' (10 parts)", "us/query", true, {}},
      {"first page of 50 sorted by mass", "ms/page", true, {}},
      {"children of an assembly (100)", "us/call", true, {}},
      {"where-used of a part (one per level)", "us/call", true, {}},
  };
  std::printf("growth_bench: the runtime against hand-written SQL on the same SQLite tables\n");
  for (int parts : sizes) {
    SizeRun run(root, parts);
    const RepositoryShape& shape = run.Shape();
    const auto [runtimeBuild, rawBuild] = run.Build();
    std::printf("  %s parts: %s items, %d levels of assemblies of 100, %d check-ins\n", Thousands(parts).c_str(),
                Thousands(shape.Items()).c_str(), shape.Levels(), runtimeBuild.checkIns);
    std::fflush(stdout);
    const double items = shape.Items();
    lines[0].values.emplace_back(runtimeBuild.seconds / items * 1e6, rawBuild.seconds / items * 1e6);
    lines[1].values.emplace_back(items / runtimeBuild.seconds, items / rawBuild.seconds);
    Progress("load by identifier");
    const auto load = run.LoadById();
    lines[2].values.emplace_back(load.first * 1e6, load.second * 1e6);
    Progress("material query");
    const auto material = run.MaterialQuery();
    const double found = parts / 100.0;
    lines[3].values.emplace_back(material.first * 1e3, material.second * 1e3);
    lines[4].values.emplace_back(material.first / found * 1e6, material.second / found * 1e6);
    Progress("name query");
    const auto name = run.NamePrefixQuery();
    lines[5].values.emplace_back(name.first * 1e6, name.second * 1e6);
    Progress("sorted page");
    const auto page = run.SortedPage();
    lines[6].values.emplace_back(page.first * 1e3, page.second * 1e3);
    Progress("children");
    const auto children = run.Children();
    lines[7].values.emplace_back(children.first * 1e6, children.second * 1e6);
    Progress("where-used");
    const auto used = run.WhereUsed();
    lines[8].values.emplace_back(used.first * 1e6, used.second * 1e6);
  }
  fs::remove_all(root);
  Print(sizes, lines);
  return 0;
}
