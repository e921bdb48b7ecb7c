#pragma once

// The structure below an item as a picture: each item once, each use an
// edge labelled with its quantity, the files listed under their item. The
// HTML page adds an outline whose sub-assemblies fold and unfold.

#include <map>
#include <string>

#include <nlohmann/json.hpp>

namespace udm {

// `tree` is the document `udm tree --json` prints (the item with its
// "children", each a use with its own "children"); `files` holds each
// item's files ([{"name", "size"}]) by item "id".
struct StructureView {
  nlohmann::json tree;
  std::map<std::string, nlohmann::json> files;
};

// A standalone SVG document, laid out by Graphviz.
std::string StructureSvg(const StructureView& view);
// A self-contained XHTML page: the foldable outline, then the picture
// StructureSvg drew of the same view.
std::string StructureHtml(const StructureView& view, const std::string& svgDocument);

}  // namespace udm
