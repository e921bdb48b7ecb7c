#include <filesystem>
#include <fstream>
#include <map>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include "../store/EntityStore.h"
#include "../vault/ContentVault.h"
#include "PackageFormat.h"

namespace vqkudm::exchange {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

json Text(const vqVariant& value) { return value.IsEmpty() ? json() : json(value.ToString().str()); }
json Number(const vqVariant& value) {
  std::int64_t n = 0;
  return value.IsEmpty() || !value.ToInt64(n) ? json() : json(n);
}

// The entities the package must hold so that nothing in it points outside.
std::set<vqString> Closure(store::EntityStore& store, const std::set<vqString>& start) {
  std::set<vqString> all = start;
  std::vector<vqString> frontier(start.begin(), start.end());
  while (!frontier.empty()) {
    std::vector<vqString> next;
    auto add = [&](const vqlm::ResultSet& rows) {
      for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
        const vqString dmid = rows.GetValue(i, 0).ToString();
        if (!dmid.empty() && all.insert(dmid).second) next.push_back(dmid);
      }
    };
    add(store.SelectIn("SELECT child_dmid FROM udm_link WHERE parent_dmid IN", frontier, ""));
    add(store.SelectIn("SELECT target_dmid FROM udm_reference WHERE source_dmid IN", frontier, ""));
    add(store.SelectIn("SELECT category_dmid FROM udm_classified WHERE item_dmid IN", frontier, ""));
    // Category trees come whole, from their roots.
    add(store.SelectIn(
                 "SELECT l.parent_dmid FROM udm_link l JOIN udm_entity e ON e.dmid = l.child_dmid"
                 " WHERE e.class = 'UDMClassification' AND l.child_dmid IN",
                 frontier, ""));
    // Branches both ways: where a line came from and the lines made from it.
    add(store.SelectIn("SELECT substr(branch_from, 1, 32) FROM udm_entity WHERE dmid IN", frontier, ""));
    add(store.SelectIn("SELECT dmid FROM udm_entity WHERE substr(branch_from, 1, 32) IN", frontier, ""));
    frontier.swap(next);
  }
  // Relations whose two ends are both in the package.
  const std::vector<vqString> members(all.begin(), all.end());
  const vqlm::ResultSet relations = store.SelectIn(
      "SELECT v.dmid, r.left_dmid, r.right_dmid FROM udm_relation r JOIN udm_revision v ON v.uid = r.uid WHERE r.left_dmid IN",
      members, "");
  for (std::size_t i = 0; i < relations.GetRowCount(); ++i) {
    if (all.count(relations.GetValue(i, 2).ToString())) all.insert(relations.GetValue(i, 0).ToString());
  }
  return all;
}

}  // namespace

void WritePackage(UDMSession& session, const std::set<vqString>& start, const vqString& directory,
                  const vqString& contentsFolder, const Progress& progress) {
  store::EntityStore& store = session.Store();
  const std::set<vqString> dmids = Closure(store, start);
  const std::vector<vqString> ids(dmids.begin(), dmids.end());
  std::map<vqString, json> entities;
  // Revision identifier -> (entity, index in its revisions): indices stay
  // valid while the arrays grow, pointers would not.
  std::map<vqString, std::pair<vqString, std::size_t>> revisionsByUid;
  auto revisionOf = [&](const vqString& uid) -> json& {
    const auto& [dmid, index] = revisionsByUid.at(uid);
    return entities[dmid]["revisions"][index];
  };

  const vqlm::ResultSet heads = store.SelectIn(
      "SELECT dmid, cdef, class, latest_rev, deleted, created_by, created_time, branch_from FROM udm_entity WHERE dmid IN",
      ids, " ORDER BY dmid");
  for (std::size_t i = 0; i < heads.GetRowCount(); ++i) {
    auto v = [&](std::size_t c) { return heads.GetValue(i, c); };
    json e = {{"id", v(0).ToString().str()},       {"definition", v(1).ToString().str()},
              {"class", v(2).ToString().str()},    {"latestRevision", Number(v(3))},
              {"deleted", Number(v(4)) != 0},      {"createdBy", v(5).ToString().str()},
              {"created", v(6).ToString().str()},  {"branchFrom", Text(v(7))},
              {"revisions", json::array()},        {"links", json::array()},
              {"references", json::array()},       {"classifications", json::array()}};
    entities[v(0).ToString()] = std::move(e);
  }
  const vqlm::ResultSet revisions = store.SelectIn(
      "SELECT uid, dmid, revision, name, modified_by, modified_time, comment FROM udm_revision WHERE state = 0 AND dmid IN",
      ids, " ORDER BY dmid, revision");
  for (std::size_t i = 0; i < revisions.GetRowCount(); ++i) {
    auto v = [&](std::size_t c) { return revisions.GetValue(i, c); };
    json& list = entities[v(1).ToString()]["revisions"];
    list.push_back({{"revision", Number(v(2))}, {"name", v(3).ToString().str()}, {"modifiedBy", v(4).ToString().str()},
                    {"modified", v(5).ToString().str()}, {"comment", Text(v(6))}, {"attributes", json::array()},
                    {"files", json::array()}});
    revisionsByUid[v(0).ToString()] = {v(1).ToString(), list.size() - 1};
  }
  std::vector<vqString> uids;
  for (const auto& [uid, unused] : revisionsByUid) uids.push_back(uid);
  const vqlm::ResultSet attributes =
      store.SelectIn("SELECT uid, name, type, text_value, num_value FROM udm_attribute WHERE uid IN", uids,
               " ORDER BY uid, name");
  for (std::size_t i = 0; i < attributes.GetRowCount(); ++i) {
    auto v = [&](std::size_t c) { return attributes.GetValue(i, c); };
    double number = 0;
    revisionOf(v(0).ToString())["attributes"].push_back(
        {{"name", v(1).ToString().str()}, {"type", Number(v(2))}, {"text", Text(v(3))},
         {"number", v(4).ToDouble(number) ? json(number) : json()}});
  }
  std::set<vqString> contents;
  const vqlm::ResultSet files = store.SelectIn(
      "SELECT uid, kind, name, folder, content_key, size, modified_time, added_time, source_path, image_type,"
      " description, is_default FROM udm_file WHERE uid IN",
      uids, " ORDER BY uid, position");
  for (std::size_t i = 0; i < files.GetRowCount(); ++i) {
    auto v = [&](std::size_t c) { return files.GetValue(i, c); };
    if (!v(4).IsEmpty()) contents.insert(v(4).ToString());
    revisionOf(v(0).ToString())["files"].push_back(
        {{"kind", Number(v(1))}, {"name", v(2).ToString().str()}, {"folder", v(3).ToString().str()},
         {"key", Text(v(4))}, {"size", Number(v(5))}, {"modified", v(6).ToString().str()},
         {"added", v(7).ToString().str()}, {"source", Text(v(8))}, {"imageType", Number(v(9))},
         {"description", Text(v(10))}, {"default", Number(v(11)) != 0}});
  }
  const vqlm::ResultSet links = store.SelectIn(
      "SELECT parent_dmid, grp, child_dmid, from_rev, to_rev, position, use_id, attrs FROM udm_link"
      " WHERE parent_dmid IN",
      ids, " ORDER BY parent_dmid, from_rev, grp, position");
  for (std::size_t i = 0; i < links.GetRowCount(); ++i) {
    auto v = [&](std::size_t c) { return links.GetValue(i, c); };
    // Use attributes go as the repository keeps them, so they come back exactly.
    const json attributes = v(7).IsEmpty() ? json::object() : json::parse(v(7).ToString().str());
    entities[v(0).ToString()]["links"].push_back({{"group", v(1).ToString().str()}, {"child", v(2).ToString().str()},
                                                  {"from", Number(v(3))}, {"to", Number(v(4))},
                                                  {"position", Number(v(5))}, {"use", v(6).ToString().str()},
                                                  {"attributes", attributes}});
  }
  const vqlm::ResultSet references = store.SelectIn(
      "SELECT source_dmid, name, target_dmid, from_rev, to_rev FROM udm_reference WHERE source_dmid IN", ids,
      " ORDER BY source_dmid, from_rev, name, target_dmid");
  for (std::size_t i = 0; i < references.GetRowCount(); ++i) {
    auto v = [&](std::size_t c) { return references.GetValue(i, c); };
    entities[v(0).ToString()]["references"].push_back({{"name", v(1).ToString().str()}, {"target", v(2).ToString().str()},
                                                       {"from", Number(v(3))}, {"to", Number(v(4))}});
  }
  const vqlm::ResultSet classified = store.SelectIn(
      "SELECT item_dmid, category_dmid, from_rev, to_rev FROM udm_classified WHERE item_dmid IN", ids,
      " ORDER BY item_dmid, from_rev, category_dmid");
  for (std::size_t i = 0; i < classified.GetRowCount(); ++i) {
    auto v = [&](std::size_t c) { return classified.GetValue(i, c); };
    entities[v(0).ToString()]["classifications"].push_back(
        {{"category", v(1).ToString().str()}, {"from", Number(v(2))}, {"to", Number(v(3))}});
  }
  const vqlm::ResultSet relations = store.SelectIn(
      "SELECT v.dmid, r.relation_type, r.left_dmid, r.left_rev, r.right_dmid, r.right_rev FROM udm_relation r"
             " JOIN udm_revision v ON v.uid = r.uid WHERE v.dmid IN",
      ids, "");
  for (std::size_t i = 0; i < relations.GetRowCount(); ++i) {
    auto v = [&](std::size_t c) { return relations.GetValue(i, c); };
    entities[v(0).ToString()]["relation"] = {{"type", Number(v(1))}, {"left", v(2).ToString().str()},
                                             {"leftRevision", Number(v(3))}, {"right", v(4).ToString().str()},
                                             {"rightRevision", Number(v(5))}};
  }

  json manifest = {{"format", kPackageFormat},
                   {"version", kPackageVersion},
                   {"exported", UDMSession::Now().str()},
                   {"source", session.GetSessionConfig()->GetRepositoryName().str()},
                   {"contentsFolder", contentsFolder.str()},
                   {"entities", json::array()},
                   {"contents", json::array()}};
  for (auto& [dmid, entity] : entities) manifest["entities"].push_back(std::move(entity));
  const fs::path root(directory.str());
  fs::create_directories(root / contentsFolder.str());
  std::uint64_t done = 0;
  for (const vqString& key : contents) {
    session.Vault().Fetch(key, (root / contentsFolder.str() / key.str()).string());
    manifest["contents"].push_back(key.str());
    if (progress) progress("contents", ++done, contents.size());
  }
  std::ofstream out(root / kManifestName, std::ios::binary);
  out << manifest.dump(1);
  if (!out) ThrowFileException(UDM_FUNCSIG, "cannot write the manifest in \"" + directory + "\"", ExcSubIo);
  if (progress) progress("manifest", entities.size(), entities.size());
}

}  // namespace vqkudm::exchange
