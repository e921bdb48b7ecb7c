#pragma once

// The profile: one connection to a repository seen through item and relation
// handles. A profile is bound to one core session and never keeps it alive;
// once the session is gone every operation raises. Output vectors are
// appended to, never cleared. Operations run on the caller's thread; a
// profile is used from one thread at a time (Lock/Unlock let threads that
// share one take turns).

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudm/UDMBuilders.h>
#include <vqkudm/UDMCdefMetaData.h>
#include <vqkudm/UDMHandle.h>
#include <vqkudm/UDMHistoryNode.h>
#include <vqkudm/UDMProfileUtils.h>
#include <vqkudm/UDMQuerySettingHandle.h>
#include <vqkudm/vqkudmApi.h>
#include <vqkudmrt/UDMExchange.h>
#include <vqkudmrt/UDMGenericDocument.h>
#include <vqkudmrt/UDMPlugin.h>
#include <vqkudmrt/UDMRelation.h>

namespace vqkudm {

class IUDMProfileSlot;
class IUDMSession;
class UDMItem;

class VQKUDM_API IUDMProfile : public IUDMPlugin {
 public:
  using IUDMPlugin::GetDisplayName;

 protected:
  // The profile's session; raises when it is gone.
  virtual void GetSession(boost::shared_ptr<IUDMSession>& out) const = 0;

 public:
  // Deletes the profile's session from the framework.
  virtual void Discard() const = 0;
  virtual vqString GetUName() = 0;
  virtual void Lock() = 0;
  virtual void Unlock() = 0;
  virtual UDMItemHandle GetUDMItemHandle(const vqString& id) = 0;

  // Entities.
  virtual UDMItemHandle CreateEntity(const vqString& className, const vqString& name) = 0;
  virtual void DeleteRootEntity(UDMItemHandle& entity, const bool, const bool) = 0;
  virtual void RemoveChildFromParent(UDMItemHandle& parent, UDMItemHandle& child) = 0;
  virtual void Obliterate(const UDMItemHandle& entity, const bool recursive) = 0;
  virtual void UnDeleteEntity(const UDMItemHandle& entity) = 0;
  virtual unsigned long long GetDeletedContentsSize() = 0;
  virtual void GetDeletedContents(vqStlVector<UDMItemHandle>& out) = 0;
  virtual UDMItemHandle CreateAndAdd(const vqString& className, const vqString& name, const UDMItemHandle& parent,
                                     const vqString& group) = 0;

  // Relations.
  virtual UDMRelationHandle CreateRelation(UDMItemHandle& source, UDMItemHandle& target,
                                           const vqString& relationName, bool bidirectional) = 0;
  virtual void GetRelations(vqStlVector<UDMRelationHandle>& out, const UDMItemHandle& entity,
                            RelationDirection direction) = 0;
  virtual void UpdateRelations(UDMItemHandle& entity, RelationDirection direction) = 0;
  virtual bool RemoveRelation(UDMItemHandle& source, UDMItemHandle& target) = 0;

  // Structure.
  virtual void AddChild(const UDMItemHandle& parent, const UDMItemHandle& child, const vqString& group) = 0;
  virtual unsigned long long GetNChildren(const UDMItemHandle& parent, const vqString& group,
                                          const vqString& unused) = 0;
  virtual void GetChildren(vqStlVector<UDMItemHandle>& out, const UDMItemHandle& parent, const vqString& group,
                           const vqString& unused) = 0;
  virtual void GetParents(vqStlVector<UDMItemHandle>& out, const UDMItemHandle& entity, const vqString&, bool) = 0;

  // Attributes and the persistence lifecycle.
  virtual bool SetAttribute(const UDMItemHandle& entity, const vqString& name, const vqVariant& value) = 0;
  virtual vqVariant GetAttributeValue(const UDMItemHandle& entity, const vqString& name) const = 0;
  virtual void Persist(UDMItemHandle& entity, const vqString& comment, bool keepCheckedOut, bool recursive,
                       bool unused) = 0;
  virtual void Save(UDMItemHandle& entity, const vqString& comment, bool recursive) = 0;
  virtual void UndoCheckout(const UDMItemHandle& entity) = 0;
  virtual void Checkout(const UDMItemHandle& entity, const vqString& comment) = 0;
  virtual vqString GetDisplayName(const UDMItemHandle& entity) const = 0;
  virtual void SetDisplayName(const vqString& name, const UDMItemHandle& entity) = 0;

  // Queries (the query language of docs/queries.md).
  virtual unsigned long long QueryEntities(vqStlVector<UDMItemHandle>& out, const vqString& query,
                                           const UDMQuerySettingHandle& settings, bool allRevisions,
                                           bool includeDeleted) = 0;
  virtual unsigned long long QueryEntitiesPaginated(vqStlVector<UDMItemHandle>& out, const vqString& query,
                                                    int reserved, int start, int count,
                                                    const UDMQuerySettingHandle& settings, bool allRevisions,
                                                    bool cached) = 0;

  // Change notification.
  virtual void SubscribeToEntityUpdates(boost::shared_ptr<IUDMProfileSlot>& subscriber) = 0;
  virtual void UnsubscribeFromEntityUpdates(boost::shared_ptr<IUDMProfileSlot>& subscriber) = 0;

  virtual boost::shared_ptr<UDMHistoryNode> GetHistory(const UDMItemHandle& entity) = 0;
  virtual UDMItemHandle GetRootEntityHandle(const UDMItemHandle& entity) = 0;
  virtual boost::shared_ptr<IUDMEntityHandle> FindEntityHandleById(const vqString& id) = 0;
  virtual boost::shared_ptr<IUDMRelationHandle> FindRelationHandleById(const vqString& id) = 0;

  // Files and preview images.
  virtual void GetFileInfoList(const UDMItemHandle& entity, vqStlVector<UDMGenericDocument>& out,
                               bool includeExternal) = 0;
  virtual AddFileBuilder AddFile(UDMItemHandle& entity) = 0;
  virtual void AddFile(UDMItemHandle& entity, const vqString& path) = 0;
  virtual void UpdateFile(UDMItemHandle& entity, const vqString& newFilePath) = 0;
  virtual void ReAddFile(UDMItemHandle& entity, const vqString& path, bool keepModifiedTime, bool external) = 0;
  virtual void RemoveFile(UDMItemHandle& entity, const vqString& name) = 0;
  virtual void GetAllFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder, const bool& overwrite,
                                     vqStlVector<vqString>& out) = 0;
  virtual void GetAllFilesIntoWorkspace(const UDMItemHandle& entity, const bool& overwrite,
                                        vqStlVector<vqString>& out) = 0;
  virtual void RetrieveFilesIntoWorkspace(const UDMItemHandle& entity, const bool&, const bool&,
                                          vqStlVector<vqString>& out) = 0;
  virtual void RetrieveFilesIntoWorkspace(const UDMItemHandle& entity, const bool&, const bool&) = 0;
  virtual void RetrieveFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder,
                                       vqStlVector<vqString>& out, const vqString& fileName) = 0;
  virtual void RetrieveFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder, const bool&,
                                       const bool&, vqStlVector<vqString>& out) = 0;
  virtual void RetrieveFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder, const bool&,
                                       const bool&) = 0;
  virtual void AddPreviewImage(UDMItemHandle& entity, const vqString& imagePath, const vqString& name,
                               const vqlm::ImageType& type, const vqString& description, bool makeDefault,
                               bool replace) = 0;
  virtual void RemovePreviewImage(UDMItemHandle& entity, const vqString& name) = 0;
  virtual void SetDefaultPreviewImage(UDMItemHandle& entity, const vqString& name) = 0;

  // Classifications.
  virtual void GetRootClassifications(vqStlVector<UDMItemHandle>& out, const vqString& unused) = 0;
  virtual void AddClassification(UDMItemHandle& entity, UDMItemHandle& classification) = 0;
  virtual void RemoveClassification(UDMItemHandle& entity, UDMItemHandle& classification) = 0;
  virtual void SetIsMaster(const UDMItemHandle& classification, bool master) = 0;
  virtual void SetVault(UDMItemHandle& classification, const vqString& vault) = 0;

  // Schema.
  virtual bool UpdateContentDefinition(const vqString& path) = 0;
  virtual bool ModifyContentDefinition(vqString outputPath, const vqString& className,
                                       vqStlVector<UDMCdefMetaData>& metadata,
                                       UDMCdefCompositeMetaData* composite) = 0;
  virtual bool ModifyUpdateContentDefinition(const vqString& className, vqStlVector<UDMCdefMetaData>& metadata,
                                             UDMCdefCompositeMetaData* composite) = 0;
  virtual int AddFolderAndFiles(const vqStlVector<vqString>& folders, const vqStlVector<vqString>& files,
                                const vqString& root, const vqStlMap<vqString, vqString>& options) = 0;

  // References.
  virtual void AddReference(UDMItemHandle& entity, const UDMItemHandle& target, const vqString& name) = 0;
  virtual void GetReferences(vqStlVector<UDMItemHandle>& out, const UDMItemHandle& entity,
                             const vqString& name) = 0;
  virtual void RemoveReference(UDMItemHandle& entity, UDMItemHandle& target) = 0;
  virtual void GetReferredBy(vqStlVector<UDMItemHandle>& out, vqStlVector<vqString>& names,
                             const UDMItemHandle& entity) = 0;

  virtual bool GetSyncStatus(UDMItemHandle& entity) = 0;
  virtual void Synchronize(UDMItemHandle& entity) = 0;

  // Folders.
  virtual void MoveContent(const UDMItemHandle& content, const UDMItemHandle& folder) = 0;
  virtual void GetOrCreateFolder(UDMItemHandle& folder, const vqString& path, bool) = 0;
  virtual void CreateFolder(UDMItemHandle& folder, const vqString& path) = 0;
  virtual void GetFolder(UDMItemHandle& folder, const vqString& path, bool) = 0;
  virtual void FindFolderFullPath(vqString& out, const UDMItemHandle& folder) = 0;

  virtual void GetMetaData(const vqString& className, vqStlVector<UDMCdefMetaData>& out) = 0;
  virtual vqString GetSessionId() = 0;
  virtual UDMProfileUtils GetProfileUtils() = 0;
  virtual void DumpSession() = 0;

  // Exchange packages (docs/package.md).
  virtual void Export(const vqString& path, const vqStlVector<vqString>& classNames, ExportFileOptions options) = 0;
  virtual void Import(const vqString& path) = 0;

 protected:
  virtual boost::shared_ptr<UDMItem> _GetUDMItem(const UDMItemHandle& entity) const = 0;
  virtual boost::shared_ptr<IUDMProfile> GetThisPtr() = 0;

 public:
  ~IUDMProfile() override;

 private:
  friend class UDMProfileUtils;
  friend class UDMCoreProfileUtils;
};

// Makes handles of one profile.
class VQKUDM_API IUDMHandleFactory {
 public:
  virtual UDMItemHandle CreateItemHandle(const vqString& id) = 0;
  virtual UDMRelationHandle CreateRelationHandle(const vqString& id) = 0;
  virtual ~IUDMHandleFactory();
};

}  // namespace vqkudm
