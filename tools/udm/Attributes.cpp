#include "Attributes.h"

#include <map>

#include "Output.h"

namespace udm {

nlohmann::json AttributesJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item) {
  vqStlVector<vqkudm::UDMAttributeDefinitionHandle> definitions;
  profile.GetProfileUtils().GetContentDefinitionHandle(item.GetCdef()).GetAttributeDefinitions(definitions);
  nlohmann::json out = nlohmann::json::array();
  for (const vqkudm::UDMAttributeDefinitionHandle& definition : definitions) {
    if (definition.IsSystem() && definition.GetName() != "smd_name") continue;
    out.push_back({{"name", definition.GetName().str()},
                   {"type", definition.GetDataType().str()},
                   {"value", ValueJson(item.GetAttributeValue(definition.GetName()))}});
  }
  return out;
}

std::vector<AttributeChange> AttributeChanges(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& before,
                                              const vqkudm::UDMItemHandle& after) {
  // A definition may have gained attributes between the two: each side
  // answers for the attributes its definition has.
  std::map<std::string, nlohmann::json> old;
  for (const nlohmann::json& attribute : AttributesJson(profile, before)) old[attribute["name"]] = attribute["value"];
  std::vector<AttributeChange> changes;
  for (const nlohmann::json& attribute : AttributesJson(profile, after)) {
    const std::string name = attribute["name"];
    auto found = old.find(name);
    const nlohmann::json previous = found == old.end() ? nlohmann::json() : found->second;
    if (previous != attribute["value"]) changes.push_back({name, previous, attribute["value"]});
    if (found != old.end()) old.erase(found);
  }
  for (const auto& [name, value] : old) {
    if (!value.is_null()) changes.push_back({name, value, nullptr});
  }
  return changes;
}

}  // namespace udm
