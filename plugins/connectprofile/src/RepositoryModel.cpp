#include "RepositoryModel.h"

#include <filesystem>
#include <map>
#include <set>

#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMNames.h>
#include <vqkudmrt/UDMGenericDocument.h>

namespace vqkudm::connect {

namespace {

const size_t kDmidLength = 32;

// Attributes the mapping itself keeps; they never become user values.
bool IsMappingAttribute(const vqString& name) {
  return name == kKeyPlmxmlexternalid || name == kKeyPlmxmloccrevision || name == kKeyPlmxmlproductrevname ||
         name == kKeyPlmxmlproductrevsubtype || name == "partnumber";
}

// In-context values of a use, under the titles the document gives them.
const std::map<std::string, std::string> kUseTitles = {
    {"quantity", "Quantity"}, {"findnumber", "SequenceNumber"}, {"refdes", "ReferenceDesignator"}};

class ModelBuilder {
 public:
  ModelBuilder(IUDMProfile& profile, const plmxml::Document& read, PartAttributes& attributes, LoadState& state)
      : m_profile(profile), m_read(read), m_attributes(attributes), m_state(state) {
    vqStlVector<UDMCdefMetaData> declared;
    profile.GetMetaData("UDMPart", declared);
    for (const UDMCdefMetaData& attribute : declared) m_defaults[attribute.Name().str()] = attribute.DefaultValue().str();
  }

  plmxml::Document Build() {
    vqStlVector<UDMItemHandle> parts;
    m_profile.QueryEntities(parts, "cdef = 'UDMPart'", UDMQuerySettingHandle(), false, false);
    for (const UDMItemHandle& part : parts) m_keys[Dmid(*part.GetEntityHandlePtr())] = KeyOf(*part.GetEntityHandlePtr());

    plmxml::Document desired;
    desired.roots = m_read.roots;
    std::map<std::string, const plmxml::Item*> readItems;
    for (const plmxml::Item& item : m_read.items) readItems[item.key] = &item;
    std::set<std::string> items;    // keys of the items the repository speaks for
    std::set<std::string> written;  // parent item and revision whose uses come from the repository
    for (const UDMItemHandle& handle : parts) {
      IUDMEntityHandle& part = *handle.GetEntityHandlePtr();
      const std::string key = m_keys[Dmid(part)];
      m_state[key].id = Dmid(part);
      auto found = readItems.find(key);
      plmxml::Item item = found != readItems.end() ? *found->second : plmxml::Item{key, "", "", "", {}, {}};
      plmxml::Revision& latest = LatestOf(item, part);
      Describe(item, latest, handle);
      AppendUses(desired, item, latest, part);
      items.insert(key);
      written.insert(item.key + '\n' + latest.key);
      desired.items.push_back(std::move(item));
    }
    // Items only the document has (their parts were deleted here), and uses
    // of revisions the repository does not speak for, stay as they are.
    for (const plmxml::Item& item : m_read.items) {
      if (!items.count(item.key)) desired.items.push_back(item);
    }
    for (const plmxml::Use& use : m_read.uses) {
      if (!written.count(use.parentItem + '\n' + use.parentRevision)) desired.uses.push_back(use);
    }
    return desired;
  }

 private:
  static std::string Dmid(const IUDMEntityHandle& part) { return part.GetUID(false).str().substr(0, kDmidLength); }
  static std::string Text(const IUDMEntityHandle& part, const vqString& name) {
    return part.GetAttributeValue(name).ToString().str();
  }

  // A part made in the repository is known by its part number, else by its id.
  std::string KeyOf(const IUDMEntityHandle& part) const {
    const std::string external = Text(part, kKeyPlmxmlexternalid);
    if (!external.empty()) return external;
    const std::string number = Text(part, "partnumber");
    return number.empty() ? Dmid(part) : number;
  }

  // The document revision the part's latest revision speaks for: the one of
  // its label, else a new one.
  static plmxml::Revision& LatestOf(plmxml::Item& item, const IUDMEntityHandle& part) {
    std::string label = Text(part, kKeyPlmxmloccrevision);
    if (label.empty()) label = item.revisions.empty() ? "A" : item.revisions.back().revision;
    for (plmxml::Revision& revision : item.revisions) {
      if (revision.revision == label) return revision;
    }
    plmxml::Revision added;
    added.key = label;
    added.revision = label;
    item.revisions.push_back(std::move(added));
    return item.revisions.back();
  }

  void Describe(plmxml::Item& item, plmxml::Revision& revision, const UDMItemHandle& handle) {
    const IUDMEntityHandle& part = *handle.GetEntityHandlePtr();
    revision.name = m_profile.GetDisplayName(handle).str();
    if (item.name.empty()) item.name = revision.name;
    revision.subType = Text(part, kKeyPlmxmlproductrevsubtype);
    // Titles the document already has keep their spelling.
    std::map<std::string, std::string> titleOf;
    for (const auto* values : {&item.userValues, &revision.userValues}) {
      for (const plmxml::UserValue& value : *values) titleOf[m_attributes.NameFor(value.title)] = value.title;
    }
    for (plmxml::UserValue& value : item.userValues) value.value = Text(part, m_attributes.NameFor(value.title));
    for (const vqString& name : part.GetFilteredAttributeNameList(false)) {
      if (IsMappingAttribute(name)) continue;
      const std::string value = Text(part, name);
      const auto title = titleOf.find(name.str());
      if (title == titleOf.end() && (value.empty() || value == m_defaults[name.str()])) continue;
      SetValue(revision.userValues, title == titleOf.end() ? name.str() : title->second, value);
    }
    revision.files = FilesOf(revision, handle);
  }

  static void SetValue(std::vector<plmxml::UserValue>& values, const std::string& title, const std::string& value) {
    for (plmxml::UserValue& existing : values) {
      if (existing.title == title) {
        existing.value = value;
        return;
      }
    }
    values.push_back({title, value, ""});
  }

  // Files by the path they were loaded from or added with.
  std::vector<plmxml::FileRef> FilesOf(const plmxml::Revision& revision, const UDMItemHandle& handle) {
    vqStlVector<UDMGenericDocument> files;
    m_profile.GetFileInfoList(handle, files, true);
    std::vector<plmxml::FileRef> refs;
    for (const UDMGenericDocument& file : files) {
      const std::string path = file.GetSourcePath().empty() ? file.GetName().str() : file.GetSourcePath().str();
      plmxml::FileRef ref;
      for (const plmxml::FileRef& known : revision.files) {
        if (known.path == path) ref = known;
      }
      ref.path = path;
      if (ref.format.empty()) ref.format = file.GetDescription().str();
      refs.push_back(std::move(ref));
    }
    return refs;
  }

  void AppendUses(plmxml::Document& desired, const plmxml::Item& item, const plmxml::Revision& revision,
                  IUDMEntityHandle& part) {
    std::map<std::string, const plmxml::Use*> readUses;  // by occurrence id
    for (const plmxml::Use& use : m_read.uses) {
      if (use.parentItem == item.key && use.parentRevision == revision.key) readUses[use.elementId] = &use;
    }
    vqStlVector<UDMUseInfo> uses;
    dynamic_cast<UDMCoreEntityHandle&>(part).GetUses(uses, "parts");
    for (const UDMUseInfo& info : uses) {
      plmxml::Use use;
      auto attribute = [&](const char* name) {
        auto found = info.attributes.find(name);
        return found == info.attributes.end() ? std::string() : found->second.ToString().str();
      };
      const auto known = readUses.find(attribute(kKeyPlmxmlexternalid.c_str()));
      if (known != readUses.end()) use = *known->second;
      use.parentItem = item.key;
      use.parentRevision = revision.key;
      use.childItem = m_keys[Dmid(*info.child)];
      use.childRevision = attribute(kKeyPlmxmloccrevision.c_str());
      if (use.childRevision.empty()) use.childRevision = Text(*info.child, kKeyPlmxmloccrevision);
      if (use.childRevision.empty()) use.childRevision = "A";
      use.transform = attribute(kKeyTrfmtx.c_str());
      for (const auto& [name, title] : kUseTitles) {
        const std::string value = attribute(name.c_str());
        if (value.empty()) continue;
        std::string spelled = title;
        for (const plmxml::UserValue& existing : use.userValues) {
          if (vqString(existing.title).EqualsNoCase(title) ||
              (name == "findnumber" && vqString(existing.title).EqualsNoCase("FindNumber")) ||
              (name == "refdes" && vqString(existing.title).EqualsNoCase("RefDes"))) {
            spelled = existing.title;
          }
        }
        SetValue(use.userValues, spelled, value);
      }
      desired.uses.push_back(std::move(use));
    }
  }

  IUDMProfile& m_profile;
  const plmxml::Document& m_read;
  PartAttributes& m_attributes;
  LoadState& m_state;
  std::map<std::string, std::string> m_defaults;
  std::map<std::string, std::string> m_keys;  // part id -> item key
};

}  // namespace

plmxml::Document RepositoryModel(IUDMProfile& profile, const plmxml::Document& read, PartAttributes& attributes,
                                 LoadState& state) {
  return ModelBuilder(profile, read, attributes, state).Build();
}

}  // namespace vqkudm::connect
