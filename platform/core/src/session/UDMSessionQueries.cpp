// Queries: building, running, paging, and the deleted contents.

#include <vqkudmrt/UDMSession.h>

#include <boost/make_shared.hpp>

#include <vqkudmrt/UDMCondition.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMQuery.h>
#include <vqkudmrt/UDMQuerySettings.h>

#include "../model/EntityColumns.h"
#include "../query/QuerySql.h"
#include "../store/EntityStore.h"

namespace vqkudm {

struct UDMSession::QueryRun {
  query::NodePtr node;
  query::Scope scope;
  query::Options options;
  const UDMQuerySettings* settings = nullptr;
};

namespace {

vqStlVector<UDMQueryResultEntity> ToRows(const vqlm::ResultSet& rows) {
  vqStlVector<UDMQueryResultEntity> out;
  out.reserve(rows.GetRowCount());
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    std::int64_t deleted = 0;
    rows.GetValue(i, 3).ToInt64(deleted);
    out.emplace_back(UDMUID(rows.GetValue(i, 0).ToString()), rows.GetValue(i, 1).ToString(),
                     rows.GetValue(i, 2).ToString(), deleted != 0);
  }
  return out;
}

// `select` from row `offset` on, at most `limit` rows (0: all).
vqStlVector<UDMQueryResultEntity> SelectPage(store::EntityStore& store, query::SqlStatement select,
                                             std::uint64_t offset, std::uint64_t limit) {
  if (offset > 0 || limit > 0) {
    select.sql += " LIMIT ? OFFSET ?";
    select.params.emplace_back(static_cast<std::int64_t>(limit > 0 ? limit : INT64_MAX));
    select.params.emplace_back(static_cast<std::int64_t>(offset));
  }
  return ToRows(store.Select(select.sql, select.params));
}

std::uint64_t Count(store::EntityStore& store, const query::SqlStatement& count) {
  std::int64_t total = 0;
  store.Select(count.sql, count.params).GetValue(0, 0).ToInt64(total);
  return static_cast<std::uint64_t>(total);
}

int ModeCheck(int mode, const char* signature) {
  if (mode != 1 && mode != 2) {
    ThrowInvalidArgException(signature,
                             "query mode " + vqString::FromInt(mode) +
                                 " does not exist: 1 runs on the latest revisions, 2 on every revision",
                             ExcSubOutOfRange);
  }
  return mode;
}

}  // namespace

boost::shared_ptr<UDMQuery> UDMSession::CreateQuery(const vqString& text, bool searchInExcluded, int /*reserved*/) {
  query::NodePtr node = query::Parse(text);
  if (node) query::CheckNames(*node, *m_schema, text);
  return boost::make_shared<UDMQuery>(text, searchInExcluded, node);
}

vqStlVector<UDMQueryResultEntity> UDMSession::RunQuery(const QueryRun& run, std::uint64_t* total,
                                                       std::pair<std::uint64_t, std::uint64_t> page) {
  const store::SqlDialect& dialect = *store::SqlDialect::ForDriver(m_store->Db().GetDriverName());
  const bool inMemory = run.node && query::NeedsMemory(*run.node);
  if (!inMemory) {
    auto compile = [&](query::Shape shape, query::KeyPart part) {
      return query::CompileSelect(run.node.get(), run.scope, run.options, run.settings, *m_schema, dialect, shape,
                                  part);
    };
    query::SqlStatement all = compile(query::Shape::Rows, query::KeyPart::All);
    vqStlVector<UDMQueryResultEntity> rows;
    if ((page.first > 0 || page.second > 0) && !all.narrowed && query::FirstKeyIsAttribute(run.settings)) {
      // Those with the first key's attribute, read from its index in order,
      // then those without it: sorting every match costs more than both.
      rows = SelectPage(*m_store, compile(query::Shape::Rows, query::KeyPart::WithFirstKey), page.first, page.second);
      if (page.second == 0 || rows.size() < page.second) {
        // Those without the key to pass over: none once the page has begun.
        std::uint64_t skip = 0;
        if (rows.empty() && page.first > 0) {
          const std::uint64_t withKey = Count(*m_store, compile(query::Shape::Count, query::KeyPart::WithFirstKey));
          skip = page.first > withKey ? page.first - withKey : 0;
        }
        vqStlVector<UDMQueryResultEntity> rest =
            SelectPage(*m_store, compile(query::Shape::Rows, query::KeyPart::WithoutFirstKey), skip,
                       page.second == 0 ? 0 : page.second - rows.size());
        rows.insert(rows.end(), std::make_move_iterator(rest.begin()), std::make_move_iterator(rest.end()));
      }
    } else {
      rows = SelectPage(*m_store, std::move(all), page.first, page.second);
    }
    if (total) *total = CountMatches(run);
    return rows;
  }
  // Candidates from the database, decided one by one in memory.
  const query::SqlStatement select =
      query::CompileSelect(nullptr, run.scope, run.options, run.settings, *m_schema, dialect, query::Shape::Rows);
  vqStlVector<UDMQueryResultEntity> kept;
  for (const UDMQueryResultEntity& row : ToRows(m_store->Select(select.sql, select.params))) {
    boost::shared_ptr<UDMItem> item = FindItemById(row.GetUID(), true, vqString());
    if (item && query::Matches(*run.node, *item, run.options)) kept.push_back(row);
  }
  if (total) *total = kept.size();
  const std::uint64_t from = std::min<std::uint64_t>(page.first, kept.size());
  const std::uint64_t to = page.second > 0 ? std::min<std::uint64_t>(kept.size(), from + page.second) : kept.size();
  return vqStlVector<UDMQueryResultEntity>(kept.begin() + static_cast<std::ptrdiff_t>(from),
                                           kept.begin() + static_cast<std::ptrdiff_t>(to));
}

std::uint64_t UDMSession::CountMatches(const QueryRun& run) {
  if (run.node && query::NeedsMemory(*run.node)) {
    std::uint64_t total = 0;
    RunQuery(run, &total, {0, 0});
    return total;
  }
  const store::SqlDialect& dialect = *store::SqlDialect::ForDriver(m_store->Db().GetDriverName());
  return Count(*m_store, query::CompileSelect(run.node.get(), run.scope, run.options, nullptr, *m_schema, dialect,
                                              query::Shape::Count));
}

void UDMSession::AddContent(vqStlVector<UDMQueryResultEntity>& rows) {
  std::vector<vqString> uids;
  for (const UDMQueryResultEntity& row : rows) uids.push_back(row.GetUID().ToString());
  auto contents = m_store->GetAttributesOf(uids);
  for (UDMQueryResultEntity& row : rows) {
    auto found = contents.find(row.GetUID().ToString());
    if (found != contents.end()) row.Content() = std::move(found->second);
  }
}

void UDMSession::ExecuteQuery(const boost::shared_ptr<UDMQuery>& query, int mode, bool includeDeleted,
                              vqStlVector<boost::shared_ptr<UDMItem>>& out) {
  if (!query) ThrowNullArgument(UDM_FUNCSIG, "query ");
  QueryRun run;
  run.node = query->GetNode();
  run.scope = {ModeCheck(mode, UDM_FUNCSIG) == 2, includeDeleted, query->GetSearchInExcluded()};
  if (!run.node || !query::NeedsMemory(*run.node)) {
    // The matches with their attributes in one statement: a query's items
    // are mostly not in the session yet, and the session keeps those that are.
    const store::SqlDialect& dialect = *store::SqlDialect::ForDriver(m_store->Db().GetDriverName());
    const query::SqlStatement select = query::CompileSelect(run.node.get(), run.scope, run.options, nullptr,
                                                            *m_schema, dialect, query::Shape::Records);
    for (store::RevisionRecord& record : m_store->SelectRecords(select.sql, select.params)) {
      out.push_back(Adopt(std::move(record)));
    }
    return;
  }
  const vqStlVector<UDMQueryResultEntity> rows = RunQuery(run, nullptr, {0, 0});
  // Entities not in the session come in one go, not one query each.
  std::vector<vqString> missing;
  for (const UDMQueryResultEntity& row : rows) {
    if (!FindItemById(row.GetUID(), false, vqString())) missing.push_back(row.GetUID().ToString());
  }
  std::vector<boost::shared_ptr<UDMItem>> loaded;
  for (store::RevisionRecord& record : m_store->LoadRevisions(missing)) loaded.push_back(Adopt(std::move(record)));
  for (const UDMQueryResultEntity& row : rows) {
    if (boost::shared_ptr<UDMItem> item = FindItemById(row.GetUID(), true, vqString())) out.push_back(item);
  }
}

void UDMSession::QueryCondition(const ICondition& condition, int mode, bool includeDeleted,
                                vqStlVector<boost::shared_ptr<UDMItem>>& out) {
  ExecuteQuery(boost::make_shared<UDMQuery>(condition.GetDMExpression(), false, condition.GetNode()), mode,
               includeDeleted, out);
}

namespace {

// The query text with the settings' filter joined to it.
query::NodePtr ParseWithFilter(const vqString& text, const UDMQuerySettings& settings, const UDMConfiguration& schema) {
  query::NodePtr node = query::Parse(text);
  if (node) query::CheckNames(*node, schema, text);
  query::NodePtr filter = query::Parse(settings.GetFilterExpression());
  if (filter) query::CheckNames(*filter, schema, settings.GetFilterExpression());
  return query::MakeAnd(node, filter);
}

void CheckPage(std::uint64_t start, std::uint64_t total, const char* signature) {
  if (start > total || (start == total && total > 0)) {
    ThrowInvalidArgException(signature,
                             "the page starting at row " + std::to_string(start) + " is outside the " +
                                 std::to_string(total) + " results",
                             ExcSubOutOfRange);
  }
}

}  // namespace

UDMSession::QueryRun UDMSession::PagedRun(const vqString& text, const UDMQuerySettings& settings, bool allRevisions,
                                          bool includeDeleted) const {
  QueryRun run;
  run.node = ParseWithFilter(text, settings, *m_schema);
  run.scope = {allRevisions, includeDeleted, settings.GetSearchInExcluded()};
  run.options.ignoreCase = settings.GetIgnoreCase();
  run.settings = &settings;
  return run;
}

std::uint64_t UDMSession::CountQuery(const vqString& text, const UDMQuerySettings& settings, bool allRevisions,
                                     bool includeDeleted) {
  return CountMatches(PagedRun(text, settings, allRevisions, includeDeleted));
}

void UDMSession::QueryPaged(UDMQueryResults& results, const vqString& text, unsigned long long start,
                            unsigned long long count, const UDMQuerySettings& settings, bool allRevisions,
                            bool includeDeleted, bool /*reserved*/) {
  const QueryRun run = PagedRun(text, settings, allRevisions, includeDeleted);
  std::uint64_t total = 0;
  vqStlVector<UDMQueryResultEntity> rows = RunQuery(run, &total, {start, count});
  CheckPage(start, total, UDM_FUNCSIG);
  AddContent(rows);
  results.SetPage(start, start + rows.size(), total, false);
  results.Entities().insert(results.Entities().end(), rows.begin(), rows.end());
}

void UDMSession::QueryPagedCached(UDMQueryResults& results, const vqString& text, int /*reserved*/,
                                  unsigned long long start, unsigned long long count,
                                  const UDMQuerySettings& settings, bool allRevisions, bool includeDeleted) {
  vqString key = text + '\n' + settings.GetFilterExpression() + '\n' + (allRevisions ? "a" : "l") +
                 (includeDeleted ? "d" : "-") + (settings.GetSearchInExcluded() ? "x" : "-") +
                 (settings.GetIgnoreCase() ? "i" : "-") + (settings.GetSortByCdefName() ? "c" : "-") +
                 (settings.GetSortByCdefNameDescending() ? "C" : "-") + (settings.GetSortByCdefDispName() ? "n" : "-") +
                 (settings.GetSortByCdefDispNameDescending() ? "N" : "-");
  for (std::uint64_t i = 0; i < settings.GetSortByMetadataNr(); ++i) {
    key += '\n' + settings.GetSortByMetadataName(i) + (settings.GetSortByMetadataIsDescending(i) ? "-" : "+");
  }
  auto cached = m_queryCache.find(key);
  if (cached == m_queryCache.end()) {
    QueryRun run;
    run.node = ParseWithFilter(text, settings, *m_schema);
    run.scope = {allRevisions, includeDeleted, settings.GetSearchInExcluded()};
    run.options.ignoreCase = settings.GetIgnoreCase();
    run.settings = &settings;
    cached = m_queryCache.emplace(key, RunQuery(run, nullptr, {0, 0})).first;
  }
  const vqStlVector<UDMQueryResultEntity>& all = cached->second;
  CheckPage(start, all.size(), UDM_FUNCSIG);
  const std::uint64_t end = count > 0 ? std::min<std::uint64_t>(all.size(), start + count) : all.size();
  vqStlVector<UDMQueryResultEntity> rows(all.begin() + static_cast<std::ptrdiff_t>(start),
                                         all.begin() + static_cast<std::ptrdiff_t>(end));
  AddContent(rows);
  results.SetPage(start, end, all.size(), true);
  results.Entities().insert(results.Entities().end(), rows.begin(), rows.end());
}

void UDMSession::LoadQueryResultContent(const boost::shared_ptr<UDMItem>& item, const UDMQueryResultEntity& row) {
  if (!item) ThrowNullArgument(UDM_FUNCSIG, "item ");
  if (!(item->GetUID() == row.GetUID())) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "the row of " + row.GetUID().ToString() + " is not the content of " + item->ToString(""),
                             ExcSubWrongType);
  }
  if (item->IsCheckedOut()) {
    ThrowStateException(UDM_FUNCSIG, "cannot load stored content into " + item->ToString("") + ": it is checked out",
                        ExcSubGeneral);
  }
  // Keep what lives in columns (name, who, when); replace the stored attributes.
  UDMAttributeMap attributes(boost::container::ordered_unique_range, row.GetContent().begin(),
                             row.GetContent().end());
  for (const auto& [name, value] : item->GetAttributes()) {
    if (model::IsColumnBackedAttribute(name)) attributes.insert_or_assign(name, value);
  }
  item->m_attributes = std::move(attributes);
}

void UDMSession::GetDeletedContents(vqStlVector<UDMQueryResultEntity>& out) {
  vqStlVector<UDMQueryResultEntity> rows = ToRows(m_store->GetDeletedContents());
  AddContent(rows);
  out.insert(out.end(), rows.begin(), rows.end());
}

}  // namespace vqkudm
