#pragma once

// A content definition: the type of a kind of entity, with its attributes,
// child groups and meta flags. Definitions derive from one another; a
// derived definition has its base's attributes (first) and groups. The
// configuration hands out one object per definition, so pointers compare.

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMChildGroup.h>
#include <vqkudmrt/vqkudmrtApi.h>

namespace vqkudm {

class UDMConfiguration;

class VQKUDMRT_API UDMContentDefinition {
 public:
  // An attribute whose value is made of others': their texts joined by a delimiter.
  struct Composite {
    vqString name;
    vqString type;
    vqString displayName;
    vqStlVector<vqString> members;
    vqString delimiter;
  };

  struct Fields {
    vqString type;
    vqString displayName;
    vqString derivedFrom;
    vqString dnameProperty;
    int schemaVersion = 1;
    vqString file;
    vqStlMap<vqString, vqString> meta;
    vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> attributes;  // own, in file order
    vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;                // own, in file order
    vqStlVector<Composite> composites;                                   // own, in file order
  };

  UDMContentDefinition(const Fields& fields, const boost::weak_ptr<UDMConfiguration>& configuration);
  ~UDMContentDefinition();

  const vqString& GetType() const { return m_fields.type; }
  // The runtime class of its entities: "UDMItem", "UDMClassification" or "UDMRelation".
  vqString GetUDMClassName() const;
  void DisplayName(vqString& out) const { out = m_fields.displayName.empty() ? m_fields.type : m_fields.displayName; }
  void GetDerivedFrom(vqString& out) const { out = m_fields.derivedFrom; }
  void GetDNamePropertyName(vqString& out) const;
  int GetSchemaVersion() const { return m_fields.schemaVersion; }
  vqString Getfile() const { return m_fields.file; }
  const Fields& GetFields() const { return m_fields; }

  // Inherited attributes first, base before derived, then its own.
  void GetAttributeDefinitions(vqStlVector<boost::shared_ptr<UDMAttributeDefinition>>& out) const;
  boost::shared_ptr<UDMAttributeDefinition> GetAttributeDefinition(const vqString& name) const;
  void GetAttributeNames(vqStlVector<vqString>& out) const;
  void GetGroups(vqStlVector<boost::shared_ptr<UDMChildGroup>>& out, bool includeInternal) const;
  boost::shared_ptr<UDMChildGroup> GetUDMChildGroup(const vqString& name) const;
  void GetGroupNames(vqStlVector<vqString>& out, bool includeInternal) const;
  void GetAllowedContents(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out,
                          const vqString& groupName) const;

  // The value of a meta flag here or on the nearest base that sets it.
  vqString GetMetaValue(const vqString& name) const;
  bool GetMetaFlag(const vqString& name) const;
  bool DerivesFrom(const vqString& type) const;
  // The composite attribute of that name, here or on a base; null when none.
  const Composite* GetComposite(const vqString& name) const;
  // The definition this one derives from; null for a root definition.
  boost::shared_ptr<UDMContentDefinition> GetBaseDefinition() const { return m_base; }

  bool IsCollection() const;
  bool IsComposition(const vqString& group) const;
  bool IsMultipleParentsAllowed() const;
  bool IsNonDisplayAble() const;
  bool IsRelation() const;
  bool IsSystemCDef() const;
  bool isAnyCollectionAllowed() const;
  bool isAnyContentAllowed() const;
  bool CanBranch() const;
  bool IsAbstract() const;

  // The definition as definition-file XML (its own attributes and groups).
  vqString ToXml() const;

 private:
  boost::shared_ptr<UDMContentDefinition> Base() const { return m_base; }

  Fields m_fields;
  boost::weak_ptr<UDMConfiguration> m_configuration;
  // Held strongly so a definition keeps working on its own; derivation is
  // acyclic, so this makes no ownership cycle. Set by the configuration.
  boost::shared_ptr<UDMContentDefinition> m_base;

  friend class UDMConfiguration;
};

}  // namespace vqkudm
