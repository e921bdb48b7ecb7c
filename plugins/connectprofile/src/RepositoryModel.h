#pragma once

// The PLM XML model of what the working repository holds now, for writing
// the document back: the document as it was read, with each part's latest
// revision, its attributes, files and uses as the repository has them.

#include <vqkudm/IUDMProfile.h>

#include "PartAttributes.h"
#include "PlmxmlModel.h"
#include "PlmxmlPackage.h"

namespace vqkudm::connect {

// `read` is the document as it is; `state` says which part each of its
// items was loaded into, and learns the parts made in the repository.
// Revisions other than each part's latest stay as the document has them.
plmxml::Document RepositoryModel(IUDMProfile& profile, const plmxml::Document& read, PartAttributes& attributes,
                                 LoadState& state);

}  // namespace vqkudm::connect
