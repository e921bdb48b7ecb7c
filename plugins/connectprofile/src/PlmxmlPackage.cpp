#include "PlmxmlPackage.h"

#include "Hashes.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include <vqkudm/UDMNames.h>
#include <vqkudmrt/UDMException.h>
#include <vqutl/vqVariant.h>

namespace vqkudm::connect {

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

const char* const kSignature =
    "void vqkudm::connect::WritePackage(const plmxml::Document &,PartAttributes &,const std::string &,const "
    "std::string &,const std::string &)";
const char* const kPartDefinition = "UDMPart";
const char* const kPartsGroup = "parts";

std::string IsoTime(std::chrono::system_clock::time_point when) {
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count();
  const std::time_t seconds = static_cast<std::time_t>(ms / 1000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900, utc.tm_mon + 1,
                utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>(ms % 1000));
  return text;
}

json Attribute(const std::string& name, const PackageValue& value) {
  return {{"name", name},
          {"type", value.type},
          {"text", value.text ? json(*value.text) : json()},
          {"number", value.number ? json(*value.number) : json()}};
}

// Use attributes are kept as [type, text, number], the number 0 for texts.
json UseAttribute(const PackageValue& value) {
  return json::array({value.type, value.text ? json(*value.text) : json(), value.number.value_or(0.0)});
}

// What a revision brings, without the times of this load: equal when a
// later load finds the same revision in the document.
std::string Fingerprint(const json& revision, const std::vector<json>& uses) {
  json files = json::array();
  for (const json& file : revision["files"]) files.push_back({file["name"], file["key"], file["source"]});
  return HashText(json{revision["name"], revision["attributes"], files, uses}.dump(), 16);
}

class PackageWriter {
 public:
  PackageWriter(PartAttributes& attributes, const std::string& user, const std::string& comment,
                const fs::path& directory)
      : m_attributes(attributes),
        m_user(user),
        m_comment(comment),
        m_directory(directory),
        m_now(IsoTime(std::chrono::system_clock::now())) {}

  // Packages what `document` brings that `state` says was not loaded yet.
  size_t Write(const plmxml::Document& document, LoadState& state, const LatestRevision& latestRevision) {
    AssignIds(document, state);
    const UsesByRevision usesOf = GroupUses(document);
    json entities = json::array();
    for (const plmxml::Item& item : document.items) {
      LoadedItem& loaded = state[item.key];
      int next = loaded.revisions.empty() ? 0 : latestRevision(loaded.id) + 1;
      json revisions = json::array();
      LinkRows links;
      for (size_t r : Incoming(item, loaded)) {
        const plmxml::Revision& revision = item.revisions[r];
        json content = RevisionOf(item, revision);
        std::vector<json> uses = UsesOf(usesOf, item, revision, state);
        const std::string fingerprint = Fingerprint(content, uses);
        if (r + 1 == item.revisions.size() && !loaded.revisions.empty() &&
            loaded.revisions.back().fingerprint == fingerprint && Known(loaded, revision.revision)) {
          continue;
        }
        content["revision"] = next;
        revisions.push_back(std::move(content));
        links.Revise(next++, uses);
        Remember(loaded, {revision.revision, fingerprint});
      }
      if (revisions.empty()) continue;
      entities.push_back({{"id", loaded.id},
                          {"definition", kPartDefinition},
                          {"class", "UDMItem"},
                          {"latestRevision", next - 1},
                          {"deleted", false},
                          {"createdBy", m_user},
                          {"created", m_now},
                          {"branchFrom", nullptr},
                          {"revisions", std::move(revisions)},
                          {"links", links.Rows()},
                          {"references", json::array()},
                          {"classifications", json::array()}});
    }
    const size_t written = entities.size();
    const json manifest = {{"format", "vqkudm-package"},   {"version", 1},
                           {"exported", m_now},            {"source", "PLM XML"},
                           {"contentsFolder", "contents"}, {"contents", json(m_contents)},
                           {"entities", std::move(entities)}};
    std::ofstream out(m_directory / "manifest.json");
    out << manifest.dump();
    if (!out.flush()) ThrowFileException(kSignature, "cannot write " + (m_directory / "manifest.json").string(), ExcSubIo);
    return written;
  }

  // Records every revision of `document` as loaded, each item's last one as
  // its latest: for a document written from the repository itself.
  void Record(const plmxml::Document& document, LoadState& state) {
    AssignIds(document, state);
    const UsesByRevision usesOf = GroupUses(document);
    for (const plmxml::Item& item : document.items) {
      LoadedItem& loaded = state[item.key];
      for (const plmxml::Revision& revision : item.revisions) {
        const std::vector<json> uses = UsesOf(usesOf, item, revision, state);
        Remember(loaded, {revision.revision, Fingerprint(RevisionOf(item, revision), uses)});
      }
    }
  }

 private:
  using UsesByRevision = std::map<std::string, std::vector<const plmxml::Use*>>;  // by parent item and revision

  static std::string RevisionKey(const std::string& item, const std::string& revision) {
    return item + '\n' + revision;
  }
  static UsesByRevision GroupUses(const plmxml::Document& document) {
    UsesByRevision usesOf;
    for (const plmxml::Use& use : document.uses) usesOf[RevisionKey(use.parentItem, use.parentRevision)].push_back(&use);
    return usesOf;
  }
  // Items loaded before keep their part; new ones get the part of their key.
  static void AssignIds(const plmxml::Document& document, LoadState& state) {
    for (const plmxml::Item& item : document.items) {
      LoadedItem& loaded = state[item.key];
      if (loaded.id.empty()) loaded.id = PartId(item.key);
    }
  }
  // One entry per label, the latest last.
  static void Remember(LoadedItem& loaded, LoadedRevision revision) {
    auto& list = loaded.revisions;
    list.erase(std::remove_if(list.begin(), list.end(), [&](const LoadedRevision& r) { return r.label == revision.label; }),
               list.end());
    list.push_back(std::move(revision));
  }
  static bool Known(const LoadedItem& loaded, const std::string& label) {
    return std::any_of(loaded.revisions.begin(), loaded.revisions.end(),
                       [&](const LoadedRevision& r) { return r.label == label; });
  }
  // The document revisions to consider: all of a new item; those after the
  // last one loaded before; else the last one, which comes again when what
  // it brings changed.
  static std::vector<size_t> Incoming(const plmxml::Item& item, const LoadedItem& loaded) {
    const size_t count = item.revisions.size();
    size_t first = 0;
    for (size_t r = 0; r < count; ++r) {
      if (Known(loaded, item.revisions[r].revision)) first = r + 1;
    }
    if (loaded.revisions.empty()) first = 0;
    else if (first == count) first = count - 1;
    std::vector<size_t> incoming;
    for (size_t r = first; r < count; ++r) incoming.push_back(r);
    return incoming;
  }

  // Links of one parent over its revisions: a use keeps its row while its
  // child, position and attributes stay, and gets a new row from the
  // revision where any of them changes.
  class LinkRows {
   public:
    void Revise(int revision, const std::vector<json>& uses) {
      std::set<std::string> present;
      for (const json& use : uses) {
        const std::string id = use["use"];
        present.insert(id);
        auto open = m_open.find(id);
        if (open != m_open.end()) {
          json& row = m_rows[open->second];
          if (row["child"] == use["child"] && row["position"] == use["position"] &&
              row["attributes"] == use["attributes"]) {
            continue;
          }
          row["to"] = revision;
        }
        json row = use;
        row["from"] = revision;
        row["to"] = nullptr;
        m_open[id] = m_rows.size();
        m_rows.push_back(std::move(row));
      }
      for (auto it = m_open.begin(); it != m_open.end();) {
        if (present.count(it->first)) {
          ++it;
          continue;
        }
        m_rows[it->second]["to"] = revision;
        it = m_open.erase(it);
      }
    }
    json Rows() const { return json(m_rows); }

   private:
    std::vector<json> m_rows;
    std::map<std::string, size_t> m_open;  // use id -> row
  };

  json RevisionOf(const plmxml::Item& item, const plmxml::Revision& revision) {
    const std::string where = "revision \"" + revision.key + "\" of \"" + item.key + "\"";
    std::map<std::string, PackageValue> values;
    auto set = [&](const std::string& title, const std::string& value) {
      if (value.empty()) return;
      const std::string name = m_attributes.NameFor(title);
      values[name] = m_attributes.Convert(name, value, where);
    };
    set(kKeyPlmxmlexternalid.str(), item.key);
    if (item.key != item.elementId) set("partnumber", item.key);
    set(kKeyPlmxmloccrevision.str(), revision.revision);
    set(kKeyPlmxmlproductrevname.str(), revision.name);
    set(kKeyPlmxmlproductrevsubtype.str(), revision.subType);
    for (const plmxml::UserValue& value : item.userValues) set(value.title, value.value);
    for (const plmxml::UserValue& value : revision.userValues) set(value.title, value.value);
    json attributes = json::array();
    for (const auto& [name, value] : values) attributes.push_back(Attribute(name, value));
    json files = json::array();
    std::set<std::string> names;
    for (const plmxml::FileRef& file : revision.files) files.push_back(FileOf(file, names));
    const std::string name = !revision.name.empty() ? revision.name : !item.name.empty() ? item.name : item.key;
    return {{"name", name},         {"modifiedBy", m_user},   {"modified", m_now},
            {"comment", m_comment}, {"attributes", attributes}, {"files", std::move(files)}};
  }

  // Files go into the package once per content (the connector has made
  // sure they exist).
  json FileOf(const plmxml::FileRef& file, std::set<std::string>& names) {
    const fs::path path(file.path);
    std::string name = path.filename().string();
    for (int n = 2; !names.insert(name).second; ++n) {
      name = path.stem().string() + "-" + std::to_string(n) + path.extension().string();
    }
    const std::string key = HashFile(path);
    std::error_code error;
    if (!m_directory.empty() && m_stored.insert(key).second) {
      const fs::path target = m_directory / "contents" / key;
      fs::create_directories(target.parent_path());
      fs::create_hard_link(path, target, error);
      if (error && !fs::copy_file(path, target, error)) {
        ThrowFileException(kSignature, "cannot copy " + file.path + ": " + error.message(), ExcSubIo);
      }
      m_contents.push_back(key);
    }
    const auto size = fs::file_size(path, error);
    if (error) ThrowFileException(kSignature, "cannot read " + file.path + ": " + error.message(), ExcSubIo);
    // The file clock's epoch is not the system clock's before C++20.
    const std::string modified = IsoTime(std::chrono::system_clock::now() +
                                         std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                             fs::last_write_time(path) - fs::file_time_type::clock::now()));
    return {{"kind", 0},     {"name", name},         {"folder", ""},    {"key", key},
            {"size", size},  {"modified", modified}, {"added", m_now},  {"source", file.path},
            {"imageType", 0}, {"description", file.format.empty() ? json() : json(file.format)},
            {"default", false}};
  }

  // The uses of one parent revision as link rows, each named by its child
  // and how many uses of that child came before it: the same use keeps its
  // name in every revision that still has it.
  std::vector<json> UsesOf(const UsesByRevision& usesOf, const plmxml::Item& item, const plmxml::Revision& revision,
                           const LoadState& state) {
    std::vector<json> rows;
    const auto found = usesOf.find(RevisionKey(item.key, revision.key));
    if (found == usesOf.end()) return rows;
    const std::vector<const plmxml::Use*>& uses = found->second;
    std::map<std::string, int> seen;
    for (const plmxml::Use* use : uses) {
      const std::string where = "use \"" + use->elementId + "\" of \"" + use->parentItem + "\"";
      json attributes = json::object();
      auto set = [&](const std::string& name, const PackageValue& value) {
        if (value.type != 0 && !(value.text && value.text->empty())) attributes[name] = UseAttribute(value);
      };
      set(kKeyTrfmtx.str(), {5, use->transform, std::nullopt});
      set(kKeyPlmxmlexternalid.str(), {5, use->elementId, std::nullopt});
      set(kKeyPlmxmloccrevision.str(), {5, use->childRevision, std::nullopt});
      for (const plmxml::UserValue& value : use->userValues) {
        if (const char* name = UseAttributeOf(value.title)) set(name, UseValue(name, value.value, where));
      }
      const int ordinal = ++seen[use->childItem];
      rows.push_back({{"group", kPartsGroup},
                      {"child", state.at(use->childItem).id},
                      {"position", static_cast<int>(rows.size())},
                      {"use", use->childItem + "#" + std::to_string(ordinal)},
                      {"attributes", std::move(attributes)}});
    }
    return rows;
  }

  // The in-context values that have a use attribute of their own.
  static const char* UseAttributeOf(const std::string& title) {
    const vqString t(title);
    if (t.EqualsNoCase("Quantity")) return "quantity";
    if (t.EqualsNoCase("SequenceNumber") || t.EqualsNoCase("FindNumber")) return "findnumber";
    if (t.EqualsNoCase("ReferenceDesignator") || t.EqualsNoCase("RefDes")) return "refdes";
    return nullptr;
  }

  static PackageValue UseValue(const std::string& name, const std::string& value, const std::string& where) {
    vqVariant given{vqString(value)};
    if (name == "quantity") {
      double number;
      if (!given.ToDouble(number)) Refuse(where, name, value, "is not a number");
      return {4, vqVariant(number).ToString().str(), number};
    }
    if (name == "findnumber") {
      std::int64_t number;
      if (!given.ToInt64(number)) Refuse(where, name, value, "is not a whole number");
      return {3, vqVariant(number).ToString().str(), static_cast<double>(number)};
    }
    return {5, value, std::nullopt};
  }

  [[noreturn]] static void Refuse(const std::string& where, const std::string& name, const std::string& value,
                                  const char* reason) {
    ThrowInvalidArgException(kSignature, where + ": the value \"" + value + "\" of \"" + name + "\" " + reason,
                             ExcSubWrongType);
  }

  PartAttributes& m_attributes;
  std::string m_user, m_comment;
  fs::path m_directory;
  std::string m_now;
  std::vector<std::string> m_contents;
  std::set<std::string> m_stored;
};

}  // namespace

std::string PartId(const std::string& itemKey) { return HashText("plmxml item\n" + itemKey, 16); }

size_t WritePackage(const plmxml::Document& document, PartAttributes& attributes, LoadState& state,
                    const LatestRevision& latestRevision, const std::string& user, const std::string& comment,
                    const std::string& directory) {
  return PackageWriter(attributes, user, comment, directory).Write(document, state, latestRevision);
}

void RecordLoaded(const plmxml::Document& document, PartAttributes& attributes, LoadState& state) {
  PackageWriter(attributes, "", "", "").Record(document, state);
}

}  // namespace vqkudm::connect
