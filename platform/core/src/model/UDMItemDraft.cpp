// The working state of an item as JSON, for drafts.
#include <vqkudmrt/UDMItem.h>

#include <algorithm>

#include <nlohmann/json.hpp>

#include <vqkudmrt/UDMException.h>
#include <vqnames/UDMNames.h>

#include "../store/EntityStore.h"

namespace vqkudm {

using nlohmann::json;

namespace {

json Value(const vqVariant& value) {
  std::int64_t type;
  vqVariant text, number;
  store::EncodeAttribute(value, type, text, number);
  json encoded = {{"type", type}};
  if (const vqString* t = text.GetString()) encoded["text"] = t->str();
  if (const double* n = number.GetDouble()) encoded["number"] = *n;
  return encoded;
}

vqVariant Value(const json& encoded) {
  const vqVariant text = encoded.contains("text") ? vqVariant(encoded["text"].get<std::string>()) : vqVariant();
  const vqVariant number = encoded.contains("number") ? vqVariant(encoded["number"].get<double>()) : vqVariant();
  return store::DecodeAttribute(encoded.at("type").get<std::int64_t>(), text, number);
}

}  // namespace

vqString UDMItem::EncodeDraft() const {
  json state = {{"version", 1},
                {"attributes", json::object()},
                {"children", json::array()},
                {"references", json::array()},
                {"categories", json::array()}};
  for (const auto& [name, value] : m_attributes) state["attributes"][name.str()] = Value(value);
  for (const ChildLink& link : m_childLinks) {
    json use = {{"group", link.group.str()}, {"id", link.childDmid.str()}, {"use", link.useId.str()},
                {"position", link.position}, {"attributes", json::object()}};
    for (const auto& [name, value] : link.attributes) use["attributes"][name.str()] = Value(value);
    state["children"].push_back(std::move(use));
  }
  for (const NamedTarget& r : m_references) state["references"].push_back({{"name", r.name.str()}, {"id", r.dmid.str()}});
  for (const vqString& c : m_categories) state["categories"].push_back(c.str());
  if (m_branchSource.IsValid()) state["branchFrom"] = m_branchSource.ToString().str();
  state["files"] = json::array();
  for (const UDMGenericDocument& d : m_files) {
    state["files"].push_back({{"preview", d.m_preview},
                              {"name", d.m_name.str()},
                              {"folder", d.m_folder.str()},
                              {"key", d.m_contentKey.str()},
                              {"size", d.m_size},
                              {"modified", d.m_modifiedTime.str()},
                              {"added", d.m_addedTime.str()},
                              {"source", d.m_sourcePath.str()},
                              {"imageType", static_cast<int>(d.m_imageType)},
                              {"description", d.m_description.str()},
                              {"default", d.m_default}});
  }
  return state.dump();
}

bool UDMItem::DraftDiffersFromStored(const vqString& draft) {
  LoadLinks();
  LoadTargets();
  LoadFiles();
  // System attributes record when and by whom, not what.
  auto work = [](const std::string& text) {
    json state = json::parse(text, nullptr, false);
    if (state.is_discarded()) return state;
    json& attributes = state["attributes"];
    for (auto it = attributes.begin(); it != attributes.end();) {
      it = it.key().rfind("smd_", 0) == 0 && it.key() != kSmdName.str() ? attributes.erase(it) : std::next(it);
    }
    return state;
  };
  return work(draft.str()) != work(EncodeDraft().str());
}

void UDMItem::RestoreDraft(const vqString& text) {
  try {
    const json state = json::parse(text.str());
    m_attributes.clear();
    for (const auto& [name, value] : state.at("attributes").items()) m_attributes[name] = Value(value);
    m_childLinks.clear();
    m_useCounts.clear();
    m_nextPosition = 0;
    for (const json& link : state.at("children")) {
      // Drafts saved before uses had identifiers name them as the migration does.
      const std::string group = link.at("group").get<std::string>(), child = link.at("id").get<std::string>();
      ChildLink use{group, child, link.value("use", group + "/" + child), link.value("position", m_nextPosition), {}};
      const json attributes = link.value("attributes", json::object());
      for (const auto& [name, value] : attributes.items()) {
        use.attributes[vqString(name)] = Value(value);
      }
      ++m_useCounts[use.group + "/" + use.childDmid];
      m_nextPosition = std::max(m_nextPosition, use.position + 1);
      m_childLinks.push_back(std::move(use));
    }
    m_references.clear();
    for (const json& r : state.at("references")) {
      m_references.push_back({r.at("name").get<std::string>(), r.at("id").get<std::string>()});
    }
    m_categories.clear();
    for (const json& c : state.at("categories")) m_categories.push_back(c.get<std::string>());
    m_branchSource = state.contains("branchFrom") ? UDMUID(state["branchFrom"].get<std::string>()) : UDMUID();
    m_files.clear();
    for (const json& f : state.value("files", json::array())) {
      UDMGenericDocument d;
      d.m_preview = f.at("preview").get<bool>();
      d.m_name = f.at("name").get<std::string>();
      d.m_folder = f.at("folder").get<std::string>();
      d.m_contentKey = f.at("key").get<std::string>();
      d.m_size = f.at("size").get<std::int64_t>();
      d.m_modifiedTime = f.at("modified").get<std::string>();
      d.m_addedTime = f.at("added").get<std::string>();
      d.m_sourcePath = f.at("source").get<std::string>();
      d.m_imageType = static_cast<vqlm::ImageType>(f.at("imageType").get<int>());
      d.m_description = f.at("description").get<std::string>();
      d.m_default = f.at("default").get<bool>();
      m_files.push_back(d);
    }
  } catch (const json::exception& e) {
    ThrowStateException(UDM_FUNCSIG, "the draft of " + m_uid.ToString() + " cannot be read: " + e.what(),
                        ExcSubSyntax);
  }
  m_linksLoaded = true;
  m_targetsLoaded = true;
  m_filesLoaded = true;
}

}  // namespace vqkudm
