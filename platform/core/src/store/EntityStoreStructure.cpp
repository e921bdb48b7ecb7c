// Structure: the versioned uses of children, and where-used.

#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include <vqkudmrt/UDMException.h>

#include "EntityStore.h"
#include "RecordColumns.h"

namespace vqkudm::store {

namespace {

using nlohmann::json;

// Use attributes as one text column: {"name": [type, text, number]}; empty for none.
vqString EncodeUseAttributes(const vqStlMap<vqString, vqVariant>& attributes) {
  if (attributes.empty()) return vqString();
  json encoded = json::object();
  for (const auto& [name, value] : attributes) {
    std::int64_t type;
    vqVariant text, number;
    EncodeAttribute(value, type, text, number);
    double real = 0;
    number.ToDouble(real);
    encoded[name.str()] = json::array({type, text.IsEmpty() ? json() : json(text.ToString().str()), real});
  }
  return encoded.dump();
}

vqStlMap<vqString, vqVariant> DecodeUseAttributes(const vqVariant& column) {
  vqStlMap<vqString, vqVariant> attributes;
  if (!column.GetString() || column.GetString()->empty()) return attributes;
  const json encoded = json::parse(column.GetString()->str(), nullptr, false);
  if (!encoded.is_object()) {
    ThrowStateException(UDM_FUNCSIG, "the repository holds unreadable use attributes: " + *column.GetString(),
                        ExcSubDatabase);
  }
  for (const auto& [name, value] : encoded.items()) {
    const vqVariant text = value.at(1).is_null() ? vqVariant() : vqVariant(vqString(value.at(1).get<std::string>()));
    attributes[vqString(name)] = DecodeAttribute(value.at(0).get<std::int64_t>(), text, vqVariant(value.at(2).get<double>()));
  }
  return attributes;
}

}  // namespace

void EntityStore::InsertLinks(const std::vector<LinkRecord>& links, int fromRevision) {
  using vqlm::DbParam;
  if (links.empty()) return;
  // Uses mostly carry the same attributes (their defaults): each run of
  // equal ones is encoded once.
  const vqStlMap<vqString, vqVariant>* encodedFrom = nullptr;
  vqString attributes;
  BulkInsertEach("udm_link",
                 {"parent_dmid", "use_id", "grp", "child_dmid", "from_rev", "position", "attrs"},
                 links.size(), [&](std::size_t i, DbParam* row) {
                   const LinkRecord& link = links[i];
                   if (!encodedFrom || *encodedFrom != link.attributes) {
                     attributes = EncodeUseAttributes(link.attributes);
                     encodedFrom = &link.attributes;
                   }
                   row[0] = DbParam::Of(std::string_view(link.parentDmid));
                   row[1] = DbParam::Of(std::string_view(link.useId));
                   row[2] = DbParam::Of(std::string_view(link.group));
                   row[3] = DbParam::Of(std::string_view(link.childDmid));
                   row[4] = DbParam::Of(std::int64_t(fromRevision));
                   row[5] = DbParam::Of(link.position);
                   row[6] = DbParam::TextOrNull(attributes);
                 });
}

void EntityStore::EndOpenRows(const vqString& dmid, int revision) {
  Execute("UPDATE udm_link SET to_rev = ? WHERE parent_dmid = ? AND to_rev IS NULL", {vqVariant(revision), dmid});
  Execute("UPDATE udm_reference SET to_rev = ? WHERE source_dmid = ? AND to_rev IS NULL", {vqVariant(revision), dmid});
  Execute("UPDATE udm_classified SET to_rev = ? WHERE item_dmid = ? AND to_rev IS NULL", {vqVariant(revision), dmid});
}

void EntityStore::ReplaceLinks(const vqString& parentDmid, const std::vector<LinkRecord>& links, int revision) {
  // A use that changed in any way ends here and starts again with its new state.
  std::map<vqString, const LinkRecord*> wanted;
  for (const LinkRecord& link : links) wanted[link.useId] = &link;
  std::set<vqString> kept;
  const vqlm::ResultSet open = Query(
      "SELECT use_id, grp, child_dmid, position, attrs FROM udm_link WHERE parent_dmid = ? AND to_rev IS NULL",
      {parentDmid});
  for (std::size_t i = 0; i < open.GetRowCount(); ++i) {
    const vqString useId = open.GetValue(i, 0).ToString();
    auto it = wanted.find(useId);
    if (it != wanted.end() && it->second->group == open.GetValue(i, 1).ToString() &&
        it->second->childDmid == open.GetValue(i, 2).ToString() &&
        it->second->position == ToInt64(open.GetValue(i, 3)) &&
        EncodeUseAttributes(it->second->attributes) == open.GetValue(i, 4).ToString()) {
      kept.insert(useId);
      continue;
    }
    Execute("UPDATE udm_link SET to_rev = ? WHERE parent_dmid = ? AND use_id = ? AND to_rev IS NULL",
            {vqVariant(revision), parentDmid, useId});
  }
  std::vector<LinkRecord> added;
  for (const LinkRecord& link : links) {
    if (!kept.count(link.useId)) added.push_back(link);
  }
  InsertLinks(added, revision);
}

std::vector<LinkRecord> EntityStore::GetChildrenAt(const vqString& parentDmid, int revision,
                                                  const vqString& group) {
  const vqlm::ResultSet rows = Query(
      "SELECT grp, child_dmid, position, use_id, attrs FROM udm_link"
      " WHERE parent_dmid = ? AND from_rev <= ? AND (to_rev IS NULL OR to_rev > ?)"
      " AND (? = '' OR grp = ?) ORDER BY grp, position",
      {parentDmid, vqVariant(revision), vqVariant(revision), group, group});
  std::vector<LinkRecord> links;
  links.reserve(rows.GetRowCount());
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    links.push_back({parentDmid, rows.GetValue(i, 0).ToString(), rows.GetValue(i, 1).ToString(),
                     ToInt64(rows.GetValue(i, 2)), rows.GetValue(i, 3).ToString(),
                     DecodeUseAttributes(rows.GetValue(i, 4))});
  }
  return links;
}

std::vector<LinkedRecord> EntityStore::GetChildRecordsAt(const vqString& parentDmid, int revision,
                                                         const vqString& group) {
  return QueryLinkedRecords(
      "SELECT l.grp, l.position, 1," UDM_RECORD_COLUMNS
      " FROM udm_link l JOIN udm_entity e ON e.dmid = l.child_dmid" UDM_RECORD_JOINS
      " WHERE l.parent_dmid = ? AND l.from_rev <= ? AND (l.to_rev IS NULL OR l.to_rev > ?)"
      " AND (? = '' OR l.grp = ?) ORDER BY l.grp, l.position",
      {parentDmid, vqVariant(revision), vqVariant(revision), group, group});
}

std::vector<LinkedRecord> EntityStore::GetAncestorRecords(const vqString& childDmid, int maxLevel) {
  // `up` holds each entity once per level it is reached at (UNION, not
  // UNION ALL, so shared sub-structures do not multiply the walk). A parent
  // one level above an entity of `up` uses it through the links between
  // them; counting those per parent gives its uses of the level below.
  return QueryLinkedRecords(
      "WITH RECURSIVE up (dmid, level) AS ("
      "  SELECT CAST(? AS TEXT), 0"
      "  UNION"
      "  SELECT l.parent_dmid, up.level + 1 FROM udm_link l JOIN up ON l.child_dmid = up.dmid"
      "  WHERE l.to_rev IS NULL AND (? <= 0 OR up.level < ?)),"
      " used (dmid, grp, level, uses) AS ("
      "  SELECT l.parent_dmid, l.grp, c.level + 1, count(*) FROM up c"
      "  JOIN udm_link l ON l.child_dmid = c.dmid AND l.to_rev IS NULL"
      "  WHERE ? <= 0 OR c.level < ? GROUP BY l.parent_dmid, l.grp, c.level)"
      " SELECT u.grp, u.level, u.uses," UDM_RECORD_COLUMNS
      " FROM used u JOIN udm_entity e ON e.dmid = u.dmid" UDM_RECORD_JOINS
      " ORDER BY u.level, e.dmid, u.grp",
      {childDmid, vqVariant(maxLevel), vqVariant(maxLevel), vqVariant(maxLevel), vqVariant(maxLevel)});
}

std::vector<std::pair<vqString, vqString>> EntityStore::GetParentLinks(const std::vector<vqString>& childDmids) {
  std::vector<std::pair<vqString, vqString>> links;
  const vqlm::ResultSet rows =
      SelectIn("SELECT DISTINCT child_dmid, parent_dmid FROM udm_link WHERE to_rev IS NULL AND child_dmid IN",
               childDmids, " ORDER BY child_dmid, parent_dmid");
  links.reserve(rows.GetRowCount());
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    links.emplace_back(rows.GetValue(i, 0).ToString(), rows.GetValue(i, 1).ToString());
  }
  return links;
}

std::vector<vqString> EntityStore::GetOnlyChildren(const vqString& parentDmid) {
  const vqlm::ResultSet rows = Query(
      "SELECT DISTINCT l.child_dmid FROM udm_link l WHERE l.parent_dmid = ? AND l.to_rev IS NULL"
      " AND NOT EXISTS (SELECT 1 FROM udm_link o WHERE o.child_dmid = l.child_dmid"
      " AND o.to_rev IS NULL AND o.parent_dmid <> l.parent_dmid)"
      " ORDER BY l.child_dmid",
      {parentDmid});
  const vqStlVector<vqString> children = rows.GetColumnTexts(0);
  return std::vector<vqString>(children.begin(), children.end());
}

std::vector<UDMUID> EntityStore::GetRootEntities(const vqString& className) {
  const vqlm::ResultSet rows = Query(
      "SELECT r.uid FROM udm_entity e JOIN udm_revision r"
      " ON r.dmid = e.dmid AND r.revision = e.latest_rev AND r.state = 0"
      " WHERE e.class = ? AND e.deleted = 0 AND NOT EXISTS"
      " (SELECT 1 FROM udm_link l WHERE l.child_dmid = e.dmid AND l.to_rev IS NULL)"
      " ORDER BY e.dmid",
      {className});
  std::vector<UDMUID> roots;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) roots.emplace_back(*rows.GetValue(i, 0).GetString());
  return roots;
}

}  // namespace vqkudm::store
