#include "views/HistorySvg.h"

#include <algorithm>

#include "views/Svg.h"

namespace udm {

namespace {

using svg::Number;

constexpr double kRow = 24;
constexpr double kLane = 18;
constexpr double kMargin = 14;
constexpr double kNode = 4.5;
constexpr double kFont = 12;
// Above a monospace font's advance (0.6em), so columns never run into each other.
constexpr double kCharWidth = 0.62 * kFont;
constexpr double kColumnGap = 2 * kCharWidth;
constexpr double kHeader = 44;

// Long fields are cut in the picture; the details keep them whole.
constexpr std::size_t kUserChars = 24;
constexpr std::size_t kCommentChars = 64;
constexpr std::size_t kChangesChars = 80;

const char* const kLaneColours[] = {"#1f6feb", "#cf222e", "#1a7f37", "#8250df", "#bc4c00", "#0a7ea4", "#9a6700", "#bf3989"};

constexpr const char* kPictureStyle = R"(.history text { font: 12px ui-monospace, SFMono-Regular, Menlo, Consolas, "DejaVu Sans Mono", "Liberation Mono", monospace; fill: #1f2328; }
.history .heading { font: bold 15px system-ui, -apple-system, "Segoe UI", "DejaVu Sans", sans-serif; }
.history .summary { font: 12px system-ui, -apple-system, "Segoe UI", "DejaVu Sans", sans-serif; fill: #59636e; }
.history .zebra { fill: #f6f8fa; }
.history .edge { fill: none; stroke-width: 2; }
.history .node { stroke: #ffffff; stroke-width: 1.5; }
.history .start { fill: #ffffff; stroke-width: 2.5; }
.history .hit { fill: transparent; }
.history .rev:hover .hit { fill: rgba(255, 214, 51, 0.28); }
.history .label { font-weight: bold; }
.history .time { fill: #1a7f37; }
.history .by { fill: #0a7ea4; }
.history .changes { fill: #6e7781; })";

constexpr const char* kPageStyle = R"(body { margin: 0; padding: 20px 24px; background: #ffffff; color: #1f2328;
  font: 14px system-ui, -apple-system, "Segoe UI", "DejaVu Sans", sans-serif; }
h1 { font-size: 18px; margin: 0 0 4px; }
p.summary { margin: 0 0 14px; color: #59636e; }
.graph { overflow-x: auto; }
.graph svg { display: block; }
.details { position: fixed; z-index: 1; max-width: 560px; padding: 10px 12px; background: #ffffff;
  border: 1px solid #d1d9e0; border-radius: 6px; box-shadow: 0 6px 18px rgba(31, 35, 40, 0.18);
  font-size: 13px; pointer-events: none; overflow-wrap: anywhere; }
.details[hidden] { display: none; }
.details .title { font-weight: bold; }
.details .id { font-family: ui-monospace, SFMono-Regular, Menlo, Consolas, "DejaVu Sans Mono", monospace; font-size: 12px; color: #59636e; }
.details .comment { margin-top: 6px; white-space: pre-wrap; }
.details ul { margin: 6px 0 0; padding-left: 18px; font-family: ui-monospace, SFMono-Regular, Menlo, Consolas, "DejaVu Sans Mono", monospace; font-size: 12px; })";

// Fills the details box from the hovered row's data attributes; text only, never markup.
constexpr const char* kPageScript = R"((function () {
  var box = document.getElementById("details");
  function line(kind, text) {
    var element = document.createElement("div");
    element.className = kind;
    element.textContent = text;
    box.appendChild(element);
  }
  function place(event) {
    var x = event.clientX + 16, y = event.clientY + 16;
    if (x + box.offsetWidth > window.innerWidth - 8) x = Math.max(8, event.clientX - box.offsetWidth - 16);
    if (y + box.offsetHeight > window.innerHeight - 8) y = Math.max(8, event.clientY - box.offsetHeight - 16);
    box.style.left = x + "px";
    box.style.top = y + "px";
  }
  function show(row, event) {
    box.textContent = "";
    line("title", "Revision " + row.getAttribute("data-label"));
    line("id", row.getAttribute("data-id"));
    line("meta", row.getAttribute("data-time") + " \u00b7 " + row.getAttribute("data-by"));
    var comment = row.getAttribute("data-comment");
    if (comment) line("comment", comment);
    var changes = row.getAttribute("data-changes");
    if (changes) {
      var list = document.createElement("ul");
      changes.split("\n").forEach(function (change) {
        var item = document.createElement("li");
        item.textContent = change;
        list.appendChild(item);
      });
      box.appendChild(list);
    }
    box.hidden = false;
    place(event);
  }
  Array.prototype.forEach.call(document.querySelectorAll("g.rev"), function (row) {
    row.addEventListener("mouseenter", function (event) { show(row, event); });
    row.addEventListener("mousemove", place);
    row.addEventListener("mouseleave", function () { box.hidden = true; });
  });
})();)";

const char* Colour(int lane) { return kLaneColours[lane % 8]; }

struct Columns {
  double graph = 0;  // left edge of the text
  double label = 0, time = 0, by = 0, comment = 0, changes = 0, width = 0;
};

Columns Measure(const HistoryLayout& layout) {
  std::size_t label = 0, time = 0, by = 0, comment = 0, changes = 0;
  for (const HistoryRevision& revision : layout.revisions) {
    label = std::max(label, svg::Length(RevisionLabel(revision)));
    time = std::max(time, svg::Length(DisplayTime(revision.time)));
    by = std::max(by, std::min(kUserChars, svg::Length(revision.by)));
    comment = std::max(comment, std::min(kCommentChars, svg::Length(revision.comment)));
    changes = std::max(changes, std::min(kChangesChars, svg::Length(ChangesText(revision.changed))));
  }
  const auto next = [](double at, std::size_t chars) { return at + (chars ? chars * kCharWidth + kColumnGap : 0); };
  Columns columns;
  columns.graph = kMargin + std::max(1, layout.lanes) * kLane;
  columns.label = columns.graph + 4;
  columns.time = next(columns.label, label);
  columns.by = next(columns.time, time);
  columns.comment = next(columns.by, by);
  columns.changes = next(columns.comment, comment);
  columns.width = std::max(next(columns.changes, changes) - kColumnGap + kMargin, 360.0);
  return columns;
}

double LaneX(int lane) { return kMargin + kLane / 2 + lane * kLane; }

std::string Edges(const HistoryLayout& layout, double top) {
  std::string out = svg::Open("g", {{"class", "edges"}});
  for (const HistoryRevision& revision : layout.revisions) {
    if (revision.fromRow < 0) continue;
    const double x = LaneX(revision.lane), y = top + (revision.row + 0.5) * kRow;
    const double fromX = LaneX(layout.revisions[revision.fromRow].lane), fromY = top + (revision.fromRow + 0.5) * kRow;
    std::string path = "M" + Number(fromX) + " " + Number(fromY);
    if (fromX != x) {
      // Out of the source's node, into the branch's lane within one row.
      path += " C" + Number(fromX) + " " + Number(fromY - 0.6 * kRow) + " " + Number(x) + " " +
              Number(fromY - 0.4 * kRow) + " " + Number(x) + " " + Number(fromY - kRow);
    }
    path += " L" + Number(x) + " " + Number(y);
    out += svg::Empty("path", {{"class", "edge"}, {"d", path}, {"stroke", Colour(revision.lane)}});
  }
  return out + svg::Close("g") + "\n";
}

std::string Details(const HistoryRevision& revision) {
  std::string out = "Revision " + RevisionLabel(revision) + "\n" + revision.id + "\n" + DisplayTime(revision.time) +
                    " \xC2\xB7 " + revision.by;
  if (!revision.comment.empty()) out += "\n" + revision.comment;
  for (const AttributeChange& change : revision.changed) out += "\n" + ChangeText(change);
  return out;
}

std::string Row(const HistoryRevision& revision, const Columns& columns, double top, bool page) {
  const double y = top + revision.row * kRow, middle = y + kRow / 2, baseline = middle + 4;
  svg::Attributes attributes{{"class", "rev"}, {"id", "r" + revision.id}};
  if (page) {
    std::string changes;
    for (const AttributeChange& change : revision.changed) changes += (changes.empty() ? "" : "\n") + ChangeText(change);
    attributes.insert(attributes.end(), {{"data-label", RevisionLabel(revision)},
                                         {"data-id", revision.id},
                                         {"data-time", DisplayTime(revision.time)},
                                         {"data-by", revision.by},
                                         {"data-comment", revision.comment},
                                         {"data-changes", changes}});
  }
  std::string out = svg::Open("g", attributes);
  if (!page) out += svg::Text("title", {}, Details(revision));
  out += svg::Empty("rect", {{"class", "hit"}, {"x", "0"}, {"y", Number(y)}, {"width", Number(columns.width)},
                             {"height", Number(kRow)}});
  const std::string colour = Colour(revision.lane);
  out += svg::Empty("circle", {{"class", revision.branchStart ? "start" : "node"},
                               {"cx", Number(LaneX(revision.lane))},
                               {"cy", Number(middle)},
                               {"r", Number(kNode)},
                               {revision.branchStart ? "stroke" : "fill", colour}});
  const auto text = [&](const char* kind, double x, const std::string& value) {
    return value.empty() ? std::string()
                         : svg::Text("text", {{"class", kind}, {"x", Number(x)}, {"y", Number(baseline)}}, value);
  };
  out += text("label", columns.label, RevisionLabel(revision));
  out += text("time", columns.time, DisplayTime(revision.time));
  out += text("by", columns.by, svg::Truncate(revision.by, kUserChars));
  out += text("comment", columns.comment, svg::Truncate(revision.comment, kCommentChars));
  out += text("changes", columns.changes, svg::Truncate(ChangesText(revision.changed), kChangesChars));
  return out + svg::Close("g") + "\n";
}

std::string Summary(const HistoryLayout& layout) {
  const std::size_t revisions = layout.revisions.size(), lines = layout.lines.size();
  return std::to_string(revisions) + (revisions == 1 ? " revision" : " revisions") + ", " +
         (lines == 1 ? std::string("no branches")
                     : std::to_string(lines - 1) + (lines == 2 ? " branch" : " branches"));
}

// The picture; `page` leaves the heading to the page and the details to its script.
std::string Picture(const HistoryLayout& layout, const std::string& title, bool page) {
  const Columns columns = Measure(layout);
  const double top = page ? 0 : kHeader;
  const double height = top + layout.revisions.size() * kRow + (page ? 0 : kMargin);
  std::string body;
  if (!page) {
    body += svg::Text("text", {{"class", "heading"}, {"x", Number(kMargin)}, {"y", "20"}}, title) + "\n";
    body += svg::Text("text", {{"class", "summary"}, {"x", Number(kMargin)}, {"y", "36"}}, Summary(layout)) + "\n";
  }
  body += svg::Open("g", {});
  for (const HistoryRevision& revision : layout.revisions) {
    if (revision.row % 2 == 1) {
      body += svg::Empty("rect", {{"class", "zebra"}, {"x", "0"}, {"y", Number(top + revision.row * kRow)},
                                  {"width", Number(columns.width)}, {"height", Number(kRow)}});
    }
  }
  body += svg::Close("g") + "\n" + Edges(layout, top);
  for (const HistoryRevision& revision : layout.revisions) body += Row(revision, columns, top, page);
  return svg::Picture(columns.width, height, kPictureStyle, body,
                      {{"class", "history"}, {"role", "img"}, {"aria-label", title}});
}

}  // namespace

std::string HistorySvg(const HistoryLayout& layout, const std::string& title) {
  return svg::StandaloneDocument(Picture(layout, title, false));
}

std::string HistoryHtml(const HistoryLayout& layout, const std::string& title) {
  return "<!DOCTYPE html>\n" + svg::Open("html", {{"xmlns", "http://www.w3.org/1999/xhtml"}, {"lang", "en"}}) +
         "\n<head>\n" + svg::Empty("meta", {{"charset", "utf-8"}}) + "\n" +
         svg::Empty("meta", {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}}) + "\n" +
         svg::Text("title", {}, title) + "\n" + svg::Style(kPageStyle) + "\n</head>\n<body>\n" +
         svg::Text("h1", {}, title) + "\n" + svg::Text("p", {{"class", "summary"}}, Summary(layout)) + "\n" +
         svg::Open("div", {{"class", "graph"}}) + "\n" + Picture(layout, title, true) + "\n" + svg::Close("div") +
         "\n" + svg::Open("div", {{"id", "details"}, {"class", "details"}, {"hidden", "hidden"}}) + svg::Close("div") +
         "\n<script>//<![CDATA[\n" + kPageScript + "\n//]]></script>\n</body>\n</html>\n";
}

}  // namespace udm
