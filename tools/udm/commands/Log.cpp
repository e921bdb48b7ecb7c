// udm log: an item's revisions with their branches, as a graph on the
// terminal, a JSON document, or an SVG picture and an HTML page.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>

#include <vqkudm/UDMHistoryNode.h>
#include <vqkudm/UDMProfileMgr.h>

#include "Attributes.h"
#include "Failure.h"
#include "ItemNames.h"
#include "Output.h"
#include "Tool.h"
#include "views/HistoryLayout.h"
#include "views/HistorySvg.h"
#include "views/HistoryText.h"

namespace udm {

namespace {

struct LogArguments {
  std::string item;
  std::string svg;
  std::string html;
};

std::vector<HistoryRevision> Revisions(const boost::shared_ptr<vqkudm::UDMHistoryNode>& root) {
  std::vector<HistoryRevision> revisions;
  for (const vqkudm::UDMHistoryEntry& entry : vqkudm::FlattenHistory(root)) {
    HistoryRevision revision;
    revision.id = entry.uid.str();
    revision.line = entry.line.str();
    revision.revision = entry.revision;
    revision.from = entry.from.str();
    revisions.push_back(revision);
  }
  return revisions;
}

// Date, user, comment and the attributes changed since the revision it came
// from; the first revision of all shows the attributes it was created with.
void Describe(vqkudm::IUDMProfile& profile, std::vector<HistoryRevision>& revisions) {
  std::map<std::string, vqkudm::UDMItemHandle> handles;
  for (const HistoryRevision& revision : revisions) handles.emplace(revision.id, profile.GetUDMItemHandle(revision.id));
  for (HistoryRevision& revision : revisions) {
    const vqkudm::UDMItemHandle& handle = handles.at(revision.id);
    revision.comment = handle.GetAttributeValue("smd_comment").ToString().str();
    revision.by = handle.GetModifiedBy().ToString().str();
    revision.time = handle.GetModifiedTime().ToString().str();
    const auto from = handles.find(revision.from);
    if (from != handles.end()) {
      revision.changed = AttributeChanges(profile, from->second, handle);
      continue;
    }
    for (const nlohmann::json& attribute : AttributesJson(profile, handle)) {
      if (!attribute["value"].is_null()) revision.changed.push_back({attribute["name"], nullptr, attribute["value"]});
    }
  }
}

nlohmann::json LogJson(const HistoryLayout& layout) {
  nlohmann::json lines = nlohmann::json::array();
  for (const HistoryLine& line : layout.lines) {
    lines.push_back({{"id", line.id},
                     {"lane", line.lane},
                     {"branchedFrom", line.source < 0 ? nlohmann::json() : nlohmann::json(layout.revisions[line.source].id)}});
  }
  nlohmann::json revisions = nlohmann::json::array();
  for (const HistoryRevision& revision : layout.revisions) {
    nlohmann::json changed = nlohmann::json::array();
    for (const AttributeChange& change : revision.changed) {
      changed.push_back({{"name", change.name}, {"before", change.before}, {"after", change.after}});
    }
    revisions.push_back({{"revision", revision.revision},
                         {"id", revision.id},
                         {"line", revision.line},
                         {"lane", revision.lane},
                         {"from", revision.from.empty() ? nlohmann::json() : nlohmann::json(revision.from)},
                         {"branchedFrom", revision.branchStart ? nlohmann::json(revision.fromRevision) : nlohmann::json()},
                         {"comment", revision.comment},
                         {"by", revision.by},
                         {"time", revision.time},
                         {"changed", changed}});
  }
  return {{"lanes", layout.lanes}, {"lines", lines}, {"revisions", revisions}};
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (out) {
    out << text;
    out.close();
  }
  if (!out) Refuse("log", "cannot write \"" + path + "\": " + std::strerror(errno), vqkudm::ExcSubIo);
}

void Log(const Options& options, const LogArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  const vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  const std::string path = names.PathOf(item);
  if (repository.IsNew(item)) {
    Refuse("log", "\"" + path + "\" is new: it has no stored revisions yet", vqkudm::ExcSubGeneral);
  }
  const StoredRevisions stored(options, repository);
  std::vector<HistoryRevision> revisions;
  {
    const boost::shared_ptr<vqkudm::UDMHistoryNode> history =
        stored.profile().GetHistory(stored.profile().GetUDMItemHandle(item.GetUID()));
    revisions = Revisions(history);
  }
  Describe(stored.profile(), revisions);
  const HistoryLayout layout = LayOut(std::move(revisions));

  const std::string title = "History of " + path;
  std::vector<std::string> written;
  if (!arguments.svg.empty()) {
    WriteFile(arguments.svg, HistorySvg(layout, title));
    written.push_back(arguments.svg);
  }
  if (!arguments.html.empty()) {
    WriteFile(arguments.html, HistoryHtml(layout, title));
    written.push_back(arguments.html);
  }
  nlohmann::json document = ItemJson(item);
  document["path"] = path;
  document.update(LogJson(layout));
  if (!written.empty()) document["written"] = written;
  Output(options.json).Print(document, [&](std::ostream& out) {
    if (!written.empty()) {
      for (const std::string& file : written) {
        out << "Wrote the history of " << path << " (" << layout.revisions.size() << " revisions) to " << file << "\n";
      }
      return;
    }
    WriteHistoryText(out, layout, ::isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR"));
  });
}

}  // namespace

void AddLogCommand(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<LogArguments>();
  const Options& options = tool.options;
  CLI::App* log = tool.Add(app, "log",
                           "Draws an item's revisions and branches as a graph, newest first: each revision with its "
                           "date, user, comment and changed attributes; --svg and --html write it as a picture.\n"
                           "Example: udm log bracket --html bracket-history.html",
                           [&options, arguments] { Log(options, *arguments); });
  log->add_option("ITEM", arguments->item, "the item; any revision of any of its lines")->required();
  log->add_option("--svg", arguments->svg, "write the graph as an SVG picture to this file");
  log->add_option("--html", arguments->html, "write the graph as a self-contained HTML page to this file");
}

}  // namespace udm
