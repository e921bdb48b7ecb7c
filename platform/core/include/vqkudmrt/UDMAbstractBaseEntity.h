#pragma once

// What every entity of a repository has: an identifier, a content
// definition, typed attributes checked against it, and its state in the
// session (new, modified, checked out, deleted). Entities are owned by their
// session and handed out as shared pointers; the same identifier always
// gives the same object while anyone holds it.

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <utility>

#include <vqkudmrt/UDMAttributeMap.h>
#include <vqkudmrt/UDMUID.h>
#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {

class UDMContentDefinition;
class UDMSession;

class VQKUDMRT_API UDMAbstractBaseEntity
    : public boost::enable_shared_from_this<UDMAbstractBaseEntity> {
 public:
  virtual ~UDMAbstractBaseEntity();

  // The identifier of the revision this object holds.
  const UDMUID& GetUID() const { return m_uid; }
  const vqString& GetContentDefinitionType() const { return m_cdefType; }
  boost::shared_ptr<UDMContentDefinition> GetContentDefinition() const { return m_cdef; }
  // The owning session; empty once the session is gone.
  boost::shared_ptr<UDMSession> GetSession() const { return m_session.lock(); }

  int GetRevision() const { return m_uid.GetRevision(); }
  // The latest stored revision of the entity, as the repository has it now
  // (another session may have checked in since this object was loaded).
  int GetLatestRevision() const;
  bool IsLatestVersion() const { return GetRevision() >= GetLatestRevision(); }
  bool IsNew() const { return m_isNew; }
  bool IsDeleted() const { return m_deleted; }
  bool IsModified() const { return m_modified; }
  bool IsCheckedOut() const { return m_checkedOut; }
  bool IsEditable() const { return m_checkedOut; }

  // The value of an attribute; empty when it has none. Unknown names raise.
  vqVariant GetAttributeValue(const vqString& name) const;
  // Sets an attribute after checking it against its definition: the entity
  // must be checked out, the attribute defined and not maintained by the
  // system, the value of its type and among its valid values. Raises
  // UDMException naming the entity and the attribute otherwise; returns true.
  bool SetAttribute(const vqString& name, const vqVariant& value);
  // Names of the attributes that have a value; system attributes only when asked.
  void GetFilteredAttributeNameList(vqStlVector<vqString>& out, bool includeSystem) const;

  vqString GetName() const;
  // The value of the definition's display-name attribute (the name by default).
  vqString GetDisplayName() const;
  void SetDisplayName(const vqString& name);
  vqString GetCreatedBy() const;
  vqString GetCreationTime() const;
  vqString GetModifiedBy() const;
  vqString GetModifiedTime() const;

  // "<definition> '<name>' (<identifier>)", used in messages.
  vqString ToString(const vqString& indent) const;

  // Runtime use: the attribute map as stored, without checks.
  const UDMAttributeMap& GetAttributes() const { return m_attributes; }

 protected:
  UDMAbstractBaseEntity(const boost::shared_ptr<UDMSession>& session,
                        const boost::shared_ptr<UDMContentDefinition>& cdef, UDMUID uid);

  // Refuses changes unless the entity is checked out (new entities are).
  void RequireEditable(const char* signature, const vqString& what) const;
  void SetSystemAttribute(const vqString& name, vqVariant value) { m_attributes[name] = std::move(value); }

  boost::weak_ptr<UDMSession> m_session;
  boost::shared_ptr<UDMContentDefinition> m_cdef;
  vqString m_cdefType;
  UDMUID m_uid;
  UDMAttributeMap m_attributes;
  int m_latestRevision = 0;
  bool m_isNew = false;
  bool m_deleted = false;
  bool m_modified = false;
  bool m_checkedOut = false;
  // Off while the session builds the entity, so construction reports one change.
  bool m_notify = false;

  friend class UDMSession;
};

}  // namespace vqkudm
