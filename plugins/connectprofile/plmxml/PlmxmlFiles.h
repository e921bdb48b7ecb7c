#pragma once

// The write-back of a revision's files: ExternalFiles reached through
// DataSets and attachments, or a Part's Representations. Internal to the
// writer.

#include <pugixml.hpp>

#include <cstddef>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "PlmxmlEditor.h"
#include "PlmxmlIndex.h"
#include "PlmxmlModel.h"

namespace vqkudm::plmxml::detail {

class FileWriter {
 public:
  // Finds each revision's files as the reader does, so before any edit.
  FileWriter(Editor& editor, const Index& index, std::filesystem::path directory);

  // Makes `files` the files of `revision`: each continues the document's
  // file of its elementId, else of its path, else is added.
  void Write(pugi::xml_node revision, const std::vector<FileRef>& files);
  // Drops the files of written revisions that their `files` no longer list.
  void DropUnlisted();

 private:
  struct Site {
    pugi::xml_node entry;    // what a DataSet, attachment or the revision itself names
    pugi::xml_node located;  // the element holding the location: `entry`, or where it leads
    pugi::xml_node link;     // an AssociatedDataSet of the revision naming `entry` itself
    std::string path;
    std::vector<std::size_t> copies;  // later sites of the same path, which the reader skips
    bool copy = false;
    bool listed = false;
  };
  struct Sites {
    std::vector<Site> all;                                // in the reader's order
    std::unordered_map<std::string, std::size_t> byPath;  // the first site of each path
  };

  void AddFrom(pugi::xml_node revision, std::size_t target, pugi::xml_node link);
  void AddSite(pugi::xml_node revision, pugi::xml_node entry, pugi::xml_node link);
  void Update(std::vector<Site>& sites, std::size_t at, const FileRef& file);
  void Add(pugi::xml_node revision, const FileRef& file);
  std::string PathOf(std::string_view location) const;
  std::string WantedPath(const FileRef& file) const;
  std::string Written(const std::string& path, bool asUri) const;

  Editor& m_editor;
  const Index& m_index;
  std::filesystem::path m_directory;
  std::unordered_map<const void*, Sites> m_sites;  // by revision element
  std::unordered_set<const void*> m_written;       // revision elements
  pugi::xml_node m_lastDataSet;
  pugi::xml_node m_lastFile;
};

}  // namespace vqkudm::plmxml::detail
