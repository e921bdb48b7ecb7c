#pragma once

// The concrete handles of the core profile. An entity handle wraps one core
// item without owning it: the session owns its entities and may drop one
// nobody uses. The handle keeps the identifier, definition and (in URL mode)
// the versioned URL, and finds the entity again through the session on the
// next use. A relation handle is never looked up again: relations live as
// long as their session.

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudm/UDMHandle.h>
#include <vqkudm/UDMHistoryNode.h>
#include <vqkudmrt/UDMGenericDocument.h>
#include <vqkudmrt/UDMRelation.h>

namespace vqkudm {

class UDMContentDefinition;

// One use of a child by a parent: a link of its own, with the use attributes
// of its group (a quantity, a placement, a find number).
struct UDMUseInfo {
  vqString useId;  // the same in every revision of the parent
  vqString group;
  boost::shared_ptr<IUDMEntityHandle> child;
  vqStlMap<vqString, vqVariant> attributes;
};

// An ancestor found by where-used: its level (1 = direct parent), the group
// of its links and how many uses it makes of the entities one level below.
struct UDMWhereUsedInfo {
  boost::shared_ptr<IUDMEntityHandle> parent;
  int level = 0;
  vqString group;
  int uses = 0;
};
class UDMItem;
class UDMSession;

class VQKUDM_API UDMCoreEntityHandle : public IUDMEntityHandle,
                                       public boost::enable_shared_from_this<UDMCoreEntityHandle> {
 public:
  // Raises when `iItemPtr` is null.
  static bool CreateInstance(boost::shared_ptr<IUDMEntityHandle>& out, const boost::shared_ptr<UDMItem>& iItemPtr);
  UDMCoreEntityHandle(const UDMCoreEntityHandle&) = default;
  UDMCoreEntityHandle& operator=(const UDMCoreEntityHandle&) = default;

  vqString GetUrl() const override;
  vqString GetUID(bool refresh) const override;
  vqString GetCdef() const override;
  const vqVariant GetAttributeValue(const vqString& name) const override;
  const vqStlVector<vqString> GetFilteredAttributeNameList(const bool includeSystem) const override;
  bool IsEditable() const override;
  bool IsModified() const override;
  bool IsDeleted() const override;
  int GetRevision() const override;
  bool IsLatestVersion() const override;
  int GetLatestRevision() const override;
  const vqStlVector<vqString> GetFileNameList() const override;
  const vqVariant GetCreatedBy() const override;
  const vqVariant GetCreationTime() const override;
  const vqVariant GetModifiedBy() const override;
  const vqVariant GetModifiedTime() const override;
  bool IsOccurrence() const override;
  bool IsPrototype() const override;
  // False also when the core cannot tell.
  bool hasparent() const override;
  bool IsRootEntity() const override;
  ~UDMCoreEntityHandle() override;

  vqString ToString() const override;

  bool SetAttribute(const vqString& name, const vqVariant& value);
  vqString GetDisplayName() const;
  void SetDisplayName(const vqString& name);
  boost::shared_ptr<UDMContentDefinition> GetContentDefinition();

  // Files and preview images.
  void AddFile(const vqString& path);
  void UpdateFile(const vqString& newFilePath) const;
  void ReAddFile(const vqString& path, bool keepModifiedTime, bool external);
  void RemoveFile(const vqString& name);
  void GetFileInfoList(vqStlVector<UDMGenericDocument>& out, bool includeExternal);
  void GetAllFilesIntoFolder(const vqString& folder, const bool& overwrite, vqStlVector<vqString>& out);
  void GetAllFilesIntoWorkspace(const bool& overwrite, vqStlVector<vqString>& out);
  void AddPreviewImage(const vqString& imagePath, const vqString& name, const vqlm::ImageType& type,
                       const vqString& description, bool makeDefault, bool replace);
  void RemovePreviewImage(const vqString& name);
  void SetDefaultPreviewImage(const vqString& name);
  // The one file of a data-source file entity, fetched into `folder` as `fileName`.
  void RetrieveFilesIntoFolder(const vqString& folder, vqStlVector<vqString>& out, const vqString& fileName);
  // The files of the file entities below this one (and its own, when it is one).
  void RetrieveFilesIntoFolder(const vqString& folder, const bool& overwrite, const bool& reserved,
                               vqStlVector<vqString>& out);
  void RetrieveFilesIntoWorkspace(const bool& overwrite, const bool& reserved, vqStlVector<vqString>& out);

  // Structure, references and classifications.
  void AddChild(const boost::shared_ptr<UDMCoreEntityHandle>& child, const vqString& group);
  void RemoveChild(const boost::shared_ptr<UDMCoreEntityHandle>& child);
  void GetChildren(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out, const vqString& group) const;
  void GetParents(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out, int level, const bool fromStore) const;
  boost::shared_ptr<IUDMEntityHandle> GetRootEntity() const;
  boost::shared_ptr<IUDMEntityHandle> GetFolder();
  void AddReference(const boost::shared_ptr<UDMCoreEntityHandle>& target, const vqString& name);
  void GetReferences(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out, const vqString& name);
  void RemoveReference(const boost::shared_ptr<UDMCoreEntityHandle>& target);
  void GetReferredBy(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out, vqStlVector<vqString>& names);
  void AddClassification(const boost::shared_ptr<UDMCoreEntityHandle>& classification);
  void RemoveClassification(const boost::shared_ptr<UDMCoreEntityHandle>& classification);
  void GetClassifications(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out, bool withParents);

  // Uses of children (UDMCoreEntityHandleUses.cpp). AddChild adds a use
  // without attributes; these reach each use. Failures name the parent,
  // the group and the use.
  //
  // Adds a use of `child` to `group` with these use attributes (the others
  // take their defaults); returns the use's identifier.
  vqString AddUse(const boost::shared_ptr<UDMCoreEntityHandle>& child, const vqString& group,
                  const vqStlMap<vqString, vqVariant>& attributes);
  // The uses in `group` ("" for every group), appended in order.
  void GetUses(vqStlVector<UDMUseInfo>& out, const vqString& group) const;
  void SetUseAttribute(const vqString& useId, const vqString& name, const vqVariant& value);
  void RemoveUse(const vqString& useId);
  // Where-used from the repository up to `level` levels (<= 0: all),
  // nearest level first, appended.
  void GetWhereUsed(vqStlVector<UDMWhereUsedInfo>& out, int level) const;

  // Relations.
  void GetRelations(vqStlVector<boost::shared_ptr<IUDMRelationHandle>>& out, RelationDirection direction);
  // Points the relations at their ends' latest revisions: the right ends for
  // direction 2, the left ends otherwise.
  void UpdateRelations(RelationDirection direction);

  boost::shared_ptr<UDMHistoryNode> GetHistory();

  // Versioned URLs and the persistence lifecycle.
  void CreateUrlPath();
  // The second flag makes the check-in take the child structure along.
  void Persist(const vqString& comment, const bool keepCheckedOut, const bool recursive);
  void Save(const vqString& comment, const bool recursive);
  void Checkout(const vqString& comment);
  void UndoCheckout();
  // Classifications only.
  void SetVault(const vqString& vault);
  void SetIsMaster(bool master);

 protected:
  // The live core entity, found again through the session when the core
  // has dropped it; never null (raises instead).
  boost::shared_ptr<UDMItem> _GetUDMItemPtr() const;

 private:
  UDMCoreEntityHandle() = default;
  explicit UDMCoreEntityHandle(const boost::shared_ptr<UDMItem>& item);
  // _GetUDMItemPtr for the operation of `signature`.
  boost::shared_ptr<UDMItem> Resolve(const char* signature) const;
  friend class UDMCoreProfile;

  boost::shared_ptr<UDMHistoryNode> _PopulateHistoryTree(const boost::shared_ptr<UDMItem>& item, bool withRevisions,
                                                         boost::shared_ptr<UDMHistoryNode> branchSource,
                                                         boost::shared_ptr<UDMHistoryNode> branchChild) const;

  boost::weak_ptr<UDMItem> m_item;
  mutable vqString m_uid;
  vqString m_cdef;
  vqString m_url;
  boost::weak_ptr<UDMSession> m_session;
};

class VQKUDM_API UDMCoreRelationHandle : public IUDMRelationHandle {
 public:
  // Raises when `iRelPtr` is null.
  static bool CreateInstance(boost::shared_ptr<IUDMRelationHandle>& out, const boost::shared_ptr<UDMRelation>& iRelPtr);
  ~UDMCoreRelationHandle() override;

  vqString GetUrl() const override;
  vqString GetUID(bool refresh) const override;
  vqString GetCdef() const override;
  int GetRelationType() const override;
  UDMUID GetLeftEntityId() const override;
  UDMUID GetRightEntityId() const override;
  vqString GetLeftEntityType() const override;
  vqString GetRightEntityType() const override;
  vqString ToString() const override;

 protected:
  // Raises once the relation is gone.
  boost::shared_ptr<UDMRelation> _GetUDMRelationPtr() const;

 private:
  explicit UDMCoreRelationHandle(const boost::shared_ptr<UDMRelation>& relation);
  boost::shared_ptr<UDMRelation> Resolve(const char* signature) const;

  boost::weak_ptr<UDMRelation> m_relation;
  mutable vqString m_uid;
  vqString m_cdef;
  vqString m_url;
};

}  // namespace vqkudm
