#include <vqkudmrt/store/SchemaMigrations.h>

#include <algorithm>
#include <functional>
#include <vector>

#include <vqkudmrt/UDMException.h>
#include <vqlmidbdriver/iDbDriver.h>

namespace vqkudm::store {

namespace {

using Migration = std::function<std::vector<vqString>(const SqlDialect&)>;

// Version 1: entities and their revisions, typed attributes, structure,
// references, classifications, relations, check-out locks, the change log
// and the stored definitions. Links are versioned with their owner: a row is
// valid from the owner's revision `from_rev` until before `to_rev` (NULL:
// still valid in the latest revision).
std::vector<vqString> Version1(const SqlDialect& d) {
  return {
      "CREATE TABLE udm_repository (key TEXT PRIMARY KEY, value TEXT NOT NULL)",
      "CREATE TABLE udm_entity ("
      " dmid TEXT PRIMARY KEY,"
      " cdef TEXT NOT NULL,"
      " class TEXT NOT NULL,"
      " latest_rev " + d.bigintType + " NOT NULL,"
      " deleted " + d.bigintType + " NOT NULL DEFAULT 0,"
      " created_by TEXT NOT NULL,"
      " created_time TEXT NOT NULL,"
      " branch_from TEXT)",
      "CREATE INDEX udm_entity_cdef ON udm_entity (cdef)",
      "CREATE INDEX udm_entity_branch ON udm_entity (branch_from)",
      // state 0: a stored revision, immutable; 1: the draft of a check-out.
      "CREATE TABLE udm_revision ("
      " uid TEXT PRIMARY KEY,"
      " dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " revision " + d.bigintType + " NOT NULL,"
      " state " + d.bigintType + " NOT NULL DEFAULT 0,"
      " name TEXT NOT NULL,"
      " modified_by TEXT NOT NULL,"
      " modified_time TEXT NOT NULL,"
      " comment TEXT,"
      " UNIQUE (dmid, revision, state))",
      "CREATE INDEX udm_revision_name ON udm_revision (name)",
      // One typed value per attribute; numbers also in num_value so that
      // comparisons and sorting use an index.
      "CREATE TABLE udm_attribute ("
      " uid TEXT NOT NULL REFERENCES udm_revision (uid) ON DELETE CASCADE,"
      " name TEXT NOT NULL,"
      " type " + d.bigintType + " NOT NULL,"
      " text_value TEXT,"
      " num_value " + d.realType + ","
      " PRIMARY KEY (uid, name))",
      "CREATE INDEX udm_attribute_text ON udm_attribute (name, text_value)",
      "CREATE INDEX udm_attribute_num ON udm_attribute (name, num_value)",
      "CREATE TABLE udm_link ("
      " parent_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " grp TEXT NOT NULL,"
      " child_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " from_rev " + d.bigintType + " NOT NULL,"
      " to_rev " + d.bigintType + ","
      " position " + d.bigintType + " NOT NULL,"
      " PRIMARY KEY (parent_dmid, child_dmid, grp, from_rev))",
      "CREATE INDEX udm_link_child ON udm_link (child_dmid, to_rev)",
      "CREATE INDEX udm_link_parent ON udm_link (parent_dmid, to_rev, grp, position)",
      "CREATE TABLE udm_reference ("
      " source_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " name TEXT NOT NULL,"
      " target_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " from_rev " + d.bigintType + " NOT NULL,"
      " to_rev " + d.bigintType + ","
      " PRIMARY KEY (source_dmid, target_dmid, name, from_rev))",
      "CREATE INDEX udm_reference_target ON udm_reference (target_dmid, to_rev)",
      "CREATE TABLE udm_classified ("
      " item_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " category_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " from_rev " + d.bigintType + " NOT NULL,"
      " to_rev " + d.bigintType + ","
      " PRIMARY KEY (item_dmid, category_dmid, from_rev))",
      "CREATE INDEX udm_classified_category ON udm_classified (category_dmid, to_rev)",
      // A relation is an entity of its own; this row holds its two ends.
      "CREATE TABLE udm_relation ("
      " uid TEXT PRIMARY KEY REFERENCES udm_revision (uid) ON DELETE CASCADE,"
      " relation_type " + d.bigintType + " NOT NULL,"
      " left_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " left_rev " + d.bigintType + " NOT NULL,"
      " right_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " right_rev " + d.bigintType + " NOT NULL)",
      "CREATE INDEX udm_relation_left ON udm_relation (left_dmid)",
      "CREATE INDEX udm_relation_right ON udm_relation (right_dmid)",
      // One row per checked-out entity: the primary key lets one holder win.
      "CREATE TABLE udm_lock ("
      " dmid TEXT PRIMARY KEY REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " holder TEXT NOT NULL,"
      " session_id TEXT NOT NULL,"
      " locked_time TEXT NOT NULL,"
      " comment TEXT)",
      "CREATE TABLE udm_change ("
      " seq " + d.serialPrimaryKey + ","
      " session_id TEXT NOT NULL,"
      " op " + d.bigintType + " NOT NULL,"
      " uid TEXT,"
      " url TEXT,"
      " attr_name TEXT,"
      " attr_value TEXT,"
      " child_uid TEXT,"
      " parent_seq " + d.bigintType + ","
      " change_time TEXT NOT NULL)",
      "CREATE TABLE udm_definition ("
      " type TEXT PRIMARY KEY,"
      " xml TEXT NOT NULL,"
      " updated_time TEXT NOT NULL)",
  };
}

// Version 2: saved work on entities that were never persisted, kept apart
// from the stored revisions so that no other query ever sees it.
std::vector<vqString> Version2(const SqlDialect&) {
  return {
      "CREATE TABLE udm_draft ("
      " uid TEXT PRIMARY KEY,"
      " cdef TEXT NOT NULL,"
      " holder TEXT NOT NULL,"
      " session_id TEXT NOT NULL,"
      " saved_time TEXT NOT NULL,"
      " comment TEXT,"
      " state TEXT NOT NULL)",
      "CREATE INDEX udm_draft_holder ON udm_draft (holder)",
  };
}

// Version 3: the files and preview images of each revision, and file
// contents kept in the database itself (for repositories configured so).
std::vector<vqString> Version3(const SqlDialect& d) {
  return {
      // kind 0: a file, 1: a preview image. content_key is NULL for external files.
      "CREATE TABLE udm_file ("
      " uid TEXT NOT NULL REFERENCES udm_revision (uid) ON DELETE CASCADE,"
      " kind " + d.bigintType + " NOT NULL,"
      " name TEXT NOT NULL,"
      " folder TEXT NOT NULL,"
      " content_key TEXT,"
      " size " + d.bigintType + " NOT NULL,"
      " modified_time TEXT NOT NULL,"
      " added_time TEXT NOT NULL,"
      " source_path TEXT,"
      " image_type " + d.bigintType + " NOT NULL DEFAULT 0,"
      " description TEXT,"
      " is_default " + d.bigintType + " NOT NULL DEFAULT 0,"
      " position " + d.bigintType + " NOT NULL,"
      " PRIMARY KEY (uid, kind, name))",
      "CREATE INDEX udm_file_content ON udm_file (content_key)",
      "CREATE TABLE udm_content ("
      " content_key TEXT PRIMARY KEY,"
      " size " + d.bigintType + " NOT NULL,"
      " upload TEXT NOT NULL)",
      "CREATE TABLE udm_content_chunk ("
      " upload TEXT NOT NULL,"
      " seq " + d.bigintType + " NOT NULL,"
      " data " + d.blobType + " NOT NULL,"
      " PRIMARY KEY (upload, seq))",
  };
}

// Version 4: a parent may use one child several times, each use a link of
// its own: the key becomes the parent and a use identifier that stays the
// same across the parent's revisions, and each use keeps its attributes
// (encoded). Links of earlier versions become one use each.
std::vector<vqString> Version4(const SqlDialect& d) {
  return {
      "CREATE TABLE udm_link_v4 ("
      " parent_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " use_id TEXT NOT NULL,"
      " grp TEXT NOT NULL,"
      " child_dmid TEXT NOT NULL REFERENCES udm_entity (dmid) ON DELETE CASCADE,"
      " from_rev " + d.bigintType + " NOT NULL,"
      " to_rev " + d.bigintType + ","
      " position " + d.bigintType + " NOT NULL,"
      " attrs TEXT,"
      " PRIMARY KEY (parent_dmid, use_id, from_rev))",
      "INSERT INTO udm_link_v4 (parent_dmid, use_id, grp, child_dmid, from_rev, to_rev, position)"
      " SELECT parent_dmid, grp || '/' || child_dmid, grp, child_dmid, from_rev, to_rev, position FROM udm_link",
      "DROP TABLE udm_link",
      "ALTER TABLE udm_link_v4 RENAME TO udm_link",
      "CREATE INDEX udm_link_child ON udm_link (child_dmid, to_rev)",
      "CREATE INDEX udm_link_parent ON udm_link (parent_dmid, to_rev, grp, position)",
  };
}

// Version 5: PostgreSQL's B-tree index rows hold at most a third of a page,
// so an attribute text of more than about 2.7 kB could not be stored. Its
// text index becomes a hash index, which keeps only a hash of each value and
// still serves equality; SQLite indexes texts of any length.
std::vector<vqString> Version5(const SqlDialect& d) {
  if (d.name != SqlDialect::Postgres().name) return {};
  return {
      "DROP INDEX udm_attribute_text",
      "CREATE INDEX udm_attribute_text ON udm_attribute USING hash (text_value)",
  };
}

// Version 6: the uses of a parent are read in group and position order, and
// with the end revision second in the index every read of them was sorted.
// The open uses of a parent are still found on the index alone.
std::vector<vqString> Version6(const SqlDialect&) {
  return {
      "DROP INDEX udm_link_parent",
      "CREATE INDEX udm_link_parent ON udm_link (parent_dmid, grp, position, to_rev)",
  };
}

const std::vector<Migration>& Migrations() {
  static const std::vector<Migration> all = {Version1, Version2, Version3, Version4, Version5, Version6};
  return all;
}

[[noreturn]] void Fail(const vqString& what, const vqlm::DbStatus& status) {
  ThrowStateException(UDM_FUNCSIG, "repository schema: " + what + ": " + status.GetText(),
                      ExcSubDatabase);
}

void CreateVersionTable(vqlm::iDbDriver& db) {
  const vqlm::DbStatus status =
      db.ExecSqlStatement("CREATE TABLE IF NOT EXISTS udm_schema_version (version INTEGER NOT NULL)");
  if (!status) Fail("cannot create the version table", status);
}

}  // namespace

void DropRepositorySchema(vqlm::iDbDriver& db) {
  // Tables that others reference go last.
  static const char* const kTables[] = {
      "udm_change",  "udm_lock",     "udm_relation", "udm_classified", "udm_reference",
      "udm_link",    "udm_file",     "udm_content_chunk", "udm_content", "udm_attribute",
      "udm_draft",   "udm_revision", "udm_entity",   "udm_definition", "udm_repository",
      "udm_schema_version"};
  vqlm::DbStatus status = db.BeginTransaction();
  if (!status) Fail("cannot start removing the repository", status);
  for (const char* table : kTables) {
    status = db.ExecSqlStatement(vqString("DROP TABLE IF EXISTS ") + table);
    if (!status) {
      db.Rollback();
      Fail(vqString("cannot remove ") + table, status);
    }
  }
  status = db.Commit();
  if (!status) {
    if (db.IsInTransaction()) db.Rollback();
    Fail("cannot remove the repository", status);
  }
}

int LatestSchemaVersion() { return static_cast<int>(Migrations().size()); }

int ReadSchemaVersion(vqlm::iDbDriver& db) {
  CreateVersionTable(db);
  vqlm::ResultSet rows;
  const vqlm::DbStatus status = db.ExecSqlQuery("SELECT max(version) FROM udm_schema_version", rows);
  if (!status) Fail("cannot read the version", status);
  std::int64_t version = 0;
  if (!rows.IsEmpty()) rows.GetValue(0, 0).ToInt64(version);
  return static_cast<int>(version);
}

int MigrateSchema(vqlm::iDbDriver& db, const SqlDialect& dialect, int upTo) {
  const int target = upTo > 0 ? std::min(upTo, LatestSchemaVersion()) : LatestSchemaVersion();
  for (;;) {
    vqlm::DbStatus status = db.BeginTransaction();
    if (!status) Fail("cannot start a migration", status);
    if (!dialect.migrationLock.empty()) {
      vqlm::ResultSet ignored;
      status = db.ExecSqlQuery(dialect.migrationLock, ignored);
      if (!status) {
        db.Rollback();
        Fail("cannot lock the schema", status);
      }
    }
    // Create and read the version inside the locked transaction: another
    // process may be creating or migrating the same repository.
    const int current = ReadSchemaVersion(db);
    if (current > LatestSchemaVersion()) {
      db.Rollback();
      ThrowStateException(UDM_FUNCSIG,
                          "repository schema version " + vqString::FromInt(current) +
                              " is newer than this runtime supports (" +
                              vqString::FromInt(LatestSchemaVersion()) + ")",
                          ExcSubDatabase);
    }
    if (current >= target) {
      db.Rollback();
      return current;
    }
    const int next = current + 1;
    for (const vqString& sql : Migrations()[current](dialect)) {
      status = db.ExecSqlStatement(sql);
      if (!status) {
        db.Rollback();
        Fail("migration to version " + vqString::FromInt(next) + " failed", status);
      }
    }
    status = db.ExecSqlStatement("INSERT INTO udm_schema_version (version) VALUES (?)",
                                 {vqVariant(next)});
    if (status) status = db.Commit();
    if (!status) {
      if (db.IsInTransaction()) db.Rollback();
      Fail("cannot record version " + vqString::FromInt(next), status);
    }
  }
}

}  // namespace vqkudm::store
