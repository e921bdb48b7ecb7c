// The baseline of building the large repository: its rows written by hand.

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include <vqkudmrt/UDMUID.h>

#include "large_repository.h"
#include "sqlite_raw.h"

using vqkudm::UDMUID;

namespace {

// Type codes of the attribute table (the runtime's variant types).
constexpr int kDoubleType = 4;
constexpr int kStringType = 5;
// What the runtime logs for each stored revision.
constexpr int kPersistedOp = 10;
// Each use keeps its attributes as one text; the only one here is the
// quantity's default.
const char* const kDefaultUse = R"({"quantity":[4,"1",1.0]})";

std::string Now() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900, utc.tm_mon + 1,
                utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                static_cast<int>(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000));
  return text;
}

std::string ShortestText(double value) {
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  return std::string(text, end);
}

// One transaction per check-in; the change log rows of its items at its end,
// as the runtime writes them.
class RowWriter {
 public:
  explicit RowWriter(const std::string& file) : m_db(file, false) {
    m_entity = m_db.Prepare(
        "INSERT INTO udm_entity (dmid, cdef, class, latest_rev, deleted, created_by, created_time)"
        " VALUES (?, ?, ?, ?, ?, ?, ?)");
    m_revision = m_db.Prepare(
        "INSERT INTO udm_revision (uid, dmid, revision, name, modified_by, modified_time, comment)"
        " VALUES (?, ?, ?, ?, ?, ?, ?)");
    m_attribute = m_db.Prepare("INSERT INTO udm_attribute (uid, name, type, text_value, num_value) VALUES (?, ?, ?, ?, ?)");
    m_link = m_db.Prepare(
        "INSERT INTO udm_link (parent_dmid, use_id, grp, child_dmid, from_rev, position, attrs)"
        " VALUES (?, ?, ?, ?, ?, ?, ?)");
    m_change = m_db.Prepare("INSERT INTO udm_change (session_id, op, uid, change_time) VALUES (?, ?, ?, ?)");
  }

  void Begin() {
    m_db.Exec("BEGIN IMMEDIATE");
    m_now = Now();
  }

  // Returns the item's data-model id.
  std::string AddItem(const ItemValues& values) {
    const UDMUID uid = UDMUID::Generate(0);
    const std::string id = uid.ToString();
    const std::string dmid = uid.GetDmUid();
    BindText(m_entity, 1, dmid);
    BindText(m_entity, 2, "UDMPart");
    BindText(m_entity, 3, "UDMItem");
    sqlite3_bind_int(m_entity, 4, 0);
    sqlite3_bind_int(m_entity, 5, 0);
    BindText(m_entity, 6, kUser);
    BindText(m_entity, 7, m_now);
    m_db.Run(m_entity);
    BindText(m_revision, 1, id);
    BindText(m_revision, 2, dmid);
    sqlite3_bind_int(m_revision, 3, 0);
    BindText(m_revision, 4, values.name);
    BindText(m_revision, 5, kUser);
    BindText(m_revision, 6, m_now);
    BindText(m_revision, 7, kComment);
    m_db.Run(m_revision);
    Text(id, "partnumber", values.partnumber);
    Text(id, "status", values.status);
    Text(id, "description", values.description);
    // The definition's default.
    Text(id, "unit", "each");
    if (!values.material.empty()) Text(id, "material", values.material);
    if (values.mass >= 0) {
      BindText(m_attribute, 1, id);
      BindText(m_attribute, 2, "mass");
      sqlite3_bind_int(m_attribute, 3, kDoubleType);
      BindText(m_attribute, 4, ShortestText(values.mass));
      sqlite3_bind_double(m_attribute, 5, values.mass);
      m_db.Run(m_attribute);
    }
    m_stored.push_back(id);
    return dmid;
  }

  void AddUse(const std::string& parent, const std::string& child, int position) {
    BindText(m_link, 1, parent);
    BindText(m_link, 2, UDMUID::Generate(0).GetDmUid());
    BindText(m_link, 3, "parts");
    BindText(m_link, 4, child);
    sqlite3_bind_int(m_link, 5, 0);
    sqlite3_bind_int(m_link, 6, position);
    sqlite3_bind_text(m_link, 7, kDefaultUse, -1, SQLITE_STATIC);
    m_db.Run(m_link);
  }

  void Commit() {
    for (const std::string& id : m_stored) {
      BindText(m_change, 1, kSession);
      sqlite3_bind_int(m_change, 2, kPersistedOp);
      BindText(m_change, 3, id);
      BindText(m_change, 4, m_now);
      m_db.Run(m_change);
    }
    m_stored.clear();
    m_db.Exec("COMMIT");
  }

 private:
  static constexpr const char* kUser = "bench";
  static constexpr const char* kComment = "bench";
  static constexpr const char* kSession = "raw";

  void Text(const std::string& id, const char* name, const std::string& value) {
    BindText(m_attribute, 1, id);
    BindText(m_attribute, 2, name);
    sqlite3_bind_int(m_attribute, 3, kStringType);
    BindText(m_attribute, 4, value);
    sqlite3_bind_null(m_attribute, 5);
    m_db.Run(m_attribute);
  }

  RawSqlite m_db;
  sqlite3_stmt* m_entity;
  sqlite3_stmt* m_revision;
  sqlite3_stmt* m_attribute;
  sqlite3_stmt* m_link;
  sqlite3_stmt* m_change;
  std::string m_now;
  std::vector<std::string> m_stored;
};

}  // namespace

BuildResult BuildWithSqlite(const std::string& file, const RepositoryShape& shape) {
  const int fan = RepositoryShape::kFanOut;
  RowWriter writer(file);
  const auto start = std::chrono::steady_clock::now();
  BuildResult result;
  std::vector<std::string> below;
  for (int top = 0; top < shape.assemblies[1]; ++top) {
    writer.Begin();
    // Parents before their uses: the links' foreign keys are checked at once.
    const std::string root = writer.AddItem(AssemblyValues(2, top));
    int rootPosition = 0;
    for (int a = top * fan; a < std::min(shape.assemblies[0], (top + 1) * fan); ++a) {
      const std::string assembly = writer.AddItem(AssemblyValues(1, a));
      int position = 0;
      for (int p = a * fan; p < std::min(shape.parts, (a + 1) * fan); ++p) {
        writer.AddUse(assembly, writer.AddItem(PartValues(p)), position++);
      }
      writer.AddUse(root, assembly, rootPosition++);
    }
    writer.Commit();
    below.push_back(root);
    ++result.checkIns;
  }
  for (std::size_t level = 2; level < shape.assemblies.size(); ++level) {
    std::vector<std::string> above;
    for (int a = 0; a < shape.assemblies[level]; ++a) {
      writer.Begin();
      const std::string assembly = writer.AddItem(AssemblyValues(static_cast<int>(level) + 1, a));
      int position = 0;
      for (std::size_t c = static_cast<std::size_t>(a) * fan; c < std::min(below.size(), std::size_t(a + 1) * fan); ++c) {
        writer.AddUse(assembly, below[c], position++);
      }
      writer.Commit();
      above.push_back(assembly);
      ++result.checkIns;
    }
    below.swap(above);
  }
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  result.items = shape.Items();
  return result;
}
