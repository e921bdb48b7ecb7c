#pragma once

// What a tool that works across processes needs beyond IUDMProfile: the
// profile keeps a user's work only for the life of its session, while
// IUDMProfile::Save leaves drafts that a later session of the same user may
// take up again.

#include <cstddef>
#include <cstdint>
#include <functional>

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMQuerySettingHandle.h>
#include <vqkudm/vqkudmApi.h>
#include <vqkudmrt/UDMIntegrity.h>

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

// One entry of the repository's change log (docs/repository.md, "Change
// notification"), with what can still be found of its item.
struct UDMLoggedChange {
  std::int64_t sequence = 0;
  // When it was logged, UTC, as "2026-11-24T05:01:17.221Z".
  vqString time;
  // The session that made it.
  vqString sessionId;
  // SignalOptionName of its kind: "persisted", "checked out", "deleted", ...
  vqString kind;
  // The revision it is about, and for a child added or removed the child.
  vqString itemId;
  vqString childId;
  int revision = 0;
  // Whether the revision is still in the repository: an obliterated one is
  // known by its identifier only, and then name and cdef are empty.
  bool resolved = false;
  vqString name;
  vqString cdef;
  // Who stored the revision, for the changes that store one (persisted,
  // created); the log keeps no user for the others.
  vqString user;
};

class VQKUDM_API UDMProfileExtensions {
 public:
  // The change log, for a tool that follows the repository. The sequence
  // number of the newest change, 0 while there is none: ChangesAfter it
  // yields what comes next.
  static std::int64_t LastChangeSequence(const boost::shared_ptr<IUDMProfile>& profile);
  // The sequence number to read after for the changes logged later than
  // `time`: ISO 8601, "2026-11-24T05:00:00Z", with an optional fraction and
  // "Z" or an offset ("+01:00"; UTC without). Raises for another form.
  static std::int64_t ChangeSequenceBefore(const boost::shared_ptr<IUDMProfile>& profile, const vqString& time);
  // Appends the changes other sessions logged after `afterSequence`, oldest
  // first. With none yet, waits up to `timeoutMs` for some: where the
  // database sends notifications (PostgreSQL) it listens and costs no query
  // until a change is committed; elsewhere it reads again every 200 ms.
  // `stop`, when set, is asked at least every 250 ms of waiting and ends the
  // wait when it says so.
  static void ChangesAfter(const boost::shared_ptr<IUDMProfile>& profile, std::int64_t afterSequence, int timeoutMs,
                           vqStlVector<UDMLoggedChange>& out, const std::function<bool()>& stop = {});

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

  // The first child group of the definition `parentCdef` that admits items
  // of `childCdef` or of a definition it derives from (a group naming no
  // definitions admits any); empty when none does.
  static vqString ChildGroupFor(const boost::shared_ptr<IUDMProfile>& profile, const vqString& parentCdef,
                                const vqString& childCdef);

  // How many items IUDMProfile::QueryEntitiesPaginated would page through
  // for `query` and `settings`, counted by the database without fetching them.
  static std::uint64_t CountQueryMatches(const boost::shared_ptr<IUDMProfile>& profile, const vqString& query,
                                         const UDMQuerySettingHandle& settings, bool allRevisions);

  // The item's preview images, in the order they were added; IsDefault
  // marks the default one. GetFileInfoList lists the other files only.
  static void PreviewImages(const boost::shared_ptr<IUDMProfile>& profile, const UDMItemHandle& item,
                            vqStlVector<UDMGenericDocument>& out);
  // Writes the item's preview image `name` into `folder` (made when
  // missing), replacing a file of that name there; returns the path written.
  static vqString FetchPreviewImage(const boost::shared_ptr<IUDMProfile>& profile, const UDMItemHandle& item,
                                    const vqString& name, const vqString& folder);

  // The versioned URL of the item's revision, "/repository/root~v1/group/
  // child~v0/", through first parents; new items take part with revision 0.
  // UDMItemHandle::GetUrl is empty unless the session works by URL.
  static vqString VersionedUrlOf(const boost::shared_ptr<IUDMProfile>& profile, const UDMItemHandle& item);

  // UDMSession::VerifyRepository: checks every invariant of the
  // repository and reports each finding; with `pruneContents` the file
  // contents nothing refers to are removed (nothing else ever is).
  static UDMIntegrityReport VerifyRepository(const boost::shared_ptr<IUDMProfile>& profile, bool pruneContents);

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

  // The package form a path names: a .tar.gz or .tgz, .tar or .zip
  // archive by its extension, else a directory.
  static ExportFileOptions PackageFormatOf(const vqString& path);

  // IUDMProfile::Import, telling `progress` of each stage: "contents" once
  // per file content checked, then "records" once everything is stored.
  // Returns how many items were new to the repository.
  static std::size_t ImportPackage(const boost::shared_ptr<IUDMProfile>& profile, const vqString& path,
                                   const UDMExchangeProgress& progress);
};

}  // namespace vqkudm
