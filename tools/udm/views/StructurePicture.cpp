#include "views/StructurePicture.h"

#include <graphviz/gvc.h>

#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "Output.h"
#include "views/Svg.h"

namespace udm {

namespace {

std::string Size(std::int64_t bytes) { return HumanBytes(static_cast<double>(bytes)); }

std::string Quantity(const nlohmann::json& use) {
  const nlohmann::json& quantity = use["quantity"];
  if (quantity.is_null()) return "";
  if (quantity.is_string()) return "\u00d7" + quantity.get<std::string>();
  const double number = quantity.get<double>();
  const bool whole = number == static_cast<double>(static_cast<std::int64_t>(number));
  return "\u00d7" + (whole ? std::to_string(static_cast<std::int64_t>(number)) : quantity.dump());
}

std::string Heading(const nlohmann::json& item) {
  return item["class"].get<std::string>() + " \u00b7 rev " + item["revision"].dump();
}

// A Graphviz HTML-like label: the item's name and class over its files.
std::string NodeLabel(const nlohmann::json& item, const nlohmann::json& files) {
  std::string label =
      "<TABLE BORDER=\"0\" CELLBORDER=\"1\" CELLSPACING=\"0\" CELLPADDING=\"5\" COLOR=\"#5b7083\">"
      "<TR><TD BGCOLOR=\"#dbe6f1\"><B>" +
      svg::Escape(item["name"].get<std::string>()) + "</B><BR/><FONT POINT-SIZE=\"9\" COLOR=\"#44546a\">" + svg::Escape(Heading(item)) +
      "</FONT></TD></TR>";
  if (!files.empty()) {
    label += "<TR><TD ALIGN=\"LEFT\" BALIGN=\"LEFT\"><FONT POINT-SIZE=\"9\">";
    bool first = true;
    for (const nlohmann::json& file : files) {
      if (!first) label += "<BR/>";
      first = false;
      label += svg::Escape(file["name"].get<std::string>() + "  " + Size(file["size"].get<std::int64_t>()));
    }
    label += "</FONT></TD></TR>";
  }
  return label + "</TABLE>";
}

using Graph = std::unique_ptr<Agraph_t, int (*)(Agraph_t*)>;

class Picture {
 public:
  explicit Picture(const StructureView& view) : m_view(view), m_graph(nullptr, agclose) {}

  std::string Svg() {
    m_graph.reset(agopen(const_cast<char*>("structure"), Agdirected, nullptr));
    Set(m_graph.get(), AGRAPH, "rankdir", "TB");
    Set(m_graph.get(), AGRAPH, "nodesep", "0.3");
    Set(m_graph.get(), AGRAPH, "ranksep", "0.5");
    Set(m_graph.get(), AGNODE, "shape", "plain");
    Set(m_graph.get(), AGNODE, "fontname", "Helvetica");
    Set(m_graph.get(), AGEDGE, "fontname", "Helvetica");
    Set(m_graph.get(), AGEDGE, "fontsize", "10");
    Set(m_graph.get(), AGEDGE, "color", "#5b7083");
    Set(m_graph.get(), AGEDGE, "label", "");
    Set(m_graph.get(), AGNODE, "id", "");
    Set(m_graph.get(), AGNODE, "label", "");
    Agnode_t* root = Node(m_view.tree);
    Uses(root, m_view.tree["children"]);
    return Render();
  }

 private:
  static void Set(Agraph_t* graph, int kind, const char* name, const char* value) {
    agattr(graph, kind, const_cast<char*>(name), const_cast<char*>(value));
  }

  // Each item once, however many uses point at it.
  Agnode_t* Node(const nlohmann::json& item) {
    const std::string id = item["id"];
    Agnode_t* node = agnode(m_graph.get(), const_cast<char*>(id.c_str()), 0);
    if (node) return node;
    node = agnode(m_graph.get(), const_cast<char*>(id.c_str()), 1);
    auto files = m_view.files.find(id);
    const std::string label = NodeLabel(item, files == m_view.files.end() ? nlohmann::json::array() : files->second);
    agset(node, const_cast<char*>("label"), agstrdup_html(m_graph.get(), const_cast<char*>(label.c_str())));
    agset(node, const_cast<char*>("id"), const_cast<char*>(("item-" + id).c_str()));
    return node;
  }

  void Uses(Agnode_t* parent, const nlohmann::json& uses) {
    for (const nlohmann::json& use : uses) {
      const bool seen = agnode(m_graph.get(), const_cast<char*>(use["id"].get<std::string>().c_str()), 0) != nullptr;
      Agnode_t* child = Node(use);
      Agedge_t* edge = agedge(m_graph.get(), parent, child, nullptr, 1);
      agset(edge, const_cast<char*>("label"), const_cast<char*>(Quantity(use).c_str()));
      // A reused child's structure is drawn from its first use.
      if (!seen) Uses(child, use["children"]);
    }
  }

  // One context for the process: Graphviz's text measuring keeps pointers
  // into a context's fonts after that context is freed.
  static GVC_t* Context() {
    static GVC_t* const context = gvContext();
    return context;
  }

  std::string Render() {
    GVC_t* context = Context();
    if (gvLayout(context, m_graph.get(), "dot") != 0) throw std::runtime_error("Graphviz could not lay out the structure");
    char* data = nullptr;
    unsigned int length = 0;
    const int rendered = gvRenderData(context, m_graph.get(), "svg", &data, &length);
    std::string svg = rendered == 0 && data ? std::string(data, length) : std::string();
    gvFreeRenderData(data);
    gvFreeLayout(context, m_graph.get());
    if (svg.empty()) throw std::runtime_error("Graphviz could not draw the structure");
    return svg;
  }

  const StructureView& m_view;
  Graph m_graph;
};

void Outline(std::ostream& out, const nlohmann::json& item, const std::string& quantity, const StructureView& view,
             std::set<std::string>& shown) {
  const std::string id = item["id"];
  const bool first = shown.insert(id).second;
  const nlohmann::json& children = item["children"];
  auto files = view.files.find(id);
  const bool hasFiles = files != view.files.end() && !files->second.empty();
  const std::string summary = "<span class=\"name\">" + svg::Escape(item["name"].get<std::string>()) + "</span> <span class=\"meta\">" +
                              svg::Escape(Heading(item)) + "</span>" +
                              (quantity.empty() ? "" : " <span class=\"qty\">" + svg::Escape(quantity) + "</span>");
  if (!first) {
    out << "<div class=\"leaf\">" << summary << " <a href=\"#outline-" << svg::Escape(id) << "\">reused, shown above</a></div>\n";
    return;
  }
  if (children.empty() && !hasFiles) {
    out << "<div class=\"leaf\" id=\"outline-" << svg::Escape(id) << "\">" << summary << "</div>\n";
    return;
  }
  out << "<details open=\"open\" id=\"outline-" << svg::Escape(id) << "\"><summary>" << summary << "</summary>\n";
  if (hasFiles) {
    out << "<ul class=\"files\">";
    for (const nlohmann::json& file : files->second) {
      out << "<li>" << svg::Escape(file["name"].get<std::string>()) << " <span class=\"meta\">" << Size(file["size"].get<std::int64_t>())
          << "</span></li>";
    }
    out << "</ul>\n";
  }
  for (const nlohmann::json& use : children) Outline(out, use, Quantity(use), view, shown);
  out << "</details>\n";
}

// Graphviz writes a whole document; the page wants the element alone.
std::string SvgElement(const std::string& document) {
  const std::size_t start = document.find("<svg");
  return start == std::string::npos ? document : document.substr(start);
}

}  // namespace

std::string StructureSvg(const StructureView& view) { return Picture(view).Svg(); }

std::string StructureHtml(const StructureView& view, const std::string& svgDocument) {
  std::ostringstream page;
  const std::string title = "Structure of " + view.tree["path"].get<std::string>();
  page << "<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
       << "<title>" << svg::Escape(title) << "</title>\n<style>\n"
       << "body{font-family:Helvetica,Arial,sans-serif;margin:1.5em;color:#1f2d3d}\n"
       << "h1{font-size:1.3em}\n"
       << ".picture{overflow:auto;border:1px solid #d0d7de;padding:.5em;margin-bottom:1.5em}\n"
       << "details{margin-left:1.2em}\n"
       << "summary{cursor:pointer;padding:.15em 0}\n"
       << ".leaf{margin-left:2.4em;padding:.15em 0}\n"
       << ".name{font-weight:bold}\n.meta{color:#5b7083;font-size:.85em}\n"
       << ".qty{background:#dbe6f1;border-radius:.6em;padding:0 .5em;font-size:.85em}\n"
       << "ul.files{margin:.2em 0 .2em 2.4em;padding:0;list-style:none;font-size:.9em}\n"
       << "</style>\n</head>\n<body>\n<h1>" << svg::Escape(title) << "</h1>\n"
       << "<p><button type=\"button\" onclick=\"fold(true)\">Unfold all</button> "
       << "<button type=\"button\" onclick=\"fold(false)\">Fold all</button></p>\n"
       << "<div class=\"outline\">\n";
  std::set<std::string> shown;
  Outline(page, view.tree, "", view, shown);
  page << "</div>\n<h2>Picture</h2>\n<div class=\"picture\">\n"
       << SvgElement(svgDocument) << "</div>\n"
       << "<script>//<![CDATA[\n"
       << "function fold(open){document.querySelectorAll('details').forEach(function(d){d.open=open;});}\n"
       << "//]]></script>\n</body>\n</html>\n";
  return page.str();
}

}  // namespace udm
