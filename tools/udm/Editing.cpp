#include "Editing.h"

#include "Failure.h"

namespace udm {

namespace {

bool IsA(vqkudm::UDMProfileUtils& utils, vqString cls, const vqString& base) {
  for (int depth = 0; !cls.empty() && depth < 64; ++depth) {
    if (cls == base) return true;
    vqkudm::UDMContentDefinitionHandle definition = utils.GetContentDefinitionHandle(cls);
    if (definition.IsEmpty()) return false;
    cls.clear();
    definition.GetDerivedFrom(cls);
  }
  return false;
}

}  // namespace

void RequireEditable(const ItemNames& names, const vqkudm::UDMItemHandle& item, const std::string& command) {
  if (item.IsEditable()) return;
  Refuse(command, "\"" + names.PathOf(item) + "\" is not checked out: run `udm checkout " + names.PathOf(item) + "` first",
         vqkudm::ExcSubGeneral);
}

std::pair<std::string, std::string> Assignment(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) throw UsageError("\"" + text + "\" is not attr=value");
  return {text.substr(0, equals), text.substr(equals + 1)};
}

void Assign(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item,
            const std::vector<std::string>& assignments) {
  for (const std::string& text : assignments) {
    const auto [name, value] = Assignment(text);
    profile.SetAttribute(item, name, vqVariant(value));
  }
}

std::string DefaultGroup(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& parent, const std::string& cls,
                         const std::string& command) {
  vqkudm::UDMProfileUtils utils = profile.GetProfileUtils();
  vqStlVector<vqString> groups;
  utils.GetGroupNames(parent.GetCdef(), groups, "");
  for (const vqString& group : groups) {
    vqStlVector<vqString> allowed;
    utils.GetAllowedChildCdefNames(parent.GetCdef(), allowed, group);
    if (allowed.empty()) return group;
    for (const vqString& type : allowed) {
      if (IsA(utils, cls, type)) return group;
    }
  }
  Refuse(command, "no child group of " + parent.GetCdef() + " admits " + cls, vqkudm::ExcSubNotFound);
}

}  // namespace udm
