#pragma once

// The parts of an item as the commands show them: its uses of children,
// files, relations and categories, each as a JSON array.

#include <nlohmann/json.hpp>
#include <vqkudm/IUDMProfile.h>

namespace udm {

// [use] (UseJson) in every group, in order.
nlohmann::json UsesJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item);
// [{"name", "size", "contentKey", "external"}]
nlohmann::json FilesJson(vqkudm::IUDMProfile& profile, vqkudm::UDMItemHandle& item);
// [{"id", "type", "left", "right"}], the ends as items; both directions.
nlohmann::json RelationsJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item);
// [item]: the categories the item is classified under directly.
nlohmann::json ClassificationsJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item);

}  // namespace udm
