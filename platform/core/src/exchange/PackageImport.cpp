#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <stdexcept>

#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>

#include "../store/EntityStore.h"
#include "../vault/ContentVault.h"
#include "PackageFormat.h"

namespace vqkudm::exchange {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

[[noreturn]] void Refuse(const char* signature, const vqString& directory, const vqString& why) {
  ThrowInvalidArgException(signature, "the package \"" + directory + "\" " + why, ExcSubSyntax);
}

// json's own conversion of a fraction, or of a number outside the type's
// range, to an integer type is undefined behaviour: whole numbers are checked.
struct NotWhole : std::runtime_error {
  using std::runtime_error::runtime_error;
};

template <class T>
T Whole(const json& value) {
  const bool fits = value.is_number_unsigned()
                        ? value.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<T>::max())
                        : value.is_number_integer() && value.get<std::int64_t>() >= std::numeric_limits<T>::min() &&
                              value.get<std::int64_t>() <= std::numeric_limits<T>::max();
  if (!fits) throw NotWhole("expected a whole number, not " + value.dump());
  return static_cast<T>(value.get<std::int64_t>());
}

vqVariant Text(const json& value) { return value.is_null() ? vqVariant() : vqVariant(value.get<std::string>()); }
vqVariant Int(const json& value) { return value.is_null() ? vqVariant() : vqVariant(Whole<std::int64_t>(value)); }

std::set<vqString> Existing(store::EntityStore& store, const char* sql, const std::vector<vqString>& keys) {
  const vqStlVector<vqString> found = store.SelectIn(sql, keys, "").GetColumnTexts(0);
  return std::set<vqString>(found.begin(), found.end());
}

// The rows one entity contributes, ready for the tables.
struct Rows {
  std::vector<vqStlVector<vqVariant>> entities, revisions, attributes, files, links, references, classified, relations;
  std::set<vqString> contents;  // keys the new file rows use
  std::vector<std::pair<vqString, int>> reopened;  // existing entities whose open rows end at that revision
};

}  // namespace

ImportOutcome ReadPackage(UDMSession& session, const vqString& directory, bool checkOnly, const Progress& progress) {
  const fs::path root(directory.str());
  std::ifstream in(root / kManifestName, std::ios::binary);
  if (!in) Refuse(UDM_FUNCSIG, directory, "has no manifest.json");
  json manifest;
  try {
    manifest = json::parse(in);
  } catch (const json::exception& e) {
    Refuse(UDM_FUNCSIG, directory, vqString("has a malformed manifest: ") + e.what());
  }
  store::EntityStore& store = session.Store();
  ImportOutcome outcome;
  Rows rows;
  vqString contentsFolder;
  try {
    if (manifest.value("format", "") != kPackageFormat) Refuse(UDM_FUNCSIG, directory, "is not an exchange package");
    const int version = Whole<int>(manifest.at("version"));
    if (version > kPackageVersion) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "the package \"" + directory + "\" has format version " + vqString::FromInt(version) +
                                   ", newer than this runtime reads (" + vqString::FromInt(kPackageVersion) + ")",
                               ExcSubOutOfRange);
    }
    contentsFolder = manifest.value("contentsFolder", std::string(kDefaultContentsFolder));
    if (contentsFolder.empty() || contentsFolder == "." || contentsFolder == ".." ||
        contentsFolder.find_first_of("/\\") != vqString::npos) {
      Refuse(UDM_FUNCSIG, directory, "names the contents folder \"" + contentsFolder + "\", which is not a plain name");
    }
    const json& entities = manifest.at("entities");
    std::set<vqString> inPackage;
    std::vector<vqString> ids, uids;
    for (const json& e : entities) {
      const vqString dmid = e.at("id").get<std::string>();
      if (!UDMUID(dmid + "0").IsValid()) Refuse(UDM_FUNCSIG, directory, "holds the malformed identifier \"" + dmid + "\"");
      inPackage.insert(dmid);
      ids.push_back(dmid);
      for (const json& r : e.at("revisions")) uids.push_back(dmid + vqString::FromInt(Whole<int>(r.at("revision"))));
    }
    const std::set<vqString> knownEntities = Existing(store, "SELECT dmid FROM udm_entity WHERE dmid IN", ids);
    const std::set<vqString> knownRevisions =
        Existing(store, "SELECT uid FROM udm_revision WHERE state = 0 AND uid IN", uids);
    std::set<vqString> contents;
    for (const json& key : manifest.at("contents")) contents.insert(key.get<std::string>());
    auto requireEntity = [&](const vqString& dmid, const vqString& what) {
      if (!inPackage.count(dmid) && !store.EntityExists(dmid)) {
        Refuse(UDM_FUNCSIG, directory, "refers to " + what + " " + dmid + ", which is neither in it nor in the repository");
      }
    };
    for (const json& e : entities) {
      const vqString dmid = e.at("id").get<std::string>();
      const vqString cdef = e.at("definition").get<std::string>();
      if (!session.GetConfiguration()->GetContentDefinition(cdef)) {
        Refuse(UDM_FUNCSIG, directory, "holds entities of \"" + cdef + "\", a definition this repository lacks");
      }
      const bool newEntity = !knownEntities.count(dmid);
      bool changed = newEntity;
      if (newEntity) {
        rows.entities.push_back({dmid, cdef, e.at("class").get<std::string>(), Int(e.at("latestRevision")),
                                 vqVariant(e.at("deleted").get<bool>() ? 1 : 0), e.at("createdBy").get<std::string>(),
                                 e.at("created").get<std::string>(), Text(e.at("branchFrom"))});
      }
      if (!e.at("branchFrom").is_null()) {
        requireEntity(vqString(e.at("branchFrom").get<std::string>()).substr(0, UDMUID::kDmUidLength), "the branch origin");
      }
      int firstNew = -1;  // the lowest revision the repository lacks
      for (const json& r : e.at("revisions")) {
        const int revision = Whole<int>(r.at("revision"));
        const vqString uid = dmid + vqString::FromInt(revision);
        if (knownRevisions.count(uid)) continue;
        changed = true;
        if (firstNew < 0 || revision < firstNew) firstNew = revision;
        rows.revisions.push_back({uid, dmid, Int(r.at("revision")), r.at("name").get<std::string>(),
                                  r.at("modifiedBy").get<std::string>(), r.at("modified").get<std::string>(),
                                  Text(r.at("comment"))});
        for (const json& a : r.at("attributes")) {
          rows.attributes.push_back({uid, a.at("name").get<std::string>(), Int(a.at("type")), Text(a.at("text")),
                                     a.at("number").is_null() ? vqVariant() : vqVariant(a.at("number").get<double>())});
        }
        std::int64_t position = 0;
        for (const json& f : r.at("files")) {
          const vqVariant key = Text(f.at("key"));
          if (!key.IsEmpty()) {
            if (!contents.count(key.ToString()) || !fs::exists(root / contentsFolder.str() / key.ToString().str())) {
              Refuse(UDM_FUNCSIG, directory, "lacks the content " + key.ToString() + " of \"" +
                                                 f.at("name").get<std::string>() + "\"");
            }
            rows.contents.insert(key.ToString());
          }
          rows.files.push_back({uid, Int(f.at("kind")), f.at("name").get<std::string>(), f.at("folder").get<std::string>(),
                                key, Int(f.at("size")), f.at("modified").get<std::string>(),
                                f.at("added").get<std::string>(), Text(f.at("source")), Int(f.at("imageType")),
                                Text(f.at("description")), vqVariant(f.at("default").get<bool>() ? 1 : 0),
                                vqVariant(position++)});
        }
        if (e.contains("relation")) {
          const json& rel = e.at("relation");
          requireEntity(rel.at("left").get<std::string>(), "the relation end");
          requireEntity(rel.at("right").get<std::string>(), "the relation end");
          rows.relations.push_back({uid, Int(rel.at("type")), rel.at("left").get<std::string>(),
                                    Int(rel.at("leftRevision")), rel.at("right").get<std::string>(),
                                    Int(rel.at("rightRevision"))});
        }
      }
      // A new entity takes all its versioned rows. One already here that
      // gains revisions after its latest takes the rows valid from the first
      // of them on, and its own open rows end there; else it keeps its own.
      int from = 0;
      if (!newEntity) {
        int latest = -1;
        if (firstNew < 0 || !store.GetLatestRevision(dmid, latest) || firstNew <= latest) {
          (changed ? outcome.added : outcome.unchanged).push_back(dmid);
          continue;
        }
        from = firstNew;
        rows.reopened.push_back({dmid, from});
      }
      // A row that ends before `from` is history the repository has already.
      auto clipped = [&](const json& row, std::int64_t& start) {
        start = std::max<std::int64_t>(Whole<std::int64_t>(row.at("from")), from);
        return !row.at("to").is_null() && Whole<std::int64_t>(row.at("to")) <= start;
      };
      std::int64_t start = 0;
      for (const json& l : e.at("links")) {
        if (clipped(l, start)) continue;
        const std::string group = l.at("group").get<std::string>(), child = l.at("child").get<std::string>();
        requireEntity(child, "the child");
        // Packages written before uses had identifiers name them as the migration does.
        const json attributes = l.value("attributes", json::object());
        bool readable = attributes.is_object();
        for (const auto& [name, value] : attributes.items()) {
          readable = readable && value.is_array() && value.size() == 3 && value[0].is_number_integer() &&
                     (value[1].is_string() || value[1].is_null()) && value[2].is_number();
        }
        if (!readable) {
          Refuse(UDM_FUNCSIG, directory, "has unreadable use attributes in a link of " + dmid + ": " + attributes.dump());
        }
        rows.links.push_back({dmid, vqString(l.value("use", group + "/" + child)), vqString(group), vqString(child),
                              vqVariant(start), Int(l.at("to")), Int(l.at("position")),
                              attributes.empty() ? vqVariant() : vqVariant(vqString(attributes.dump()))});
      }
      for (const json& r : e.at("references")) {
        if (clipped(r, start)) continue;
        requireEntity(r.at("target").get<std::string>(), "the referenced entity");
        rows.references.push_back({dmid, r.at("name").get<std::string>(), r.at("target").get<std::string>(),
                                   vqVariant(start), Int(r.at("to"))});
      }
      for (const json& c : e.at("classifications")) {
        if (clipped(c, start)) continue;
        requireEntity(c.at("category").get<std::string>(), "the category");
        rows.classified.push_back({dmid, c.at("category").get<std::string>(), vqVariant(start), Int(c.at("to"))});
      }
      (changed ? outcome.added : outcome.unchanged).push_back(dmid);
    }
  } catch (const json::exception& e) {
    Refuse(UDM_FUNCSIG, directory, vqString("has a malformed manifest: ") + e.what());
  } catch (const NotWhole& e) {
    Refuse(UDM_FUNCSIG, directory, vqString("has a malformed manifest: ") + e.what());
  }
  if (checkOnly) return outcome;

  // Contents first, each checked against its key, then every record at once.
  std::uint64_t done = 0;
  for (const vqString& key : rows.contents) {
    const vault::StagedContent staged = session.Vault().Stage((root / contentsFolder.str() / key.str()).string());
    if (staged.key != key) {
      Refuse(UDM_FUNCSIG, directory, "holds a content under " + key + " whose bytes do not match that key");
    }
    if (progress) progress("contents", ++done, rows.contents.size());
  }
  session.Vault().SyncStaged();
  store.InTransaction("importing \"" + directory + "\"", [&] {
    store.BulkInsertRows("udm_entity", {"dmid", "cdef", "class", "latest_rev", "deleted", "created_by", "created_time",
                                        "branch_from"}, rows.entities);
    store.BulkInsertRows("udm_revision", {"uid", "dmid", "revision", "name", "modified_by", "modified_time", "comment"},
                         rows.revisions);
    for (const auto& [dmid, revision] : rows.reopened) store.EndOpenRows(dmid, revision);
    // An entity already here takes the package's newer revisions as its latest.
    for (const auto& revision : rows.revisions) {
      store.RaiseLatestRevision(revision[1].ToString(), static_cast<int>(*revision[2].GetInt64()));
    }
    store.BulkInsertRows("udm_attribute", {"uid", "name", "type", "text_value", "num_value"}, rows.attributes);
    for (const vqString& key : rows.contents) {
      store.LockContent(key);
      session.Vault().Publish(key);
    }
    session.Vault().SyncPublished();
    store.BulkInsertRows("udm_file", {"uid", "kind", "name", "folder", "content_key", "size", "modified_time",
                                      "added_time", "source_path", "image_type", "description", "is_default", "position"},
                         rows.files);
    store.BulkInsertRows("udm_link", {"parent_dmid", "use_id", "grp", "child_dmid", "from_rev", "to_rev", "position", "attrs"},
                         rows.links);
    store.BulkInsertRows("udm_reference", {"source_dmid", "name", "target_dmid", "from_rev", "to_rev"}, rows.references);
    store.BulkInsertRows("udm_classified", {"item_dmid", "category_dmid", "from_rev", "to_rev"}, rows.classified);
    store.BulkInsertRows("udm_relation", {"uid", "relation_type", "left_dmid", "left_rev", "right_dmid", "right_rev"},
                         rows.relations);
  });
  if (progress) progress("records", outcome.added.size(), outcome.added.size());
  return outcome;
}

}  // namespace vqkudm::exchange
