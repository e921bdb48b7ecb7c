#include "PlmxmlFiles.h"

#include <cctype>
#include <cstdio>
#include <utility>

#include "PlmxmlValues.h"

namespace vqkudm::plmxml::detail {

namespace fs = std::filesystem;

namespace {

bool IsUri(std::string_view location) {
  if (location.size() < 5) return false;
  std::string scheme(location.substr(0, 5));
  for (char& c : scheme) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return scheme == "file:";
}

std::string PercentEncoded(const std::string& path) {
  static const std::string_view kPlain = "-._~/:@!$&'()*+,;=";
  std::string encoded;
  for (const char c : path) {
    if (std::isalnum(static_cast<unsigned char>(c)) || kPlain.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(c));
      encoded += escape;
    }
  }
  return encoded;
}

pugi::xml_attribute LocationOf(pugi::xml_node node) {
  const pugi::xml_attribute located = Attribute(node, "locationRef");
  return located ? located : Attribute(node, "location");
}

pugi::xml_node LastChildNamed(pugi::xml_node parent, std::string_view name) {
  pugi::xml_node last;
  for (const pugi::xml_node child : parent.children()) {
    if (child.type() == pugi::node_element && LocalName(child.name()) == name) last = child;
  }
  return last;
}

}  // namespace

FileWriter::FileWriter(Editor& editor, const Index& index, fs::path directory)
    : m_editor(editor), m_index(index), m_directory(std::move(directory)) {
  // In the reader's order, so that the same site of a path comes first.
  for (std::size_t at = 0; at < index.elements().size(); ++at) {
    const Element& element = index[at];
    if (element.kind == Kind::DataSet) m_lastDataSet = element.node;
    if (element.kind == Kind::ExternalFile) m_lastFile = element.node;
    if (element.kind != Kind::ProductRevision && element.kind != Kind::Part) continue;
    for (const pugi::xml_node child : element.node.children()) {
      const std::string_view name = LocalName(child.name());
      if (name == "AssociatedDataSet") {
        AddFrom(element.node, index.Ref(child, "dataSetRef"), child);
      } else if (name == "Representation") {
        AddSite(element.node, child, child);
      }
    }
  }
  for (const Element& element : index.elements()) {
    if (element.kind != Kind::Occurrence) continue;
    const std::size_t instanced = index.Ref(element.node, "instancedRef");
    if (instanced == kNone) continue;
    for (const std::size_t attached : index.Refs(element.node, "associatedAttachmentRefs")) {
      if (index[attached].kind == Kind::AssociatedAttachment) {
        AddFrom(index[instanced].node, index.Ref(index[attached].node, "attachmentRef"), {});
      } else {
        AddFrom(index[instanced].node, attached, {});
      }
    }
  }
}

void FileWriter::AddFrom(pugi::xml_node revision, std::size_t target, pugi::xml_node link) {
  if (target == kNone) return;
  if (m_index[target].kind == Kind::ExternalFile) AddSite(revision, m_index[target].node, link);
  if (m_index[target].kind != Kind::DataSet) return;
  for (const std::size_t member : m_index.Refs(m_index[target].node, "memberRefs")) {
    if (m_index[member].kind == Kind::ExternalFile) AddSite(revision, m_index[member].node, {});
  }
}

void FileWriter::AddSite(pugi::xml_node revision, pugi::xml_node entry, pugi::xml_node link) {
  pugi::xml_node located = entry;
  for (;;) {
    const std::string_view written = Attribute(located, "locationRef").value();
    if (written.empty() || written.front() != '#') break;
    located = m_index[m_index.Ref(located, "locationRef")].node;
  }
  const pugi::xml_attribute location = LocationOf(located);
  if (!*location.value()) return;
  Site site{entry, located, link, PathOf(location.value()), {}};
  Sites& sites = m_sites[revision.internal_object()];
  const auto [first, added] = sites.byPath.emplace(site.path, sites.all.size());
  if (!added) {
    sites.all[first->second].copies.push_back(sites.all.size());
    site.copy = true;
  }
  sites.all.push_back(std::move(site));
}

std::string FileWriter::PathOf(std::string_view location) const {
  const fs::path path(DecodedLocation(location));
  return (path.is_absolute() ? path : m_directory / path).lexically_normal().string();
}

std::string FileWriter::WantedPath(const FileRef& file) const {
  if (file.path.empty()) return PathOf(file.location);
  const fs::path path(file.path);
  return (path.is_absolute() ? path : m_directory / path).lexically_normal().string();
}

// Relative to the document's directory when the file is below it, so that the two move together.
std::string FileWriter::Written(const std::string& path, bool asUri) const {
  const fs::path relative = fs::path(path).lexically_relative(m_directory);
  const bool below = !relative.empty() && *relative.begin() != ".." && relative != ".";
  if (!asUri) return below ? relative.string() : path;
  return below ? "file:" + PercentEncoded(relative.string()) : "file://" + PercentEncoded(path);
}

void FileWriter::Write(pugi::xml_node revision, const std::vector<FileRef>& files) {
  m_written.insert(revision.internal_object());
  Sites& sites = m_sites[revision.internal_object()];
  std::unordered_map<std::string, std::size_t> byId;
  std::vector<std::size_t> idless;
  for (std::size_t at = 0; at < sites.all.size(); ++at) {
    if (sites.all[at].copy) continue;
    const std::string id = Value(sites.all[at].located, "id");
    if (id.empty()) {
      idless.push_back(at);
    } else {
      byId.emplace(id, at);
    }
  }
  std::vector<std::size_t> siteOf(files.size(), kNone);
  const auto claim = [&](std::size_t f, std::size_t at) {
    if (sites.all[at].listed) return;
    sites.all[at].listed = true;
    siteOf[f] = at;
  };
  for (std::size_t f = 0; f < files.size(); ++f) {
    const auto found = byId.find(files[f].elementId);
    if (!files[f].elementId.empty() && found != byId.end()) claim(f, found->second);
  }
  for (std::size_t f = 0; f < files.size(); ++f) {
    if (siteOf[f] != kNone) continue;
    const auto found = sites.byPath.find(WantedPath(files[f]));
    if (found != sites.byPath.end()) claim(f, found->second);
  }
  // Without id or path in common, an element without id can only be told by its place.
  std::size_t next = 0;
  for (std::size_t f = 0; f < files.size(); ++f) {
    if (siteOf[f] != kNone || !files[f].elementId.empty()) continue;
    while (next < idless.size() && sites.all[idless[next]].listed) ++next;
    if (next < idless.size()) claim(f, idless[next]);
  }
  for (std::size_t f = 0; f < files.size(); ++f) {
    if (siteOf[f] != kNone) {
      Update(sites.all, siteOf[f], files[f]);
    } else {
      Add(revision, files[f]);
    }
  }
}

void FileWriter::Update(std::vector<Site>& sites, std::size_t at, const FileRef& file) {
  const std::string path = WantedPath(file);
  if (path != sites[at].path) {
    // The skipped sites of the old path move too, or they would read as a second file.
    std::vector<std::size_t> moved{at};
    moved.insert(moved.end(), sites[at].copies.begin(), sites[at].copies.end());
    for (const std::size_t site : moved) {
      pugi::xml_attribute location = LocationOf(sites[site].located);
      location.set_value(Written(path, IsUri(location.value())).c_str());
    }
  }
  const pugi::xml_node located = sites[at].located;
  const std::string declared = Value(located, "format");
  const fs::path extension = fs::path(path).extension();
  const std::string read = !declared.empty()   ? declared
                           : extension.empty() ? ""
                                               : extension.string().substr(1);
  if (file.format != read) Editor::SetOptional(located, "format", file.format);
}

void FileWriter::Add(pugi::xml_node revision, const FileRef& file) {
  const std::string location = Written(WantedPath(file), false);
  if (LocalName(revision.name()) == "Part") {
    const pugi::xml_node last = LastChildNamed(revision, "Representation");
    const pugi::xml_node representation = last ? m_editor.AddAfter(last, "Representation")
                                               : m_editor.AddChild(revision, "Representation");
    Editor::SetOptional(representation, "format", file.format);
    Editor::Set(representation, "location", location);
    return;
  }
  const pugi::xml_node dataSet = m_lastDataSet ? m_editor.AddAfter(m_lastDataSet, "DataSet")
                                               : m_editor.AddAfter(revision, "DataSet");
  const pugi::xml_node external = m_lastFile ? m_editor.AddAfter(m_lastFile, "ExternalFile")
                                             : m_editor.AddAfter(dataSet, "ExternalFile");
  Editor::Set(external, "locationRef", location);
  Editor::SetOptional(external, "format", file.format);
  m_editor.SetRefs(dataSet, "memberRefs", {external});
  const pugi::xml_node last = LastChildNamed(revision, "AssociatedDataSet");
  const pugi::xml_node associated = last ? m_editor.AddAfter(last, "AssociatedDataSet", false)
                                         : m_editor.AddChild(revision, "AssociatedDataSet", false);
  m_editor.SetRef(associated, "dataSetRef", dataSet);
  Editor::SetOptional(associated, "role", file.role);
  m_lastDataSet = dataSet;
  m_lastFile = external;
}

void FileWriter::DropUnlisted() {
  // An element another revision still has, or one of a revision left as it was, stays.
  std::unordered_set<const void*> kept;
  const auto keep = [&](const Site& site) {
    kept.insert(site.entry.internal_object());
    kept.insert(site.located.internal_object());
  };
  for (const auto& [revision, sites] : m_sites) {
    const bool written = m_written.count(revision) > 0;
    for (const Site& site : sites.all) {
      if (!written) {
        keep(site);
      } else if (site.listed) {
        keep(site);
        for (const std::size_t copy : site.copies) keep(sites.all[copy]);
      }
    }
  }
  for (const auto& [revision, sites] : m_sites) {
    if (!m_written.count(revision)) continue;
    for (const Site& dropped : sites.all) {
      if (dropped.copy || dropped.listed) continue;
      std::vector<const Site*> gone{&dropped};
      for (const std::size_t copy : dropped.copies) gone.push_back(&sites.all[copy]);
      for (const Site* site : gone) {
        if (LocalName(site->entry.name()) == "Representation") {
          m_editor.Drop(site->entry);
        } else if (!kept.count(site->entry.internal_object())) {
          m_editor.Drop(site->entry);
          if (!kept.count(site->located.internal_object())) m_editor.Drop(site->located);
        } else if (site->link) {
          m_editor.Drop(site->link);
        }
      }
    }
  }
}

}  // namespace vqkudm::plmxml::detail
