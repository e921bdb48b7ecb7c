#include "PlmxmlReader.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <pugixml.hpp>

#include "PlmxmlIndex.h"
#include "PlmxmlValues.h"

namespace vqkudm::plmxml {

namespace {

namespace fs = std::filesystem;
using detail::Attribute;
using detail::DecodedLocation;
using detail::Element;
using detail::Index;
using detail::Kind;
using detail::LineAt;
using detail::kNone;
using detail::LocalName;
using detail::ReadTransform;
using detail::ReadUserValues;
using detail::Value;

class Builder {
 public:
  Builder(const Index& index, fs::path directory)
      : m_index(index),
        m_directory(std::move(directory)),
        m_itemAt(index.elements().size(), kNone),
        m_revisionAt(index.elements().size(), kNone) {}

  Document Build() {
    AddItems();
    AddRevisions();
    ReadOccurrences();
    ReadInstanceGraphs();
    CheckForCycles();
    FindRoots();
    return std::move(m_document);
  }

 private:
  struct Place {
    std::size_t item, revision;
  };

  const Element& At(std::size_t at) const { return m_index[at]; }
  Revision& RevisionOf(std::size_t revision) {
    return m_document.items[m_places[revision].item].revisions[m_places[revision].revision];
  }

  std::string KeyOf(std::size_t at, std::string_view attribute) const {
    std::string key = Value(At(at).node, attribute);
    if (key.empty()) key = At(at).id;
    if (key.empty()) m_index.Fail(At(at).node, "has neither " + std::string(attribute) + " nor id");
    return key;
  }
  static std::string SubTypeOf(pugi::xml_node node) {
    const pugi::xml_attribute subType = Attribute(node, "subType");
    return subType ? subType.value() : Value(node, "type");
  }

  // Items come in document order of the elements that found them; equal keys share one item.
  void AddItems() {
    for (std::size_t at = 0; at < m_index.elements().size(); ++at) {
      const Element& element = At(at);
      const bool masterless =
          element.kind == Kind::ProductRevision && m_index.Ref(element.node, "masterRef") == kNone;
      if (element.kind != Kind::Product && element.kind != Kind::Part && !masterless) continue;
      const auto [known, added] =
          m_itemByKey.emplace(KeyOf(at, masterless ? "id" : "productId"), m_document.items.size());
      m_itemAt[at] = known->second;
      if (!added) continue;
      Item item;
      item.key = known->first;
      item.elementId = element.id;
      item.name = Value(element.node, "name");
      item.subType = SubTypeOf(element.node);
      if (element.kind == Kind::Product) item.userValues = ReadUserValues(element.node);
      m_document.items.push_back(std::move(item));
    }
  }

  void AddRevisions() {
    for (std::size_t at = 0; at < m_index.elements().size(); ++at) {
      const Element& element = At(at);
      if (element.kind != Kind::ProductRevision && element.kind != Kind::Part) continue;
      std::size_t item = m_itemAt[at];
      if (item == kNone) {
        const std::size_t master = m_index.Ref(element.node, "masterRef");
        item = m_itemAt[Expect(element.node, "masterRef", master, Kind::Product, "a Product")];
      }
      Revision revision;
      revision.key = KeyOf(at, "revision");
      const auto [first, added] =
          m_revisionByKey.emplace(m_document.items[item].key + '\n' + revision.key, at);
      if (!added) {
        m_index.Fail(element.node, "is revision \"" + revision.key + "\" of item \"" +
                                       m_document.items[item].key + "\" as " +
                                       m_index.Describe(first->second) + " is already");
      }
      revision.elementId = element.id;
      revision.revision = Value(element.node, "revision");
      revision.name = Value(element.node, "name");
      revision.subType = SubTypeOf(element.node);
      revision.userValues = ReadUserValues(element.node);
      m_revisionAt[at] = m_places.size();
      m_places.push_back({item, m_document.items[item].revisions.size()});
      m_document.items[item].revisions.push_back(std::move(revision));

      for (pugi::xml_node child : element.node.children()) {
        const std::string_view name = LocalName(child.name());
        if (name == "AssociatedDataSet") {
          AddFilesOf(m_revisionAt[at], m_index.Ref(child, "dataSetRef"), Value(child, "role"));
        } else if (name == "Representation") {
          AddFile(m_revisionAt[at], child, "");
        }
      }
    }
  }

  // An occurrence's children are those its occurrenceRefs list and those whose parentRef
  // names it. Each revision's uses come from the first occurrence of it that has children:
  // a copy left bare, as where an export stops expanding, must not hide them.
  void ReadOccurrences() {
    std::vector<std::size_t> occurrences;
    for (std::size_t at = 0; at < m_index.elements().size(); ++at) {
      if (At(at).kind == Kind::Occurrence) occurrences.push_back(at);
    }
    std::unordered_map<std::size_t, std::vector<std::size_t>> children;
    std::unordered_set<std::uint64_t> linked;
    const auto link = [&](std::size_t parent, std::size_t child) {
      if (linked.insert(static_cast<std::uint64_t>(parent) << 32 | child).second)
        children[parent].push_back(child);
    };
    for (const std::size_t at : occurrences) {
      const pugi::xml_node node = At(at).node;
      for (const std::size_t child : m_index.Refs(node, "occurrenceRefs")) {
        link(at, Expect(node, "occurrenceRefs", child, Kind::Occurrence, "an Occurrence"));
      }
      const std::size_t parent = m_index.Ref(node, "parentRef");
      if (parent != kNone)
        link(Expect(node, "parentRef", parent, Kind::Occurrence, "an Occurrence"), at);
    }
    std::vector<bool> expanded(m_places.size());
    for (const std::size_t at : occurrences) {
      const std::size_t parent = RevisionNamedBy(At(at).node, "instancedRef");
      if (parent == kNone) continue;
      for (const std::size_t attachment : m_index.Refs(At(at).node, "associatedAttachmentRefs")) {
        if (At(attachment).kind == Kind::AssociatedAttachment) {
          const pugi::xml_node node = At(attachment).node;
          AddFilesOf(parent, m_index.Ref(node, "attachmentRef"), Value(node, "role"));
        } else {
          AddFilesOf(parent, attachment, "");
        }
      }
      const auto found = children.find(at);
      if (expanded[parent] || found == children.end()) continue;
      expanded[parent] = true;
      std::sort(found->second.begin(), found->second.end());
      for (const std::size_t child : found->second) {
        const std::size_t revision = RevisionNamedBy(At(child).node, "instancedRef");
        if (revision != kNone) AddUse(parent, revision, child);
      }
    }
  }

  void ReadInstanceGraphs() {
    for (std::size_t at = 0; at < m_index.elements().size(); ++at) {
      if (At(at).kind != Kind::Part) continue;
      std::vector<std::size_t> instances = m_index.Refs(At(at).node, "instanceRefs");
      for (const std::size_t instance : instances) {
        Expect(At(at).node, "instanceRefs", instance, Kind::Instance, "an Instance");
      }
      std::sort(instances.begin(), instances.end());
      instances.erase(std::unique(instances.begin(), instances.end()), instances.end());
      for (const std::size_t instance : instances) {
        const std::size_t revision = RevisionNamedBy(At(instance).node, "partRef");
        if (revision == kNone) m_index.Fail(At(instance).node, "has no partRef");
        AddUse(m_revisionAt[at], revision, instance);
      }
    }
  }

  std::size_t Expect(pugi::xml_node from, std::string_view attribute, std::size_t target, Kind kind,
                     const char* expected) const {
    if (At(target).kind != kind) {
      m_index.Fail(from, std::string(attribute) + " names " + m_index.Describe(target) + ", not " +
                             expected);
    }
    return target;
  }

  // kNone when the attribute is absent.
  std::size_t RevisionNamedBy(pugi::xml_node from, std::string_view attribute) const {
    const std::size_t target = m_index.Ref(from, attribute);
    if (target == kNone) return kNone;
    if (m_revisionAt[target] == kNone) {
      m_index.Fail(
          from, std::string(attribute) + " names " + m_index.Describe(target) + ", not a revision");
    }
    return m_revisionAt[target];
  }

  void AddUse(std::size_t parent, std::size_t child, std::size_t at) {
    const Place& from = m_places[parent];
    const Place& to = m_places[child];
    const pugi::xml_node node = At(at).node;
    Use use;
    use.parentItem = m_document.items[from.item].key;
    use.parentRevision = RevisionOf(parent).key;
    use.childItem = m_document.items[to.item].key;
    use.childRevision = RevisionOf(child).key;
    use.elementId = At(at).id;
    use.name = Value(node, "name");
    use.transform = ReadTransform(m_index, node);
    use.userValues = ReadUserValues(node);
    m_document.uses.push_back(std::move(use));
    m_useEnds.emplace_back(parent, child);
  }

  // Forms and other attachments that are not files have no place in the model.
  void AddFilesOf(std::size_t revision, std::size_t at, const std::string& role) {
    if (at == kNone) return;
    if (At(at).kind == Kind::ExternalFile) AddFile(revision, At(at).node, role);
    if (At(at).kind != Kind::DataSet) return;
    for (const std::size_t member : m_index.Refs(At(at).node, "memberRefs")) {
      if (At(member).kind == Kind::ExternalFile) AddFile(revision, At(member).node, role);
    }
  }

  void AddFile(std::size_t revision, pugi::xml_node node, const std::string& role) {
    // A "#id" locationRef hands the location over to another element.
    for (std::size_t hops = 0;; ++hops) {
      const std::string_view written = Attribute(node, "locationRef").value();
      if (written.empty() || written.front() != '#') break;
      if (hops == m_index.elements().size())
        m_index.Fail(node, "locationRef leads round in a circle");
      node = At(m_index.Ref(node, "locationRef")).node;
    }
    pugi::xml_attribute location = Attribute(node, "locationRef");
    if (!location) location = Attribute(node, "location");
    if (!*location.value()) return;
    FileRef file;
    file.location = DecodedLocation(location.value());
    const fs::path path(file.location);
    file.path = (path.is_absolute() ? path : m_directory / path).lexically_normal().string();
    if (!m_filesSeen.insert(std::to_string(revision) + '\n' + file.path).second) return;
    file.format = Value(node, "format");
    if (file.format.empty() && path.has_extension())
      file.format = path.extension().string().substr(1);
    file.role = role;
    file.elementId = Value(node, "id");
    file.line = m_index.LineOf(node);
    RevisionOf(revision).files.push_back(std::move(file));
  }

  void CheckForCycles() const {
    std::vector<std::vector<std::size_t>> usesFrom(m_places.size());
    for (std::size_t use = 0; use < m_useEnds.size(); ++use)
      usesFrom[m_useEnds[use].first].push_back(use);
    enum : char { kUnseen, kOnPath, kDone };
    std::vector<char> state(m_places.size(), kUnseen);
    std::vector<std::pair<std::size_t, std::size_t>> path;  // revision, uses of it followed so far
    for (std::size_t start = 0; start < m_places.size(); ++start) {
      if (state[start] != kUnseen) continue;
      state[start] = kOnPath;
      path.emplace_back(start, 0);
      while (!path.empty()) {
        const std::size_t revision = path.back().first;
        if (path.back().second == usesFrom[revision].size()) {
          state[revision] = kDone;
          path.pop_back();
          continue;
        }
        const std::size_t child = m_useEnds[usesFrom[revision][path.back().second++]].second;
        if (state[child] == kOnPath) ReportCycle(path, child, usesFrom);
        if (state[child] == kUnseen) {
          state[child] = kOnPath;
          path.emplace_back(child, 0);
        }
      }
    }
  }

  [[noreturn]] void ReportCycle(const std::vector<std::pair<std::size_t, std::size_t>>& path,
                                std::size_t back,
                                const std::vector<std::vector<std::size_t>>& usesFrom) const {
    auto step = path.begin();
    while (step->first != back) ++step;
    std::string revisions, uses;
    for (; step != path.end(); ++step) {
      const Place& place = m_places[step->first];
      revisions += m_document.items[place.item].revisions[place.revision].elementId + " -> ";
      const std::string& use = m_document.uses[usesFrom[step->first][step->second - 1]].elementId;
      uses += (uses.empty() ? "" : ", ") + use + " on line " + std::to_string(m_index.LineOfId(use));
    }
    const Place& place = m_places[back];
    revisions += m_document.items[place.item].revisions[place.revision].elementId;
    m_index.Fail("structure cycle " + revisions + " (through " + uses + ")");
  }

  // The roots the document names; without any, the revisions nothing uses.
  void FindRoots() {
    std::vector<std::size_t> roots;
    std::vector<bool> isRoot(m_places.size());
    const auto add = [&](std::size_t revision) {
      if (revision == kNone || isRoot[revision]) return;
      isRoot[revision] = true;
      roots.push_back(revision);
    };
    for (std::size_t at = 0; at < m_index.elements().size(); ++at) {
      const Element& element = At(at);
      if (element.kind == Kind::ProductView || element.kind == Kind::InstanceGraph) {
        for (const std::size_t root : m_index.Refs(element.node, "rootRefs")) {
          add(RootRevision(element.node, "rootRefs", root));
        }
        const std::size_t primary = m_index.Ref(element.node, "primaryOccurrenceRef");
        if (primary != kNone) add(RootRevision(element.node, "primaryOccurrenceRef", primary));
      } else if (element.kind == Kind::ProductInstance) {
        add(RevisionNamedBy(element.node, "partRef"));
      }
    }
    if (roots.empty()) {
      std::vector<bool> used(m_places.size());
      for (const auto& ends : m_useEnds) used[ends.second] = true;
      for (std::size_t revision = 0; revision < m_places.size(); ++revision) {
        if (!used[revision]) roots.push_back(revision);
      }
      std::sort(roots.begin(), roots.end(), [this](std::size_t a, std::size_t b) {
        return std::tie(m_places[a].item, m_places[a].revision) <
               std::tie(m_places[b].item, m_places[b].revision);
      });
    }
    for (const std::size_t root : roots) {
      m_document.roots.emplace_back(m_document.items[m_places[root].item].key,
                                    RevisionOf(root).key);
    }
  }

  std::size_t RootRevision(pugi::xml_node from, std::string_view attribute,
                           std::size_t target) const {
    switch (At(target).kind) {
      case Kind::Occurrence:
        return RevisionNamedBy(At(target).node, "instancedRef");
      case Kind::Instance:
      case Kind::ProductInstance:
        return RevisionNamedBy(At(target).node, "partRef");
      default:
        if (m_revisionAt[target] == kNone) {
          m_index.Fail(
              from, std::string(attribute) + " names " + m_index.Describe(target) + ", not a root");
        }
        return m_revisionAt[target];
    }
  }

  const Index& m_index;
  const fs::path m_directory;
  Document m_document;
  std::vector<std::size_t> m_itemAt;      // by element: the item it founded or joined by key
  std::vector<std::size_t> m_revisionAt;  // by element: its revision, numbered as in m_places
  std::vector<Place> m_places;            // by revision number
  std::vector<std::pair<std::size_t, std::size_t>>
      m_useEnds;  // by use: parent and child revision numbers
  std::unordered_map<std::string, std::size_t> m_itemByKey;
  std::unordered_map<std::string, std::size_t>
      m_revisionByKey;                          // item key '\n' revision key -> element
  std::unordered_set<std::string> m_filesSeen;  // revision number '\n' path
};

}  // namespace

Document ParseDocument(const std::string& xml, const std::string& documentPath) {
  pugi::xml_document document;
  // The writer's options: pugixml reads a malformed XML declaration
  // differently when it keeps it, and the writer must find the elements the
  // reader found.
  const pugi::xml_parse_result parsed =
      document.load_buffer(xml.data(), xml.size(),
                           pugi::parse_default | pugi::parse_declaration | pugi::parse_comments |
                               pugi::parse_pi | pugi::parse_doctype);
  if (!parsed) {
    throw ReadError(documentPath + ": malformed XML on line " +
                    std::to_string(LineAt(xml, static_cast<std::size_t>(parsed.offset))) +
                    ": " + parsed.description());
  }
  const pugi::xml_node root = document.document_element();
  if (LocalName(root.name()) != "PLMXML") {
    throw ReadError(documentPath + ": not a PLM XML document (the root element is <" + root.name() +
                    ">)");
  }
  const Index index(root, documentPath, xml);
  const fs::path directory =
      fs::absolute(documentPath.empty() ? fs::path(".") : fs::path(documentPath)).parent_path();
  return Builder(index, directory).Build();
}

Document ReadDocument(const std::string& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) throw ReadError(path + ": not a readable file");
  std::ifstream in(path, std::ios::binary);
  const std::string xml{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (!in.is_open() || in.bad()) throw ReadError(path + ": cannot be read");
  return ParseDocument(xml, path);
}

}  // namespace vqkudm::plmxml
