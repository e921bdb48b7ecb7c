#pragma once

// A PLM XML document as an exchange package (docs/package.md), so that the
// profile's Import loads it in one transaction: one part per item with a
// revision per document revision, its files, and its uses as versioned links.

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "PartAttributes.h"
#include "PlmxmlModel.h"

namespace vqkudm::connect {

// The data-model id of the part an item key becomes: the same key, the same
// part, in every load.
std::string PartId(const std::string& itemKey);

// A document revision that was loaded into (or written from) its part.
struct LoadedRevision {
  std::string label;        // the document's revision label
  std::string fingerprint;  // of what the revision brought
};
struct LoadedItem {
  std::string id;                         // the part's data-model id
  std::vector<LoadedRevision> revisions;  // in the order they were loaded, the latest last
};
// What earlier loads brought, by item key.
using LoadState = std::map<std::string, LoadedItem>;
// The latest stored revision of a part, -1 when there is none.
using LatestRevision = std::function<int(const std::string& id)>;

// Writes manifest.json and the contents of the files that exist into
// `directory`, which must exist and be empty: the parts of new items, and
// of items whose revisions differ from what `state` says was loaded, with
// their new revisions only, numbered after the part's latest. `state` is
// brought up to date. Values are converted through `attributes`, which
// learns the titles the definition lacks. `user` is the creator and
// modifier recorded, `comment` each revision's check-in comment. Returns
// how many parts it holds.
size_t WritePackage(const plmxml::Document& document, PartAttributes& attributes, LoadState& state,
                    const LatestRevision& latestRevision, const std::string& user, const std::string& comment,
                    const std::string& directory);

// Records everything `document` holds as loaded, so that a document
// written from the repository does not come back as changes.
void RecordLoaded(const plmxml::Document& document, PartAttributes& attributes, LoadState& state);

}  // namespace vqkudm::connect
