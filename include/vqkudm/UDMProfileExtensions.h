#pragma once

// What a tool that works across processes needs beyond IUDMProfile: the
// profile keeps a user's work only for the life of its session, while
// IUDMProfile::Save leaves drafts that a later session of the same user may
// take up again.

#include <cstddef>

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudm/vqkudmApi.h>

namespace vqkudm {

// One item of the user's saved work, taken up by the profile's session.
struct UDMResumedWork {
  UDMItemHandle item;
  // Never checked in: the draft is the item's only state.
  bool isNew = false;
  // Its attributes, structure, classifications or files differ from the
  // stored revision it was checked out from (always true for a new item).
  bool modified = false;
};

class VQKUDM_API UDMProfileExtensions {
 public:
  // Takes up in the profile's session the drafts its user saved in earlier
  // sessions (UDMSession::ResumeDrafts): the user's check-out locks move to
  // this session, and every draft becomes a checked-out item again (a new
  // one when it was never checked in), so it can be edited, saved, checked
  // in or undone here. Drafts the session holds already are skipped.
  // Appends one entry per item taken up. Raises when the profile is null or
  // its session gone, and when a draft is of a definition the session's
  // schema lacks.
  static void ResumeSavedWork(const boost::shared_ptr<IUDMProfile>& profile, vqStlVector<UDMResumedWork>& out);

  // Appends the latest revisions of the stored items and categories no
  // item uses, oldest first, found in one query per kind. The Core
  // profile's GetRootEntityHandle walks up from one item only.
  static void RootItems(const boost::shared_ptr<IUDMProfile>& profile, vqStlVector<UDMItemHandle>& out);

  // The characters an item name may not hold; setting such a name raises.
  static vqString ReservedNameCharacters();

  // Writes the package (docs/package.md) of these items with everything
  // they need at `path`, an absolute path: a directory that must not exist
  // or be empty, or the archive `format` names. IUDMProfile::Export takes
  // whole definitions only. Raises when an item is not in the repository.
  // `progress`, when set, hears each stage: "contents" once per file
  // content written, then "manifest".
  static void ExportItems(const boost::shared_ptr<IUDMProfile>& profile, const vqStlVector<UDMItemHandle>& items,
                          const vqString& path, ExportFileOptions format,
                          const UDMExchangeProgress& progress = UDMExchangeProgress());

  // IUDMProfile::Import, telling `progress` of each stage: "contents" once
  // per file content checked, then "records" once everything is stored.
  // Returns how many items were new to the repository.
  static std::size_t ImportPackage(const boost::shared_ptr<IUDMProfile>& profile, const vqString& path,
                                   const UDMExchangeProgress& progress);
};

}  // namespace vqkudm
