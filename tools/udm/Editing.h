#pragma once

// What the commands that change an item share: the check-out rule, the
// attr=value arguments and the group a new child goes to.

#include <string>
#include <utility>
#include <vector>

#include "ItemNames.h"

namespace udm {

// Refuses `command` unless the item is checked out or new, naming the checkout that would allow it.
void RequireEditable(const ItemNames& names, const vqkudm::UDMItemHandle& item, const std::string& command);
// "attr=value" split at the first "="; a UsageError without one.
std::pair<std::string, std::string> Assignment(const std::string& text);
// Sets each "attr=value" as text; the attribute's definition converts it.
void Assign(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item,
            const std::vector<std::string>& assignments);
// The first child group of the parent's definition that admits `cls`;
// refused, naming `command`, when none does.
std::string DefaultGroup(const OpenRepository& repository, const vqkudm::UDMItemHandle& parent, const std::string& cls,
                         const std::string& command);

}  // namespace udm
