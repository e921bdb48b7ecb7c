#pragma once

// An item's user-visible attributes, and what changed between two states.

#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <vqkudm/IUDMProfile.h>

namespace udm {

// [{"name", "type", "value"}] in the order of the item's definition; system
// attributes left out, except the name.
nlohmann::json AttributesJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item);

struct AttributeChange {
  std::string name;
  nlohmann::json before;  // null: not set
  nlohmann::json after;
};

// The attributes whose values differ between `before` and `after` (two
// revisions, or a revision and a working copy), by name.
std::vector<AttributeChange> AttributeChanges(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& before,
                                              const vqkudm::UDMItemHandle& after);

}  // namespace udm
