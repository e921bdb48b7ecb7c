// udm query: the query language of the runtime, sorted and paged in the database.

#include <iostream>

#include "ItemNames.h"
#include "Output.h"
#include "Tool.h"

namespace udm {

namespace {

struct QueryArguments {
  std::string expression;
  std::string sort;
  bool descending = false;
  int page = 0;
  int size = 0;
};

void Query(const Options& options, const QueryArguments& arguments) {
  OpenRepository repository(options);
  vqkudm::UDMQuerySettingHandle settings;
  if (!arguments.sort.empty()) {
    // Sorting reads attributes; the item's name is the attribute smd_name.
    settings.AddSortByMetadata(arguments.sort == "name" ? "smd_name" : arguments.sort, arguments.descending);
  }
  const int start = arguments.page > 0 ? (arguments.page - 1) * arguments.size : 0;
  vqStlVector<vqkudm::UDMItemHandle> found;
  repository.profile().QueryEntitiesPaginated(found, arguments.expression, 0, start, arguments.size, settings, false,
                                              false);
  nlohmann::json items = nlohmann::json::array();
  for (const vqkudm::UDMItemHandle& item : found) items.push_back(ItemJson(item));
  nlohmann::json document = {{"items", items}};
  if (arguments.page > 0) document["page"] = {{"number", arguments.page}, {"size", arguments.size}};
  Output(options.json).Print(document, [&](std::ostream& out) {
    for (const nlohmann::json& entry : items) {
      out << entry["name"].get<std::string>() << "  " << entry["class"].get<std::string>() << "  "
          << entry["id"].get<std::string>() << "\n";
    }
  });
}

}  // namespace

void AddQueryCommand(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<QueryArguments>();
  const Options& options = tool.options;
  CLI::App* query = tool.Add(app, "query",
                             "Finds the latest revisions that match an expression (see docs/queries.md).\n"
                             "Example: udm query \"cdef = 'UDMPart' and mass > 1\" --sort mass --desc --page 2 --size 20",
                             [&options, arguments] { Query(options, *arguments); });
  query->add_option("EXPRESSION", arguments->expression, "the condition; empty matches every item")->required();
  query->add_option("--sort", arguments->sort, "an attribute to sort by (name for the item's name)");
  query->add_flag("--desc", arguments->descending, "sort descending")->needs("--sort");
  CLI::Option* page = query->add_option("--page", arguments->page, "the page, from 1")->check(CLI::PositiveNumber);
  CLI::Option* size = query->add_option("--size", arguments->size, "items per page")->check(CLI::PositiveNumber);
  page->needs(size);
  size->needs(page);
}

}  // namespace udm
