// File records of revisions and contents kept in the database.

#include "EntityStore.h"

namespace vqkudm::store {

void EntityStore::InsertFiles(const UDMUID& uid, const std::vector<FileRecord>& files) {
  if (files.empty()) return;
  std::vector<vqStlVector<vqVariant>> rows;
  rows.reserve(files.size());
  std::int64_t position = 0;
  auto text = [](const vqString& value) { return value.empty() ? vqVariant() : vqVariant(value); };
  for (const FileRecord& f : files) {
    rows.push_back({uid.ToString(), vqVariant(f.kind), f.name, f.folder, text(f.contentKey), vqVariant(f.size),
                    f.modifiedTime, f.addedTime, text(f.sourcePath), vqVariant(f.imageType), text(f.description),
                    vqVariant(f.isDefault ? 1 : 0), vqVariant(position++)});
  }
  BulkInsert("udm_file",
             {"uid", "kind", "name", "folder", "content_key", "size", "modified_time", "added_time", "source_path",
              "image_type", "description", "is_default", "position"},
             rows);
}

std::vector<FileRecord> EntityStore::GetFiles(const UDMUID& uid) {
  const vqlm::ResultSet rows = Query(
      "SELECT kind, name, folder, content_key, size, modified_time, added_time, source_path, image_type,"
      " description, is_default FROM udm_file WHERE uid = ? ORDER BY position",
      {uid.ToString()});
  std::vector<FileRecord> files;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    auto text = [&](std::size_t column) { return rows.GetValue(i, column).ToString(); };
    files.push_back({static_cast<int>(ToInt64(rows.GetValue(i, 0))), text(1), text(2), text(3),
                     ToInt64(rows.GetValue(i, 4)), text(5), text(6), text(7),
                     static_cast<int>(ToInt64(rows.GetValue(i, 8))), text(9), ToInt64(rows.GetValue(i, 10)) != 0});
  }
  return files;
}

std::vector<vqString> EntityStore::GetContentKeysOf(const vqString& dmid) {
  return Query(
             "SELECT DISTINCT f.content_key FROM udm_file f JOIN udm_revision r ON r.uid = f.uid"
             " WHERE r.dmid = ? AND f.content_key IS NOT NULL ORDER BY f.content_key",
             {dmid})
      .GetColumnTexts(0);
}

bool EntityStore::IsContentReferenced(const vqString& key) {
  return !Query("SELECT 1 FROM udm_file WHERE content_key = ?", {key}).IsEmpty();
}

void EntityStore::LockContent(const vqString& key) {
  if (!m_dialect.keyLock.empty()) Query(m_dialect.keyLock.c_str(), {"content=" + key});
}

void EntityStore::InsertContentChunk(const vqString& upload, std::int64_t seq, const char* data, std::size_t size) {
  auto& statement = Statement("INSERT INTO udm_content_chunk (upload, seq, data) VALUES (?, ?, ?)");
  vqlm::DbStatus status = statement->Bind(1, upload);
  if (status) status = statement->Bind(2, vqVariant(seq));
  if (status) status = statement->BindBlob(3, data, size);
  if (status) status = statement->Execute();
  if (!status) Fail("cannot store a file content", status);
}

bool EntityStore::ContentExists(const vqString& key) {
  return !Query("SELECT 1 FROM udm_content WHERE content_key = ?", {key}).IsEmpty();
}

void EntityStore::InsertContent(const vqString& key, std::int64_t size, const vqString& upload) {
  Execute("INSERT INTO udm_content (content_key, size, upload) VALUES (?, ?, ?)", {key, vqVariant(size), upload});
}

void EntityStore::DeleteUpload(const vqString& upload) {
  Execute("DELETE FROM udm_content_chunk WHERE upload = ?", {upload});
}

void EntityStore::DeleteContent(const vqString& key) {
  const vqlm::ResultSet rows = Query("SELECT upload FROM udm_content WHERE content_key = ?", {key});
  if (rows.IsEmpty()) return;
  DeleteUpload(rows.GetValue(0, 0).ToString());
  Execute("DELETE FROM udm_content WHERE content_key = ?", {key});
}

bool EntityStore::ReadContent(const vqString& key, const std::function<void(const vqString&)>& piece) {
  const vqlm::ResultSet rows = Query("SELECT upload FROM udm_content WHERE content_key = ?", {key});
  if (rows.IsEmpty()) return false;
  const vqString upload = rows.GetValue(0, 0).ToString();
  // One chunk at a time, so that a large content never sits in memory whole.
  for (std::int64_t seq = 0;; ++seq) {
    const vqlm::ResultSet chunk =
        Query("SELECT data FROM udm_content_chunk WHERE upload = ? AND seq = ?", {upload, vqVariant(seq)});
    if (chunk.IsEmpty()) return true;
    piece(chunk.GetValue(0, 0).ToString());
  }
}

void EntityStore::StoreDefinition(const vqString& type, const vqString& xml, const vqString& time) {
  Execute("INSERT INTO udm_definition (type, xml, updated_time) VALUES (?, ?, ?)"
          " ON CONFLICT (type) DO UPDATE SET xml = excluded.xml, updated_time = excluded.updated_time",
          {type, xml, time});
}

std::vector<std::pair<vqString, vqString>> EntityStore::GetStoredDefinitions() {
  const vqlm::ResultSet rows = Query("SELECT type, xml FROM udm_definition ORDER BY type", {});
  std::vector<std::pair<vqString, vqString>> out;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    out.emplace_back(rows.GetValue(i, 0).ToString(), rows.GetValue(i, 1).ToString());
  }
  return out;
}

bool EntityStore::HasEntitiesOf(const vqString& cdef) {
  return !Query("SELECT 1 FROM udm_entity WHERE cdef = ? LIMIT 1", {cdef}).IsEmpty();
}

bool EntityStore::HasStoredValues(const vqString& cdef, const vqString& attribute) {
  return !Query("SELECT 1 FROM udm_attribute a JOIN udm_revision r ON r.uid = a.uid"
                " JOIN udm_entity e ON e.dmid = r.dmid WHERE e.cdef = ? AND a.name = ? LIMIT 1",
                {cdef, attribute})
              .IsEmpty();
}

}  // namespace vqkudm::store
