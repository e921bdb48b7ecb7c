#include "query.h"

#include <climits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <vqkudm/UDMQuerySettingHandle.h>
#include <vqkudmrt/UDMException.h>

#include "errors.h"
#include "item.h"
#include "values.h"

namespace vqkudm::python {

namespace {

struct QueryPlan {
  std::shared_ptr<Connection> connection;
  std::string expression;
  UDMQuerySettingHandle settings;
  int pageSize = 100;
  // Counted once, or learnt from an iteration that reached the end.
  std::optional<long long> count;
};

bool IsPastEnd(const UDMException& e) { return e.GetExceptionSubCategory() == ExcSubOutOfRange; }

// One page from `start`; empty past the end. Call inside Run.
std::vector<UDMItemHandle> Page(IUDMProfile& profile, const QueryPlan& plan, long long start,
                                int count) {
  if (start > INT_MAX)
    RefuseArgument("QueryResult",
                   "results beyond row " + std::to_string(INT_MAX) + " cannot be paged to",
                   ExcSubOutOfRange);
  vqStlVector<UDMItemHandle> out;
  try {
    profile.QueryEntitiesPaginated(out, plan.expression, 0, static_cast<int>(start), count,
                                   plan.settings, false, false);
  } catch (const UDMException& e) {
    // The database refuses a page that starts past the results.
    if (start > 0 && IsPastEnd(e)) return {};
    throw;
  }
  return std::vector<UDMItemHandle>(out.begin(), out.end());
}

struct QueryResult {
  std::shared_ptr<QueryPlan> plan;
};

struct QueryIterator {
  explicit QueryIterator(std::shared_ptr<QueryPlan> query) : plan(std::move(query)) {}

  std::shared_ptr<QueryPlan> plan;
  std::vector<UDMItemHandle> page;
  std::size_t next = 0;
  long long start = 0;
  bool last = false;

  // The next page, when the one in hand is used up; false at the end.
  bool Fill() {
    if (next < page.size()) return true;
    if (last) return false;
    page = plan->connection->Run("QueryResult", [&](const boost::shared_ptr<IUDMProfile>& profile) {
      return Page(*profile, *plan, start, plan->pageSize);
    });
    next = 0;
    start += static_cast<long long>(page.size());
    last = page.size() < static_cast<std::size_t>(plan->pageSize);
    if (last) plan->count = start;
    return !page.empty();
  }
};

// Values of one result row for records(): the item's own fields by name,
// else its attributes.
std::vector<std::pair<vqVariant, std::string>> Row(IUDMProfile& profile, const UDMItemHandle& item,
                                                   const std::vector<std::string>& names) {
  std::vector<std::pair<vqVariant, std::string>> row;
  UDMProfileUtils utils = profile.GetProfileUtils();
  for (const std::string& name : names) {
    if (name == "name") {
      row.emplace_back(vqVariant(profile.GetDisplayName(item)), "");
    } else if (name == "uid") {
      row.emplace_back(vqVariant(item.GetUID()), "");
    } else if (name == "cdef") {
      row.emplace_back(vqVariant(item.GetCdef()), "");
    } else if (name == "revision") {
      row.emplace_back(vqVariant(item.GetRevision()), "");
    } else {
      RequireAttribute(profile, item.GetCdef().str(), name, "QueryResult.records");
      const vqString type = utils.GetAttributeDefinitionHandle(item.GetCdef(), name).GetDataType();
      row.emplace_back(profile.GetAttributeValue(item, name), type.str());
    }
  }
  return row;
}

void ApplySort(UDMQuerySettingHandle& settings, py::handle sort) {
  std::vector<std::string> keys;
  if (sort.is_none()) return;
  if (py::isinstance<py::str>(sort)) {
    keys.push_back(sort.cast<std::string>());
  } else if (py::isinstance<py::list>(sort) || py::isinstance<py::tuple>(sort)) {
    for (py::handle key : sort) keys.push_back(Text(key, "a sort key"));
  } else {
    Text(sort, "sort");  // refuses it, naming the type
  }
  for (std::string key : keys) {
    const bool descending = !key.empty() && key[0] == '-';
    if (descending) key.erase(0, 1);
    if (key.empty()) RefuseArgument("Repository.query", "a sort key is empty", ExcSubEmpty);
    if (key == "cdef") {
      settings.SortByCdefName(descending);
    } else {
      // The item's name is the attribute smd_name.
      settings.AddSortByMetadata(key == "name" ? "smd_name" : key, descending);
    }
  }
}

}  // namespace

const char* const kQueryDoc =
    "The latest revisions matching `expression` (the query language of docs/queries.md, e.g.\n"
    "\"cdef = 'UDMPart' and mass > 1\"; empty: every item), as a lazy QueryResult.\n"
    "sort: an attribute, \"name\" or \"cdef\", or a list of them; a leading \"-\" sorts "
    "descending.\n"
    "page_size: how many items each database round trip fetches.\n"
    "ignore_case: compare texts ignoring the case of A-Z.";

py::object Query(const std::shared_ptr<Connection>& connection, py::handle expression,
                 py::handle sort, py::handle pageSize, bool ignoreCase) {
  auto plan = std::make_shared<QueryPlan>();
  plan->connection = connection;
  plan->expression = Text(expression, "expression");
  if (!py::isinstance<py::int_>(pageSize) || py::isinstance<py::bool_>(pageSize) ||
      pageSize.cast<long long>() < 1 || pageSize.cast<long long>() > INT_MAX) {
    RefuseArgument(
        "Repository.query",
        "page_size must be a whole number from 1, not " + py::repr(pageSize).cast<std::string>(),
        ExcSubOutOfRange);
  }
  plan->pageSize = pageSize.cast<int>();
  ApplySort(plan->settings, sort);
  plan->settings.SetIgnoreCase(ignoreCase);
  return py::cast(QueryResult{plan});
}

void RegisterQuery(py::module_& module) {
  py::class_<QueryIterator>(module, "QueryIterator",
                            "Iterates over a QueryResult, one page at a time.")
      .def(
          "__iter__", [](QueryIterator& self) -> QueryIterator& { return self; },
          "The iterator itself.")
      .def(
          "__next__",
          [](QueryIterator& self) {
            if (!self.Fill()) throw py::stop_iteration();
            return Item(self.plan->connection, self.page[self.next++]);
          },
          "The next item, fetching the next page when this one is used up.");

  py::class_<QueryResult>(
      module, "QueryResult",
      "The items a query matches, fetched lazily a page at a time as they are iterated.\n\n"
      "Each iteration runs the query again from its first page; len() has the database count\n"
      "the matches without fetching them and keeps the number (as does an iteration that reaches "
      "the\n"
      "end). Errors in the expression are raised on first use.")
      .def(
          "__iter__", [](QueryResult& self) { return QueryIterator(self.plan); },
          "A new iteration from the first page.")
      .def(
          "__len__",
          [](QueryResult& self) {
            if (!self.plan->count) {
              const QueryPlan& plan = *self.plan;
              self.plan->count = plan.connection->Run(
                  "QueryResult", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                    return static_cast<long long>(UDMProfileExtensions::CountQueryMatches(
                        profile, plan.expression, plan.settings, false));
                  });
            }
            return *self.plan->count;
          },
          "The number of matches, counted once without fetching the items.")
      .def(
          "records",
          [](QueryResult& self, py::args names) {
            std::vector<std::string> fields;
            for (py::handle name : names) fields.push_back(Text(name, "a record field"));
            if (fields.empty()) fields = {"name", "uid", "cdef", "revision"};
            py::list records;
            QueryIterator pages(self.plan);
            while (pages.Fill()) {
              const auto rows = self.plan->connection->Run(
                  "QueryResult.records", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                    std::vector<std::vector<std::pair<vqVariant, std::string>>> out;
                    for (const UDMItemHandle& item : pages.page)
                      out.push_back(Row(*profile, item, fields));
                    return out;
                  });
              for (const auto& row : rows) {
                py::dict record;
                for (std::size_t i = 0; i < fields.size(); ++i)
                  record[py::str(fields[i])] = ToPython(row[i].first, row[i].second);
                records.append(record);
              }
              pages.next = pages.page.size();
            }
            return records;
          },
          "The matches as a list of dicts of the named fields: name, uid, cdef and revision of the "
          "item,\n"
          "or any attribute of its definition. Without names: name, uid, cdef and revision.")
      .def_property_readonly(
          "expression", [](QueryResult& self) { return self.plan->expression; }, "The query text.")
      .def("__repr__", [](QueryResult& self) {
        return "<vqkudm.QueryResult " +
               py::repr(py::str(self.plan->expression)).cast<std::string>() + ">";
      });
}

}  // namespace vqkudm::python
