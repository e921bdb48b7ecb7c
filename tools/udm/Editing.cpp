#include "Editing.h"

#include "Failure.h"

namespace udm {

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

std::string DefaultGroup(const OpenRepository& repository, const vqkudm::UDMItemHandle& parent, const std::string& cls,
                         const std::string& command) {
  const vqString group = vqkudm::UDMProfileExtensions::ChildGroupFor(repository.pointer(), parent.GetCdef(), cls);
  if (group.empty()) Refuse(command, "no child group of " + parent.GetCdef() + " admits " + cls, vqkudm::ExcSubNotFound);
  return group.str();
}

}  // namespace udm
