#pragma once

// An item: an entity that takes part in the product structure. Children are
// kept in the named child groups of the item's definition; a link belongs to
// the parent and is versioned with it.

#include <list>
#include <map>
#include <set>
#include <vector>

#include <vqkudmrt/UDMAbstractBaseEntity.h>
#include <vqkudmrt/UDMGenericDocument.h>

namespace vqkudm {

class ICondition;
class UDMClassification;
class UDMItem;
class UDMRelation;
using UDMItemPtr = boost::shared_ptr<UDMItem>;

// One use of a child by a parent: its own link, with the use attributes its
// group declares. The identifier stays the same across the parent's revisions.
struct UDMChildUse {
  vqString useId;
  vqString group;
  boost::shared_ptr<UDMItem> child;
  vqStlMap<vqString, vqVariant> attributes;
};

// An ancestor found by where-used: its level (1 = direct parent), the group
// of its links and how many uses it makes of the entities one level below.
struct UDMWhereUsed {
  boost::shared_ptr<UDMItem> parent;
  int level = 0;
  vqString group;
  int uses = 0;
};

// Recursion of persisting and saving: the entity alone, or with its whole
// child structure.
enum GDMRecurseOption { GDM_RECURSE_NONE = 0, GDM_RECURSE_CHILDREN = 1, GDM_RECURSE_ALL = 2 };

class VQKUDMRT_API UDMItem : public UDMAbstractBaseEntity {
 public:
  ~UDMItem() override;

  // Whether the item's definition makes it a prototype (udm_isProto) or an
  // occurrence of one (udm_isProtoOcc).
  bool IsPrototype() const;
  bool IsOccurrence() const;

  // Adds a use of `child` to `group` of this item (checked out) and returns
  // the child. In a group that admits several uses of one child
  // (multipleuses) every call adds a use; elsewhere a child already used
  // there is left as it is. Refuses a group the definition does not have or
  // that does not admit the child's definition, the item itself, a child
  // that would close a cycle, a second parent where the child's definition
  // forbids it, another entity of the same name where the group forbids
  // duplicate names, and a child of another repository.
  UDMItemPtr AddChild(const UDMItemPtr& child, const vqString& group);
  // The same with the use's attributes (checked against the group's use
  // attributes; the others take their defaults); returns the use's identifier.
  vqString AddUse(const UDMItemPtr& child, const vqString& group,
                  const vqStlMap<vqString, vqVariant>& attributes);
  // Removes the last use of `child`.
  void RemoveChild(const UDMItemPtr& child);
  void RemoveUse(const vqString& useId);
  // Sets an attribute of one use; an empty value clears it.
  void SetUseAttribute(const vqString& useId, const vqString& name, const vqVariant& value);
  // Children in the group ("" for every group), once per use, in the order
  // the uses were added.
  void GetChildren(vqStlVector<UDMItemPtr>& out, const vqString& group);
  // The uses in the group ("" for every group), in the same order.
  void GetUses(vqStlVector<UDMChildUse>& out, const vqString& group);
  // The group of the first use of `child`, or empty.
  vqString GetChildGroup(const UDMItemPtr& child);

  // The first parent, or null when the item is a root.
  UDMItemPtr GetParent();
  bool HasParent();
  bool IsRootEntity();
  // Ancestors up to `level` levels (<= 0: all), nearest first, each once,
  // through stored links and the links of this session not stored yet.
  void GetParents(vqStlVector<UDMItemPtr>& out, int level);
  // Where-used from the repository (stored links only), up to `level`
  // levels (<= 0: all): level -> (ancestor, group of its links), every
  // ancestor at every level it is reached at.
  void GetParentsFromDB(std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>>& out,
                        int level, int reserved);
  // The same with the number of uses, nearest level first. One query.
  void GetWhereUsed(vqStlVector<UDMWhereUsed>& out, int level);
  // The nearest ancestor that is a folder (of the folder-type definition or
  // one derived from it); null when the item is in no folder.
  UDMItemPtr GetFolder();
  // The top of the item's first-parent chain (the item itself for a root).
  UDMItemPtr GetRootEntity(bool followFirstParent = true);

  // Named references to other items, kept with the item's revision.
  void AddReference(const UDMItemPtr& target, const vqString& name);
  // The referenced items, with `name` or ("") any name.
  void GetReferences(vqStlVector<UDMItemPtr>& out, const vqString& name);
  void RemoveReference(const UDMItemPtr& target);
  // The stored items that reference this one, with the names they use.
  void GetReferredBy(vqStlVector<UDMItemPtr>& items, vqStlVector<vqString>& names);

  // Categories the item is classified under, kept with the item's revision.
  // A category not stored yet is stored with the item's classification when
  // both are checked in, in either order.
  void AddClassification(const boost::shared_ptr<UDMClassification>& category);
  void RemoveClassification(const boost::shared_ptr<UDMClassification>& category);
  // With `withParents`, also the categories above them, each once.
  void GetClassifications(vqStlVector<boost::shared_ptr<UDMClassification>>& out, bool withParents);

  // Stored relations of the item: direction 1 where it is the right end, 2
  // where it is the left end, anything else both; oldest first.
  void GetRelations(vqStlVector<boost::shared_ptr<UDMRelation>>& out, int direction);
  // The same, keeping only relations whose left item meets `leftCondition`
  // and whose right item meets `rightCondition` (null: any). The ends are
  // tested in their latest revisions with `latestEnds`, else in the
  // revisions the relation was made with.
  void GetRelations(vqStlVector<boost::shared_ptr<UDMRelation>>& out, int direction,
                    const boost::shared_ptr<ICondition>& leftCondition,
                    const boost::shared_ptr<ICondition>& rightCondition, bool latestEnds);

  // Takes the check-out lock so that this session may edit the item. Of two
  // sessions only one wins; the other's error names the holder. Checking out
  // a revision that is not the latest starts a branch where the definition
  // allows branching (udm_CanBranch) and is refused otherwise. New and
  // already checked-out items are left as they are.
  void CheckOut(const vqString& comment);
  // Drops the working changes, any saved draft and the lock, and returns to
  // the stored revision; with GDM_RECURSE_ALL also for the checked-out items
  // below. An item never persisted is discarded with the relations and
  // classifications made with it, and leaves its new or checked-out parents;
  // with GDM_RECURSE_ALL so are the new items below it that have no other
  // parent. Refused when the item is not checked out.
  void UndoCheckOut(int revision, GDMRecurseOption recursion);
  // Writes the working state of a checked-out item (and with GDM_RECURSE_ALL
  // of the new or checked-out items below it) to the repository as drafts,
  // in one transaction; the item stays checked out and the lock is kept. The
  // drafts are invisible to everyone but their user, who takes them up again
  // with UDMSession::ResumeDrafts; persisting or undoing removes them.
  // `revision` -1 means the current one.
  void Save(const vqString& comment, GDMRecurseOption recursion, int revision);
  // Checks the item in, with GDM_RECURSE_ALL together with the new and
  // checked-out items below it, in one transaction: a new item becomes
  // revision 0, a checked-out one revision latest+1 (a branch: revision 0 of
  // a new identifier), and this object takes the new identifier. The lock is
  // released unless `keepCheckedOut`. Mandatory attributes must have values;
  // `comment` is kept with the revision. `revision` -1 means the current one.
  void Persist(const vqString& comment, GDMRecurseOption recursion, int revision, bool keepCheckedOut,
               bool notify);

  // Files, kept with the revision; contents go to the repository's vault.
  // A file name is a plain name (no path separator, not "." or ".."); a
  // folder is a relative sub-folder ("" or "/" for the top) used when files
  // are fetched. The definition's minimum and maximum file numbers hold.
  //
  // Adds the file at `path` under its own name: its bytes are copied into the
  // vault (hashed on the way), or, `external`, only recorded. The file's own
  // modification time is kept with `keepModifiedTime`, else the time of
  // adding. Raises ExcSubFileExists when the item already has a file of that name.
  void AddFile(const vqString& path, bool keepModifiedTime, bool external, const vqString& folder);
  void AddExternalFile(const vqString& path, int size, const vqString& fileName, const vqString& lastModTime);
  // Replaces the content of the item's file of the same name.
  void UpdateFile(const vqString& path);
  // Updates the file of that name, or adds it when the item has none.
  void ReAddFile(const vqString& path, bool keepModifiedTime, bool external);
  void RemoveFile(const vqString& name);
  // The item's files in the order they were added; external ones with `includeExternal`.
  void GetFileInfoList(vqStlVector<UDMGenericDocument>& out, bool includeExternal);
  // Writes the item's kept files (all, or only `name`) under `folder`, each
  // in its sub-folder, and appends the paths written. Existing files are
  // replaced only with `overwrite`; missing folders are made with
  // `createFolders`. A name or folder that would land outside `folder` is refused.
  void GetAllFilesIntoFolder(const vqString& folder, const bool& overwrite, vqStlVector<vqString>& out,
                             const vqString& name, bool createFolders);
  // The same into the session's workspace, under `subFolder`.
  void GetAllFilesIntoWorkspace(const bool& overwrite, vqStlVector<vqString>& out, const vqString& subFolder,
                                const vqString& name);
  // Preview images: one of them is the item's default, the first one added
  // unless another is made so. `replace` lets an image replace one of the same name.
  void AddPreviewImage(const vqString& imagePath, const vqString& name, const vqlm::ImageType& type,
                       const vqString& description, bool makeDefault, bool replace);
  void RemovePreviewImage(const vqString& name);
  void SetDefaultPreviewImage(const vqString& name);
  void GetPreviewImages(vqStlVector<UDMGenericDocument>& out);
  // Writes the preview image `name` into `folder` (made when missing),
  // replacing a file there, and returns the path written.
  vqString GetPreviewImageIntoFolder(const vqString& name, const vqString& folder);

  // The versioned URL of this revision, through first parents up to the
  // root. With `storedOnly` it raises when the item or an ancestor is not
  // persisted (no one else could resolve it); otherwise new entities take
  // part with revision 0.
  vqString GetUrlPath(bool storedOnly);
  // Makes this item findable by its URL in its session before it is stored.
  void CreateUrlPath(bool storedOnly);
  // The URL of the latest revision of the first parent; left empty for a root.
  void GetLatestParentUrl(vqString& out);

  // Whether this item meets the condition exactly as a query would decide
  // it for the item's stored state (a null condition: always).
  bool DoesConditionMatch(const boost::shared_ptr<ICondition>& condition, bool ignoreCase = false) const;

  // Every stored revision of the item, oldest first; this object stands for
  // its own revision.
  vqStlVector<UDMItemPtr> GetAllRevisions();
  // The revision this item's line was branched from; null for a main line.
  UDMItemPtr GetBranchedFrom();
  // The latest revision of each branch started from this revision, oldest branch first.
  vqStlVector<UDMItemPtr> GetBranchedTo();

 protected:
  UDMItem(const boost::shared_ptr<UDMSession>& session, const boost::shared_ptr<UDMContentDefinition>& cdef,
          UDMUID uid);

 private:
  struct ChildLink {
    vqString group;
    vqString childDmid;
    vqString useId;
    std::int64_t position = 0;
    vqStlMap<vqString, vqVariant> attributes;
  };
  struct NamedTarget {
    vqString name;
    vqString dmid;
  };

  void LoadLinks();
  void LoadTargets();
  void CollectBatch(const char* signature, const vqString& what, GDMRecurseOption recursion, int revision,
                    std::vector<UDMItemPtr>& batch, std::set<const UDMItem*>& inBatch);
  // Returns to the stored state of the current revision, forgetting all working changes.
  void ReloadStoredState();
  void LoadFiles();
  // Index of the document of that kind and name in m_files, or -1.
  int FindDocument(bool preview, const vqString& name);
  // Writes one kept file or image under `folder`, refusing a record that
  // would land outside it; empty when the file exists and `overwrite` is off.
  static vqString WriteDocument(const char* signature, UDMSession& session, const UDMGenericDocument& d,
                                const vqString& folder, bool overwrite);
  // A new document for the file at `path`, its bytes staged in the vault.
  UDMGenericDocument StageDocument(const char* signature, const vqString& path, const vqString& name,
                                   bool keepModifiedTime);
  void CheckFileNumbers(const char* signature, std::size_t files) const;
  // Publishes the contents the items' documents use that this session staged;
  // inside the transaction that records them.
  static void PublishContents(UDMSession& session, const std::vector<UDMItemPtr>& items);
  // The working state as JSON text, and back (UDMItemDraft.cpp).
  vqString EncodeDraft() const;
  void RestoreDraft(const vqString& state);
  // Whether a draft of this stored revision holds other work than it does.
  bool DraftDiffersFromStored(const vqString& draft);
  UDMItemPtr Resolve(const vqString& dmid) const;
  void CollectForPersist(const vqString& what, GDMRecurseOption recursion, std::vector<UDMItemPtr>& batch,
                         std::set<const UDMItem*>& inBatch);
  bool IsAncestorOf(const UDMItem& item);

  // A use's link, or end() (UDMItemStructure.cpp).
  std::vector<ChildLink>::iterator FindUse(const char* signature, const vqString& useId);
  void DropUse(std::vector<ChildLink>::iterator use, const UDMItemPtr& child);
  // Tells `child` that this item no longer uses it through links not stored yet.
  void LeavePendingParentOf(UDMItem& child) const;
  // Refuses an entity of another session (and so of another repository).
  void RequireSameSession(const char* signature, const UDMAbstractBaseEntity& other) const;
  // The stored children of this revision by data-model id, in one query.
  std::map<vqString, UDMItemPtr> StoredChildren(const vqString& group);
  // Forgets this never-stored item in its session (UndoCheckOut).
  void Discard(GDMRecurseOption recursion);

  std::vector<ChildLink> m_childLinks;
  // Uses per group + '/' + child id, for constant-time membership.
  std::map<vqString, int> m_useCounts;
  std::int64_t m_nextPosition = 0;
  bool m_linksLoaded = false;
  // Names of the children per group, built on the first addition to a group
  // that forbids duplicate names, so each addition checks in constant time.
  std::map<vqString, std::multiset<vqString>> m_childNames;
  std::vector<NamedTarget> m_references;
  std::vector<vqString> m_categories;
  bool m_targetsLoaded = false;
  std::vector<UDMGenericDocument> m_files;  // files, then preview images
  bool m_filesLoaded = false;
  // While a check-out of an older revision is pending: that revision, which
  // the persist records as the branch's origin.
  UDMUID m_branchSource;
  // Parents through links not yet stored (links of new or checked-out parents).
  std::vector<boost::weak_ptr<UDMItem>> m_pendingParents;
  // Where the session's cache of recently used entities holds this one, so
  // that using it again costs no lookup.
  std::list<boost::shared_ptr<UDMItem>>::iterator m_recentPosition;
  bool m_inRecent = false;

  friend class UDMSession;
};

}  // namespace vqkudm
