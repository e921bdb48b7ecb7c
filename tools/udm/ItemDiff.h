#pragma once

// What differs between two states of an item (two revisions, a revision and
// the working copy, or two items), and down its structure.
//
// A stored revision's uses name their children, not a child revision: they
// lead to the child's latest revision, so each side's children are compared
// at the state that side reaches (the latest stored revision, or the working
// copy for a side read with the user's work). Relations are kept per item,
// not per revision: two states of one item share them.

#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <vqkudm/IUDMProfile.h>

#include "Attributes.h"

namespace udm {

// One state of an item, read in the session `profile`; stored revisions are
// read in a session that took up no drafts, since the user's session answers
// a checked-out revision with the draft.
struct DiffSide {
  vqkudm::IUDMProfile* profile = nullptr;  // null: no such state (a new item, before revision 0)
  vqkudm::UDMItemHandle item;
  bool workingCopy = false;
};

struct UseChange {
  nlohmann::json use;  // the use after (UseJson)
  std::vector<AttributeChange> attributes;
};

struct FileChange {
  std::string name;
  nlohmann::json before;  // {"name", "size", "contentKey", "external"}
  nlohmann::json after;
};

struct ItemDifferences {
  std::string path;        // of the item after (before when it is absent after)
  std::string beforePath;  // differs from `path` when two items are compared
  nlohmann::json before;   // item (ItemJson) + "workingCopy"; null when absent
  nlohmann::json after;
  std::vector<AttributeChange> attributes;
  nlohmann::json usesAdded = nlohmann::json::array(), usesRemoved = nlohmann::json::array();
  std::vector<UseChange> usesChanged;
  nlohmann::json filesAdded = nlohmann::json::array(), filesRemoved = nlohmann::json::array();
  std::vector<FileChange> filesChanged;
  nlohmann::json relationsAdded = nlohmann::json::array(), relationsRemoved = nlohmann::json::array();
  nlohmann::json classificationsAdded = nlohmann::json::array(), classificationsRemoved = nlohmann::json::array();

  bool Empty() const;
};

// The differences of `after` from `before`, named `path` (and `beforePath`
// for `before`): the item's own first, then with `recursive` those of each
// child both sides use (matched as uses are), depth first under its path.
// A child reached again through another use is compared once. Items without
// differences below the first are left out.
std::vector<ItemDifferences> CompareItems(const DiffSide& before, const DiffSide& after, const std::string& path,
                                          const std::string& beforePath, bool recursive);

}  // namespace udm
