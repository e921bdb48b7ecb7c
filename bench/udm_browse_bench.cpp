// `udm ls`, `show`, `tree` and `where-used` on a repository of 100,000 items,
// each run as the real binary (a whole process, as a user runs it), against
// the sqlite3 shell answering the same question from a plain database of the
// same items and uses. Each udm command should answer within 100 ms; the
// times are printed, never asserted.
//
// The repository is written as one exchange package and imported with
// `udm import`: creating 100,000 items one command at a time would take hours.

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ratio_reporter.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

// Products of modules of sub-assemblies of parts, and fasteners (STD-*) that
// many sub-assemblies use, so that where-used climbs through every level.
constexpr int kItems = 100000;
constexpr int kProducts = 20;
constexpr int kModulesPerProduct = 10;
constexpr int kAssembliesPerModule = 10;
constexpr int kFasteners = 50;
constexpr int kAssemblies = kProducts * kModulesPerProduct * kAssembliesPerModule;
constexpr int kLeaves = kItems - kProducts - kProducts * kModulesPerProduct - kAssemblies - kFasteners;
// Every fourth sub-assembly uses the common bolt; each uses two more fasteners.
constexpr int kBoltEvery = 4;
constexpr int kTreeDepth = 2;

struct Item {
  std::string id;  // data-model id, 32 hex digits
  std::string name;
  std::string partnumber;
  std::string status;
  std::string material;  // empty: none
  double mass = -1;      // negative: none
  std::string makeorbuy;
};

struct Use {
  int parent;
  int child;
  int position;
  int quantity;
  int findnumber;
};

struct Structure {
  std::vector<Item> items;
  std::vector<Use> uses;
  std::vector<std::vector<int>> usesOf;  // item -> its uses, by position
  int top = -1;                           // the first product
  int assembly = -1;                      // its first sub-assembly
};

fs::path Root() {
  static const fs::path root = fs::temp_directory_path() / ("udm-browse-bench-" + std::to_string(::getpid()));
  return root;
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    std::abort();
  }
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// 48 bits of milliseconds, then a counter: increasing, as the runtime makes them.
std::string NewId() {
  using std::chrono::milliseconds;
  static const auto millis = static_cast<unsigned long long>(
      std::chrono::duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count());
  static unsigned long long counter = 0;
  char text[33];
  std::snprintf(text, sizeof text, "%012llx%04x%016llx", millis & 0xffffffffffffULL, 0u, ++counter);
  return text;
}

std::string Number(const char* format, long value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

Structure Build() {
  Structure s;
  s.items.reserve(kItems);
  auto add = [&](Item item) {
    item.id = NewId();
    item.partnumber = Number("PN-%07ld", static_cast<long>(s.items.size()) + 1);
    if (item.status.empty()) item.status = "released";
    s.items.push_back(std::move(item));
    s.usesOf.emplace_back();
    return static_cast<int>(s.items.size()) - 1;
  };
  auto use = [&](int parent, int child, int quantity) {
    const int position = static_cast<int>(s.usesOf[parent].size());
    s.usesOf[parent].push_back(static_cast<int>(s.uses.size()));
    s.uses.push_back({parent, child, position, quantity, 10 * (position + 1)});
  };

  const char* kinds[] = {"BOLT", "SCREW", "NUT", "WASHER", "PIN"};
  const char* sizes[] = {"M3", "M4", "M5", "M6", "M8", "M10", "M12", "M16", "M20", "M24"};
  std::vector<int> fasteners;
  for (int i = 0; i < kFasteners; ++i) {
    Item part;
    part.name = std::string("STD-") + kinds[i / 10 % 5] + "-" + sizes[i % 10];
    part.material = "steel";
    part.mass = 0.005 * (1 + i % 10);
    part.makeorbuy = "buy";
    fasteners.push_back(add(std::move(part)));
  }
  const int bolt = fasteners[3];  // STD-BOLT-M6
  const char* materials[] = {"steel", "aluminium", "ABS", "brass", "PA66"};
  int leaf = 0;
  int assembly = 0;
  for (int p = 0; p < kProducts; ++p) {
    const std::string productName = Number("PRD-%02ld", p + 1);
    const int product = add({"", productName, "", "", "", -1, ""});
    if (s.top < 0) s.top = product;
    for (int m = 0; m < kModulesPerProduct; ++m) {
      const std::string moduleName = productName + Number("-MOD-%02ld", m + 1);
      const int module = add({"", moduleName, "", "", "", -1, ""});
      use(product, module, 1);
      for (int a = 0; a < kAssembliesPerModule; ++a, ++assembly) {
        const int sub = add({"", moduleName + Number("-ASM-%02ld", a + 1), "", "", "", -1, "make"});
        use(module, sub, 1 + a % 2);
        if (s.assembly < 0) s.assembly = sub;
        // Leaves spread evenly, each sub-assembly its own block of them.
        const int end = static_cast<int>(static_cast<long long>(kLeaves) * (assembly + 1) / kAssemblies);
        for (; leaf < end; ++leaf) {
          Item part;
          part.name = Number("PRT-%06ld", leaf + 1);
          part.status = leaf % 10 == 0 ? "in work" : "released";
          part.material = materials[leaf % 5];
          part.mass = (1 + leaf % 997) / 100.0;
          part.makeorbuy = leaf % 3 == 0 ? "buy" : "make";
          use(sub, add(std::move(part)), 1 + leaf % 4);
        }
        if (assembly % kBoltEvery == 0) use(sub, bolt, 4 + assembly % 8);
        const int first = fasteners[(assembly * 7) % kFasteners];
        const int second = fasteners[(assembly * 13 + 5) % kFasteners];
        if (first != bolt) use(sub, first, 2);
        if (second != bolt && second != first) use(sub, second, 2);
      }
    }
  }
  if (static_cast<int>(s.items.size()) != kItems) std::abort();
  return s;
}

json Attribute(const std::string& name, const std::string& text) {
  return {{"name", name}, {"type", 5}, {"text", text}, {"number", nullptr}};
}

json Attribute(const std::string& name, double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", number);
  return {{"name", name}, {"type", 4}, {"text", text}, {"number", number}};
}

void WritePackage(const Structure& s, const fs::path& dir) {
  fs::create_directories(dir / "contents");
  std::ofstream out(dir / "manifest.json", std::ios::binary);
  const std::string time = "2026-01-15T09:00:00.000Z";
  out << R"({"format":"vqkudm-package","version":1,"exported":")" << time
      << R"(","source":"bench","contentsFolder":"contents","contents":[],"entities":[)";
  for (std::size_t i = 0; i < s.items.size(); ++i) {
    const Item& item = s.items[i];
    json attributes = json::array({Attribute("partnumber", item.partnumber), Attribute("status", item.status)});
    if (!item.material.empty()) attributes.push_back(Attribute("material", item.material));
    if (item.mass >= 0) attributes.push_back(Attribute("mass", item.mass));
    if (!item.makeorbuy.empty()) attributes.push_back(Attribute("makeorbuy", item.makeorbuy));
    json links = json::array();
    for (int u : s.usesOf[i]) {
      const Use& use = s.uses[u];
      links.push_back({{"group", "parts"},
                       {"child", s.items[use.child].id},
                       {"from", 0},
                       {"to", nullptr},
                       {"position", use.position},
                       {"use", NewId()},
                       {"attributes",
                        {{"quantity", {4, std::to_string(use.quantity), static_cast<double>(use.quantity)}},
                         {"findnumber", {3, std::to_string(use.findnumber), static_cast<double>(use.findnumber)}}}}});
    }
    const json entity = {{"id", item.id},
                         {"definition", "UDMPart"},
                         {"class", "UDMItem"},
                         {"latestRevision", 0},
                         {"deleted", false},
                         {"createdBy", "bench"},
                         {"created", time},
                         {"branchFrom", nullptr},
                         {"revisions",
                          {{{"revision", 0},
                            {"name", item.name},
                            {"modifiedBy", "bench"},
                            {"modified", time},
                            {"comment", "imported"},
                            {"attributes", attributes},
                            {"files", json::array()}}}},
                         {"links", links},
                         {"references", json::array()},
                         {"classifications", json::array()}};
    out << (i ? "," : "") << entity.dump();
  }
  out << "]}";
  if (!out.flush()) std::abort();
}

std::string SqlText(const std::string& text) { return text.empty() ? "NULL" : "'" + text + "'"; }

// The same items and uses as a developer would lay them out for these
// lookups: attributes as columns, one row per use, the obvious indexes.
void WriteDatabase(const Structure& s, const fs::path& db) {
  const fs::path script = Root() / "create.sql";
  {
    std::ofstream out(script, std::ios::binary);
    out << "CREATE TABLE items (id INTEGER PRIMARY KEY, uid TEXT NOT NULL UNIQUE, name TEXT NOT NULL,"
           " class TEXT NOT NULL, revision INTEGER NOT NULL, partnumber TEXT, status TEXT, material TEXT,"
           " mass REAL, makeorbuy TEXT);\n"
           "CREATE TABLE links (parent INTEGER NOT NULL REFERENCES items, child INTEGER NOT NULL REFERENCES items,"
           " grp TEXT NOT NULL, position INTEGER NOT NULL, quantity REAL, findnumber INTEGER);\n"
           "BEGIN;\n";
    for (std::size_t i = 0; i < s.items.size(); ++i) {
      const Item& item = s.items[i];
      out << "INSERT INTO items VALUES (" << i + 1 << ",'" << item.id << "0','" << item.name << "','UDMPart',0,"
          << SqlText(item.partnumber) << "," << SqlText(item.status) << "," << SqlText(item.material) << ","
          << (item.mass >= 0 ? std::to_string(item.mass) : "NULL") << "," << SqlText(item.makeorbuy) << ");\n";
    }
    for (const Use& use : s.uses) {
      out << "INSERT INTO links VALUES (" << use.parent + 1 << "," << use.child + 1 << ",'parts'," << use.position
          << "," << use.quantity << "," << use.findnumber << ");\n";
    }
    out << "COMMIT;\n"
           "CREATE INDEX items_name ON items (name);\n"
           "CREATE INDEX links_parent ON links (parent, position);\n"
           "CREATE INDEX links_child ON links (child);\n"
           "ANALYZE;\n";
  }
  Run("sqlite3 -bail " + db.string() + " < " + script.string() + " >/dev/null");
}

enum Lookup { kLs, kShow, kTree, kWhereUsed };

struct Fixture {
  std::string udm;     // the udm command line up to the command
  std::string sqlite;  // the sqlite3 command line up to the query
  std::string assembly, top, bolt;  // the items looked up
};

std::string RuntimeCommand(const Fixture& f, Lookup lookup) {
  switch (lookup) {
    case kLs: return f.udm + "ls";
    case kShow: return f.udm + "show " + f.assembly;
    case kTree: return f.udm + "tree " + f.top + " --depth " + std::to_string(kTreeDepth);
    case kWhereUsed: return f.udm + "where-used " + f.bolt;
  }
  std::abort();
}

std::string Query(const Fixture& f, Lookup lookup) {
  switch (lookup) {
    case kLs:
      return "SELECT uid, name, class, revision FROM items i"
             " WHERE NOT EXISTS (SELECT 1 FROM links l WHERE l.child = i.id) ORDER BY name;";
    case kShow:
      return "SELECT uid, name, class, revision, partnumber, status, material, mass, makeorbuy FROM items"
             " WHERE name = '" + f.assembly + "';\n"
             "SELECT l.grp, l.quantity, l.findnumber, c.uid, c.name, c.class, c.revision"
             " FROM items p JOIN links l ON l.parent = p.id JOIN items c ON c.id = l.child"
             " WHERE p.name = '" + f.assembly + "' ORDER BY l.grp, l.position;";
    case kTree:
      // Depth first, as udm prints it: ordered by the positions on the way down.
      return "WITH RECURSIVE tree (id, level, ord, grp, quantity) AS ("
             " SELECT id, 0, '', NULL, NULL FROM items WHERE name = '" + f.top + "'"
             " UNION ALL"
             " SELECT l.child, t.level + 1, t.ord || printf('%06d', l.position), l.grp, l.quantity"
             " FROM tree t JOIN links l ON l.parent = t.id WHERE t.level < " + std::to_string(kTreeDepth) + ")"
             " SELECT t.level, t.grp, t.quantity, i.uid, i.name, i.class, i.revision"
             " FROM tree t JOIN items i ON i.id = t.id ORDER BY t.ord;";
    case kWhereUsed:
      // Each ancestor once per level, and its uses of the level below.
      return "WITH RECURSIVE up (id, level) AS ("
             " SELECT id, 0 FROM items WHERE name = '" + f.bolt + "'"
             " UNION"
             " SELECT l.parent, up.level + 1 FROM links l JOIN up ON l.child = up.id),"
             " used (id, grp, level, uses) AS ("
             " SELECT l.parent, l.grp, up.level + 1, count(*) FROM up JOIN links l ON l.child = up.id"
             " GROUP BY l.parent, l.grp, up.level)"
             " SELECT i.uid, i.name, i.class, i.revision, u.level, u.grp, u.uses"
             " FROM used u JOIN items i ON i.id = u.id ORDER BY u.level, i.name;";
  }
  std::abort();
}

std::string QueryFile(Lookup lookup) { return (Root() / ("lookup" + std::to_string(lookup) + ".sql")).string(); }

std::string BaselineCommand(const Fixture& f, Lookup lookup) { return f.sqlite + " < " + QueryFile(lookup); }

// The JSON documents a command printed (sqlite3 prints one per statement).
std::vector<json> Documents(const std::string& command) {
  const fs::path file = Root() / "out.json";
  Run(command + " > " + file.string());
  std::ifstream in(file);
  std::vector<json> documents;
  while (in >> std::ws && in.peek() != EOF) {
    documents.emplace_back();
    in >> documents.back();
  }
  return documents;
}

std::size_t CountUses(const json& uses) {
  std::size_t count = uses.size();
  for (const json& use : uses) count += CountUses(use["children"]);
  return count;
}

void Expect(const char* what, std::size_t runtime, std::size_t baseline, std::size_t expected) {
  if (runtime == expected && baseline == expected) return;
  std::fprintf(stderr, "%s: udm gave %zu, sqlite3 %zu, the repository holds %zu\n", what, runtime, baseline, expected);
  std::abort();
}

// Each lookup must succeed and find what the structure holds, on both sides,
// before anything is timed.
void Check(const Fixture& f, const Structure& s) {
  std::size_t treeUses = 0;
  std::vector<int> level{s.top};
  for (int depth = 0; depth < kTreeDepth; ++depth) {
    std::vector<int> next;
    for (int item : level) {
      for (int u : s.usesOf[item]) next.push_back(s.uses[u].child);
    }
    treeUses += next.size();
    level.swap(next);
  }
  const std::size_t assemblyUses = s.usesOf[s.assembly].size();

  const json ls = Documents(RuntimeCommand(f, kLs)).at(0);
  Expect("ls", ls["items"].size(), Documents(BaselineCommand(f, kLs)).at(0).size(), kProducts);
  const json show = Documents(RuntimeCommand(f, kShow)).at(0);
  Expect("show", show["children"].size(), Documents(BaselineCommand(f, kShow)).at(1).size(), assemblyUses);
  const json tree = Documents(RuntimeCommand(f, kTree)).at(0);
  Expect("tree", CountUses(tree["children"]), Documents(BaselineCommand(f, kTree)).at(0).size() - 1, treeUses);
  // Where-used rows are (assembly, level, group): the two sides must agree.
  const std::size_t users = Documents(BaselineCommand(f, kWhereUsed)).at(0).size();
  const json whereUsed = Documents(RuntimeCommand(f, kWhereUsed)).at(0);
  Expect("where-used", whereUsed["items"].size(), users, users);
}

const Fixture& Get() {
  static const Fixture fixture = [] {
    Fixture f;
    fs::create_directories(Root());
    auto start = std::chrono::steady_clock::now();
    const Structure s = Build();
    const fs::path package = Root() / "package";
    WritePackage(s, package);
    const double packageSeconds = SecondsSince(start);

    start = std::chrono::steady_clock::now();
    const fs::path repo = Root() / "repo";
    fs::create_directories(repo);
    f.udm = "cd " + repo.string() + " && NORVEL_VQK_UDMRT_DB_DIR=" + (Root() / "registry").string() + " " +
            UDM_BINARY + " --json ";
    Run(f.udm + "init >/dev/null");
    Run(f.udm + "import " + package.string() + " >/dev/null");
    const double importSeconds = SecondsSince(start);

    start = std::chrono::steady_clock::now();
    const fs::path db = Root() / "plain.db";
    WriteDatabase(s, db);
    f.sqlite = "sqlite3 -bail -json " + db.string();
    const double sqliteSeconds = SecondsSince(start);

    // The first product, one of its sub-assemblies, and the fastener
    // the most sub-assemblies use.
    f.top = s.items[s.top].name;
    f.assembly = s.items[s.assembly].name;
    std::vector<int> users(s.items.size());
    for (const Use& use : s.uses) ++users[use.child];
    int bolt = 0;
    for (int i = 0; i < kFasteners; ++i) {
      if (users[i] > users[bolt]) bolt = i;
    }
    f.bolt = s.items[bolt].name;
    for (Lookup lookup : {kLs, kShow, kTree, kWhereUsed}) std::ofstream(QueryFile(lookup)) << Query(f, lookup) << "\n";

    start = std::chrono::steady_clock::now();
    Check(f, s);
    std::fprintf(stderr,
                 "setup: %d items, %zu uses; package written in %.1f s, udm init + import %.1f s, sqlite3 database "
                 "%.1f s, lookups checked in %.1f s\n"
                 "looked up: show %s, tree %s --depth %d, where-used %s (%d direct users)\n",
                 kItems, s.uses.size(), packageSeconds, importSeconds, sqliteSeconds, SecondsSince(start),
                 f.assembly.c_str(), f.top.c_str(), kTreeDepth, f.bolt.c_str(), users[bolt]);
    return f;
  }();
  return fixture;
}

void BM_Lookup_runtime(benchmark::State& state, Lookup lookup) {
  const std::string command = RuntimeCommand(Get(), lookup) + " >/dev/null";
  for (auto _ : state) Run(command);
}

void BM_Lookup_baseline(benchmark::State& state, Lookup lookup) {
  const std::string command = BaselineCommand(Get(), lookup) + " >/dev/null";
  for (auto _ : state) Run(command);
}

}  // namespace

BENCHMARK_CAPTURE(BM_Lookup_runtime, ls, kLs)->Name("Ls100k/runtime")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Lookup_baseline, ls, kLs)->Name("Ls100k/baseline")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Lookup_runtime, show, kShow)->Name("Show100k/runtime")->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Lookup_baseline, show, kShow)->Name("Show100k/baseline")->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Lookup_runtime, tree, kTree)->Name("Tree100k/runtime")->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Lookup_baseline, tree, kTree)->Name("Tree100k/baseline")->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Lookup_runtime, where_used, kWhereUsed)->Name("WhereUsed100k/runtime")
    ->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Lookup_baseline, where_used, kWhereUsed)->Name("WhereUsed100k/baseline")
    ->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
  const int result = RunBenchmarksWithRatios(argc, argv);
  fs::remove_all(Root());
  return result;
}
