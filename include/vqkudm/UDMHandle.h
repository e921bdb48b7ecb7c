#pragma once

// Value handles: how callers hold entities and relations of a profile. A
// handle caches the identifier, content-definition name and versioned URL of
// what it stands for, holds the concrete object strongly and the profile
// weakly, so a handle never keeps its profile (or the session) alive. Once
// the profile is gone, the cached texts and the concrete object's answers
// still work; what needs the profile raises.

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudm/vqkudmApi.h>
#include <vqkudmrt/UDMUID.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {

class IUDMProfile;

class VQKUDM_API IUDMHandle {
 public:
  IUDMHandle() = default;
  IUDMHandle(const IUDMHandle&) = default;
  IUDMHandle(IUDMHandle&&) = default;
  IUDMHandle& operator=(const IUDMHandle&) = default;
  IUDMHandle& operator=(IUDMHandle&&) = default;
  virtual ~IUDMHandle();
  virtual vqString ToString() const = 0;
};

class VQKUDM_API UDMHandle : public IUDMHandle {
 public:
  ~UDMHandle() override;
  vqString ToString() const override;
};

// The concrete entity behind an item handle.
class VQKUDM_API IUDMEntityHandle : public IUDMHandle {
 public:
  virtual vqString GetUrl() const = 0;
  // With `refresh`, the identifier of the entity as it is now (it changes
  // when a check-in makes a new revision), else the one cached.
  virtual vqString GetUID(bool refresh) const = 0;
  virtual vqString GetCdef() const = 0;
  virtual const vqVariant GetAttributeValue(const vqString& name) const = 0;
  virtual const vqStlVector<vqString> GetFilteredAttributeNameList(const bool includeSystem) const = 0;
  virtual bool IsEditable() const = 0;
  virtual bool IsModified() const = 0;
  virtual bool IsDeleted() const = 0;
  virtual int GetRevision() const = 0;
  virtual bool IsLatestVersion() const = 0;
  virtual int GetLatestRevision() const = 0;
  virtual const vqStlVector<vqString> GetFileNameList() const = 0;
  virtual const vqVariant GetCreatedBy() const = 0;
  virtual const vqVariant GetCreationTime() const = 0;
  virtual const vqVariant GetModifiedBy() const = 0;
  virtual const vqVariant GetModifiedTime() const = 0;
  virtual bool IsOccurrence() const = 0;
  virtual bool IsPrototype() const = 0;
  virtual bool hasparent() const = 0;
  virtual bool IsRootEntity() const = 0;
  ~IUDMEntityHandle() override;
};

// The concrete relation behind a relation handle.
class VQKUDM_API IUDMRelationHandle : public IUDMHandle {
 public:
  virtual vqString GetUrl() const = 0;
  virtual vqString GetUID(bool refresh) const = 0;
  virtual vqString GetCdef() const = 0;
  virtual int GetRelationType() const = 0;
  virtual UDMUID GetLeftEntityId() const = 0;
  virtual UDMUID GetRightEntityId() const = 0;
  virtual vqString GetLeftEntityType() const = 0;
  virtual vqString GetRightEntityType() const = 0;
  ~IUDMRelationHandle() override;
};

class VQKUDM_API UDMItemHandle : public UDMHandle {
 public:
  UDMItemHandle();
  // Raises (state, null) when `entity` is null.
  UDMItemHandle(const boost::shared_ptr<IUDMEntityHandle>& entity, const boost::shared_ptr<IUDMProfile> profile);
  UDMItemHandle(const UDMItemHandle& other);
  UDMItemHandle& operator=(const UDMItemHandle& other);
  ~UDMItemHandle() override;

  // Equal when identifier, definition and URL are; the objects are not compared.
  bool operator==(const UDMItemHandle& other) const;
  bool IsEmpty() const;
  vqString ToString() const override;

  vqString GetCdef() const;
  vqString GetUrl() const;
  // Refreshes the cached identifier from the entity and returns it.
  vqString GetUID() const;

  // Answered by the entity; raise when the handle has none.
  vqVariant GetCreatedBy() const;
  vqVariant GetCreationTime() const;
  vqVariant GetModifiedBy() const;
  vqVariant GetModifiedTime() const;
  vqStlVector<vqString> GetFileNameList() const;
  vqStlVector<vqString> GetFilteredAttributeNameList(bool includeSystem) const;
  int GetRevision() const;
  int GetLatestRevision() const;
  bool IsLatestRevision() const;
  bool IsDeleted() const;
  bool IsEditable() const;
  bool IsModified() const;
  bool IsOccurrence() const;
  bool IsPrototype() const;
  bool IsRootEntity() const;
  bool hasparent() const;

  // Answered by the profile; raise once the profile is gone.
  vqVariant GetAttributeValue(const vqString& name) const;
  vqString GetDisplayName() const;

  const boost::shared_ptr<IUDMEntityHandle>& GetEntityHandlePtr() const { return m_object; }
  boost::shared_ptr<IUDMProfile> GetProfilePtr() const { return m_profile.lock(); }

 private:
  mutable vqString m_uid;
  vqString m_cdef;
  vqString m_url;
  boost::shared_ptr<IUDMEntityHandle> m_object;
  boost::weak_ptr<IUDMProfile> m_profile;

  template <class Handle>
  friend void AssignHandle(Handle& target, const Handle& source);
  template <class Handle>
  friend vqString RefreshedUID(const Handle& handle);
};

class VQKUDM_API UDMRelationHandle : public UDMHandle {
 public:
  UDMRelationHandle();
  // `relation` must not be null.
  UDMRelationHandle(const boost::shared_ptr<IUDMRelationHandle>& relation,
                    const boost::shared_ptr<IUDMProfile> profile);
  UDMRelationHandle(const UDMRelationHandle& other);
  UDMRelationHandle& operator=(const UDMRelationHandle& other);
  ~UDMRelationHandle() override;

  bool operator==(const UDMRelationHandle& other) const;

  vqString GetCdef() const;
  vqString GetUrl() const;
  vqString GetUID() const;
  int GetRelationType() const;
  // The ends as item handles of the profile; raise once the profile is gone.
  UDMItemHandle GetLeftEntity() const;
  UDMItemHandle GetRightEntity() const;

  const boost::shared_ptr<IUDMRelationHandle>& GetRelationHandlePtr() const { return m_object; }

 private:
  mutable vqString m_uid;
  vqString m_cdef;
  vqString m_url;
  boost::shared_ptr<IUDMRelationHandle> m_object;
  boost::weak_ptr<IUDMProfile> m_profile;

  template <class Handle>
  friend void AssignHandle(Handle& target, const Handle& source);
  template <class Handle>
  friend vqString RefreshedUID(const Handle& handle);
};

// Base of typed views of one entity (ClassificationReader).
template <class Handle>
class EntityReader {
 public:
  EntityReader() = default;
  EntityReader(const Handle& entity, const vqString& readerName) : m_entity(entity), m_readerName(readerName) {}
  EntityReader(const EntityReader&) = default;
  EntityReader& operator=(const EntityReader&) = default;
  virtual ~EntityReader() = default;
  // What kind of reader this is.
  virtual vqString GetName() = 0;
  // Whether the entity can be read this way.
  virtual bool IsSupported() const = 0;

  const Handle& GetEntity() const { return m_entity; }

 protected:
  Handle m_entity;
  vqString m_readerName;
};

}  // namespace vqkudm
