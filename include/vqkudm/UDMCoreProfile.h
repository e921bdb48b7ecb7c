#pragma once

// The profile over the core runtime: a plug-in of the session, registered
// under the key "Core". Create it with CreateInstance (it must be owned by a
// boost::shared_ptr) and bind it to a session with Init; applications get a
// ready one from UDMProfileMgr.

#include <map>

#include <boost/enable_shared_from_this.hpp>
#include <boost/smart_ptr/owner_less.hpp>

#include <vqkudm/IUDMProfile.h>

namespace vqkudm {

class UDMBridgeSlot;
class UDMCoreEntityHandle;

class VQKUDM_API UDMCoreProfile : public IUDMProfile, public boost::enable_shared_from_this<UDMCoreProfile> {
 public:
  using IUDMProfile::GetDisplayName;
  using IUDMProfile::AddFile;

  // 0 and a new profile in `out`, or 3 when none could be made.
  static UDMResult CreateInstance(boost::shared_ptr<IUDMPlugin>& out);
  ~UDMCoreProfile() override;

  vqString GetDisplayName() override;
  vqString GetInterfaceName() override;
  vqString GetKey() override;
  boost::shared_ptr<IUDMPlugin> Clone() override;
  boost::shared_ptr<IUDMPlugin> CreateNew() override;
  UDMResult Init(const boost::weak_ptr<UDMSession>& session,
                 const boost::shared_ptr<UDMPluginConfig>& pluginConfig) override;
  void Shutdown() override;

 protected:
  void GetSession(boost::shared_ptr<IUDMSession>& out) const override;

 public:
  void Discard() const override;
  vqString GetUName() override;
  void Lock() override;
  void Unlock() override;
  UDMItemHandle GetUDMItemHandle(const vqString& id) override;
  UDMItemHandle CreateEntity(const vqString& className, const vqString& name) override;
  void DeleteRootEntity(UDMItemHandle& entity, const bool, const bool) override;
  void RemoveChildFromParent(UDMItemHandle& parent, UDMItemHandle& child) override;
  void Obliterate(const UDMItemHandle& entity, const bool recursive) override;
  void UnDeleteEntity(const UDMItemHandle& entity) override;
  unsigned long long GetDeletedContentsSize() override;
  void GetDeletedContents(vqStlVector<UDMItemHandle>& out) override;
  UDMItemHandle CreateAndAdd(const vqString& className, const vqString& name, const UDMItemHandle& parent,
                             const vqString& group) override;
  UDMRelationHandle CreateRelation(UDMItemHandle& source, UDMItemHandle& target, const vqString& relationName,
                                   bool bidirectional) override;
  void GetRelations(vqStlVector<UDMRelationHandle>& out, const UDMItemHandle& entity,
                    RelationDirection direction) override;
  void UpdateRelations(UDMItemHandle& entity, RelationDirection direction) override;
  bool RemoveRelation(UDMItemHandle& source, UDMItemHandle& target) override;
  void AddChild(const UDMItemHandle& parent, const UDMItemHandle& child, const vqString& group) override;
  unsigned long long GetNChildren(const UDMItemHandle& parent, const vqString& group,
                                  const vqString& unused) override;
  void GetChildren(vqStlVector<UDMItemHandle>& out, const UDMItemHandle& parent, const vqString& group,
                   const vqString& unused) override;
  void GetParents(vqStlVector<UDMItemHandle>& out, const UDMItemHandle& entity, const vqString&, bool) override;
  bool SetAttribute(const UDMItemHandle& entity, const vqString& name, const vqVariant& value) override;
  vqVariant GetAttributeValue(const UDMItemHandle& entity, const vqString& name) const override;
  void Persist(UDMItemHandle& entity, const vqString& comment, bool keepCheckedOut, bool recursive,
               bool unused) override;
  void Save(UDMItemHandle& entity, const vqString& comment, bool recursive) override;
  void UndoCheckout(const UDMItemHandle& entity) override;
  void Checkout(const UDMItemHandle& entity, const vqString& comment) override;
  vqString GetDisplayName(const UDMItemHandle& entity) const override;
  void SetDisplayName(const vqString& name, const UDMItemHandle& entity) override;
  unsigned long long QueryEntities(vqStlVector<UDMItemHandle>& out, const vqString& query,
                                   const UDMQuerySettingHandle& settings, bool allRevisions,
                                   bool includeDeleted) override;
  unsigned long long QueryEntitiesPaginated(vqStlVector<UDMItemHandle>& out, const vqString& query, int reserved,
                                            int start, int count, const UDMQuerySettingHandle& settings,
                                            bool allRevisions, bool cached) override;
  void SubscribeToEntityUpdates(boost::shared_ptr<IUDMProfileSlot>& subscriber) override;
  void UnsubscribeFromEntityUpdates(boost::shared_ptr<IUDMProfileSlot>& subscriber) override;
  boost::shared_ptr<UDMHistoryNode> GetHistory(const UDMItemHandle& entity) override;
  UDMItemHandle GetRootEntityHandle(const UDMItemHandle& entity) override;
  boost::shared_ptr<IUDMEntityHandle> FindEntityHandleById(const vqString& id) override;
  boost::shared_ptr<IUDMRelationHandle> FindRelationHandleById(const vqString& id) override;
  void GetFileInfoList(const UDMItemHandle& entity, vqStlVector<UDMGenericDocument>& out,
                       bool includeExternal) override;
  AddFileBuilder AddFile(UDMItemHandle& entity) override;
  void AddFile(UDMItemHandle& entity, const vqString& path) override;
  void UpdateFile(UDMItemHandle& entity, const vqString& newFilePath) override;
  void ReAddFile(UDMItemHandle& entity, const vqString& path, bool keepModifiedTime, bool external) override;
  void RemoveFile(UDMItemHandle& entity, const vqString& name) override;
  void GetAllFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder, const bool& overwrite,
                             vqStlVector<vqString>& out) override;
  void GetAllFilesIntoWorkspace(const UDMItemHandle& entity, const bool& overwrite,
                                vqStlVector<vqString>& out) override;
  void RetrieveFilesIntoWorkspace(const UDMItemHandle& entity, const bool&, const bool&,
                                  vqStlVector<vqString>& out) override;
  void RetrieveFilesIntoWorkspace(const UDMItemHandle& entity, const bool&, const bool&) override;
  void RetrieveFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder, vqStlVector<vqString>& out,
                               const vqString& fileName) override;
  void RetrieveFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder, const bool&, const bool&,
                               vqStlVector<vqString>& out) override;
  void RetrieveFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder, const bool&,
                               const bool&) override;
  void AddPreviewImage(UDMItemHandle& entity, const vqString& imagePath, const vqString& name,
                       const vqlm::ImageType& type, const vqString& description, bool makeDefault,
                       bool replace) override;
  void RemovePreviewImage(UDMItemHandle& entity, const vqString& name) override;
  void SetDefaultPreviewImage(UDMItemHandle& entity, const vqString& name) override;
  void GetRootClassifications(vqStlVector<UDMItemHandle>& out, const vqString& unused) override;
  void AddClassification(UDMItemHandle& entity, UDMItemHandle& classification) override;
  void RemoveClassification(UDMItemHandle& entity, UDMItemHandle& classification) override;
  void SetIsMaster(const UDMItemHandle& classification, bool master) override;
  void SetVault(UDMItemHandle& classification, const vqString& vault) override;
  bool UpdateContentDefinition(const vqString& path) override;
  bool ModifyContentDefinition(vqString outputPath, const vqString& className,
                               vqStlVector<UDMCdefMetaData>& metadata,
                               UDMCdefCompositeMetaData* composite) override;
  bool ModifyUpdateContentDefinition(const vqString& className, vqStlVector<UDMCdefMetaData>& metadata,
                                     UDMCdefCompositeMetaData* composite) override;
  int AddFolderAndFiles(const vqStlVector<vqString>& folders, const vqStlVector<vqString>& files,
                        const vqString& root, const vqStlMap<vqString, vqString>& options) override;
  void AddReference(UDMItemHandle& entity, const UDMItemHandle& target, const vqString& name) override;
  void GetReferences(vqStlVector<UDMItemHandle>& out, const UDMItemHandle& entity, const vqString& name) override;
  void RemoveReference(UDMItemHandle& entity, UDMItemHandle& target) override;
  void GetReferredBy(vqStlVector<UDMItemHandle>& out, vqStlVector<vqString>& names,
                     const UDMItemHandle& entity) override;
  bool GetSyncStatus(UDMItemHandle& entity) override;
  void Synchronize(UDMItemHandle& entity) override;
  void MoveContent(const UDMItemHandle& content, const UDMItemHandle& folder) override;
  void GetOrCreateFolder(UDMItemHandle& folder, const vqString& path, bool) override;
  void CreateFolder(UDMItemHandle& folder, const vqString& path) override;
  void GetFolder(UDMItemHandle& folder, const vqString& path, bool) override;
  void FindFolderFullPath(vqString& out, const UDMItemHandle& folder) override;
  void GetMetaData(const vqString& className, vqStlVector<UDMCdefMetaData>& out) override;
  vqString GetSessionId() override;
  UDMProfileUtils GetProfileUtils() override;
  void DumpSession() override;
  void Export(const vqString& path, const vqStlVector<vqString>& classNames, ExportFileOptions options) override;
  void Import(const vqString& path) override;

  // The session's workspace directory.
  vqString getWorkspaceDir() const;

 protected:
  // For profiles of other sources that work on a core session of their own.
  UDMCoreProfile() = default;
  boost::shared_ptr<UDMItem> _GetUDMItem(const UDMItemHandle& entity) const override;
  boost::shared_ptr<IUDMProfile> GetThisPtr() override;
  // The concrete handle behind `entity`; raises when it has none.
  boost::shared_ptr<UDMCoreEntityHandle> _GetCoreHandle(const UDMItemHandle& entity) const;

 private:
  // GetSession as a value: the session, or the "Session Ptr is NULL" failure.
  boost::shared_ptr<IUDMSession> Session() const;
  // _GetCoreHandle, raising "Unable to get Entity with Info" with `signature`
  // should it yield nothing.
  boost::shared_ptr<UDMCoreEntityHandle> ResolveEntity(const char* signature, const UDMItemHandle& entity) const;
  // _GetUDMItem, raising "Invalid input item" with `signature` should it yield nothing.
  boost::shared_ptr<UDMItem> ResolveItem(const char* signature, const UDMItemHandle& entity) const;
  // Handles of the profile for concrete handles, appended to `out`.
  void AppendItemHandles(vqStlVector<UDMItemHandle>& out,
                         const vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& entities);

  boost::shared_ptr<UDMPluginConfig> m_pluginConfig;
  boost::weak_ptr<UDMSession> m_session;
  boost::shared_ptr<IUDMHandleFactory> m_handleFactory;
  // The bridge of each subscriber, in the subscribers' ownership order.
  std::map<boost::shared_ptr<IUDMProfileSlot>, boost::shared_ptr<UDMBridgeSlot>,
           boost::owner_less<boost::shared_ptr<IUDMProfileSlot>>>
      m_subscribers;

  friend class AddFileBuilder;
  friend class ClassificationReader;
  friend class UDMProfileUpdate;
};

class VQKUDM_API UDMCoreProfileHandleFactory : public IUDMHandleFactory,
                                                public boost::enable_shared_from_this<UDMCoreProfileHandleFactory> {
 public:
  // A factory that holds `profile` weakly; raises when `profile` is null.
  static bool CreateInstance(boost::shared_ptr<IUDMHandleFactory>& out,
                             const boost::shared_ptr<IUDMProfile>& profile);
  UDMCoreProfileHandleFactory(const UDMCoreProfileHandleFactory& other) = default;
  ~UDMCoreProfileHandleFactory() override;

  // Raise when the profile is gone or does not know the identifier.
  UDMItemHandle CreateItemHandle(const vqString& id) override;
  UDMRelationHandle CreateRelationHandle(const vqString& id) override;

 private:
  explicit UDMCoreProfileHandleFactory(const boost::shared_ptr<IUDMProfile>& profile) : m_profile(profile) {}
  boost::weak_ptr<IUDMProfile> m_profile;
};

}  // namespace vqkudm
