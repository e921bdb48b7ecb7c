#pragma once

// Schema questions against one profile's content definitions, and value
// handles over definitions. UDMProfileUtils holds its profile weakly and asks
// the session each time; once the profile is gone every question raises.

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudm/UDMHandle.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMContentDefinition.h>

namespace vqkudm {

class IUDMProfile;
class IUDMSession;
class UDMClassification;

class VQKUDM_API UDMAttributeDefinitionHandle : public UDMHandle {
 public:
  UDMAttributeDefinitionHandle() = default;
  UDMAttributeDefinitionHandle(const UDMAttributeDefinitionHandle&) = default;
  UDMAttributeDefinitionHandle& operator=(const UDMAttributeDefinitionHandle&) = default;
  ~UDMAttributeDefinitionHandle() override;

  vqString GetName() const { return m_definition->GetName(); }
  vqString GetDisplayName() const { return m_definition->GetDisplayName(); }
  vqString GetDescription() const { return m_definition->GetDescription(); }
  vqString GetCategory() const { return m_definition->GetCategory(); }
  vqString GetDataType() const { return m_definition->GetDataType(); }
  vqString GetDefaultValue() const { return m_definition->GetDefaultValue(); }
  const vqString& GetRegEx() const { return m_definition->GetRegEx(); }
  bool GetStaticValidValues(vqStlVector<vqString>& out) const { return m_definition->GetStaticValidValues(out); }
  bool IsDefaultValueSet() const { return m_definition->IsDefaultValueSet(); }
  bool IsDisplayable() const { return m_definition->IsDisplayable(); }
  bool IsEditable() const { return m_definition->IsEditable(); }
  bool IsMandatory() const { return m_definition->IsMandatory(); }
  bool IsSystem() const { return m_definition->IsSystem(); }
  virtual vqString ToString(const vqString& indent) const { return m_definition->ToString(indent); }
  using UDMHandle::ToString;

  bool IsEmpty() const { return !m_definition; }

 private:
  explicit UDMAttributeDefinitionHandle(const boost::shared_ptr<UDMAttributeDefinition>& definition)
      : m_definition(definition) {}
  boost::shared_ptr<UDMAttributeDefinition> m_definition;

  friend class UDMContentDefinitionHandle;
  friend class UDMProfileUtils;
};

class VQKUDM_API UDMContentDefinitionHandle : public UDMHandle {
 public:
  UDMContentDefinitionHandle() = default;
  UDMContentDefinitionHandle(const UDMContentDefinitionHandle&) = default;
  UDMContentDefinitionHandle& operator=(const UDMContentDefinitionHandle&) = default;
  ~UDMContentDefinitionHandle() override;

  bool operator==(const UDMContentDefinitionHandle& other) const { return m_definition == other.m_definition; }
  bool IsEmpty() const { return !m_definition; }

  void DisplayName(vqString& out) const { m_definition->DisplayName(out); }
  const vqString& GetType() const { return m_definition->GetType(); }
  vqString GetUDMClassName() { return m_definition->GetUDMClassName(); }
  void GetDerivedFrom(vqString& out) const { m_definition->GetDerivedFrom(out); }
  void GetDNamePropertyName(vqString& out) const { m_definition->GetDNamePropertyName(out); }
  int GetSchemaVersion() const { return m_definition->GetSchemaVersion(); }
  void GetGroupNames(vqStlVector<vqString>& out, bool includeInternal) const {
    m_definition->GetGroupNames(out, includeInternal);
  }
  void GetAttributeNames(vqStlVector<vqString>& out) const { m_definition->GetAttributeNames(out); }
  UDMAttributeDefinitionHandle GetAttributeDefinition(const vqString& name) const;
  void GetAttributeDefinitions(vqStlVector<UDMAttributeDefinitionHandle>& out) const;
  void GetAllowedContents(vqStlVector<UDMContentDefinitionHandle>& out, const vqString& groupName) const;
  bool IsCollection() const { return m_definition->IsCollection(); }
  bool IsComposition(const vqString& group) const { return m_definition->IsComposition(group); }
  bool IsMultipleParentsAllowed() const { return m_definition->IsMultipleParentsAllowed(); }
  bool IsNonDisplayAble() const { return m_definition->IsNonDisplayAble(); }
  bool IsRelation() const { return m_definition->IsRelation(); }
  bool IsSystemCDef() const { return m_definition->IsSystemCDef(); }
  bool isAnyCollectionAllowed() { return m_definition->isAnyCollectionAllowed(); }
  bool isAnyContentAllowed() { return m_definition->isAnyContentAllowed(); }

 private:
  explicit UDMContentDefinitionHandle(const boost::shared_ptr<UDMContentDefinition>& definition)
      : m_definition(definition) {}
  boost::shared_ptr<UDMContentDefinition> m_definition;

  friend class UDMProfileUtils;
};

class VQKUDM_API UDMProfileUtils {
 public:
  UDMProfileUtils() = default;
  UDMProfileUtils(const UDMProfileUtils&) = default;
  UDMProfileUtils(UDMProfileUtils&&) = default;
  UDMProfileUtils& operator=(const UDMProfileUtils&) = default;
  UDMProfileUtils& operator=(UDMProfileUtils&&) = default;
  ~UDMProfileUtils();

  // Null for a name the schema does not have; raises for an empty name.
  boost::shared_ptr<UDMContentDefinition> GetContentDefinition(const vqString& cdefName);
  UDMContentDefinitionHandle GetContentDefinitionHandle(const vqString& cdefName);
  // Raise when the definition or the attribute does not exist.
  boost::shared_ptr<UDMAttributeDefinition> GetAttributeDefinition(const vqString& cdefName,
                                                                   const vqString& attributeName);
  UDMAttributeDefinitionHandle GetAttributeDefinitionHandle(const vqString& cdefName,
                                                            const vqString& attributeName);
  vqStlVector<vqString> GetAttributeNameList(vqString cdefName);
  void GetCdefsForClassName(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out,
                            const vqString& className) const;
  void GetCdefHandlesForClassName(vqStlVector<UDMContentDefinitionHandle>& out, const vqString& className) const;
  // Group names of a definition; `groupKind` "composition", "association",
  // "reference" or "owner" keeps one kind, empty keeps all.
  void GetGroupNames(const vqString& cdefName, vqStlVector<vqString>& out, vqString groupKind) const;
  // The last group of the parent that admits the child, and its kind; both
  // left as they were when none does.
  void GetGroupNameAndType(vqString& groupName, vqString& groupType, const vqString& parentCdefName,
                           const vqString& childCdefName) const;
  void GetAllowedChildCdefNames(const vqString& parentCdefName, vqStlVector<vqString>& out,
                                const vqString& groupName) const;
  int GetMaxFileNumber(const vqString& cdefName) const;
  int GetMinFileNumber(const vqString& cdefName) const;
  vqStlVector<boost::shared_ptr<UDMContentDefinition>> GetRegisteredContentDefinition();
  vqStlSet<vqString> GetRegisteredContentDefinitionClassNames();
  vqStlVector<vqString> GetRegisteredContentDefinitionNames();

 private:
  explicit UDMProfileUtils(const boost::shared_ptr<IUDMProfile>& profile) : m_profile(profile) {}
  explicit UDMProfileUtils(const boost::shared_ptr<const IUDMProfile>& profile) : m_profile(profile) {}
  boost::shared_ptr<const IUDMProfile> GetProfile() const;
  boost::shared_ptr<IUDMSession> GetSession() const;
  // GetContentDefinition, for the const questions.
  boost::shared_ptr<UDMContentDefinition> FindDefinition(const vqString& cdefName) const;
  // The definition of that name; raises with `signature` when there is none.
  boost::shared_ptr<UDMContentDefinition> RequireContentDefinition(const char* signature,
                                                                   const vqString& cdefName) const;

  boost::weak_ptr<const IUDMProfile> m_profile;

  friend class UDMCoreProfile;
};

// Reads an entity that is a classification category.
class VQKUDM_API ClassificationReader : public EntityReader<UDMItemHandle> {
 public:
  ClassificationReader();
  explicit ClassificationReader(const UDMItemHandle& entity);
  ~ClassificationReader() override;
  vqString GetName() override;
  bool IsSupported() const override;
  void GetChildClassification(vqStlVector<UDMItemHandle>& out) const;
  vqString GetVault();
  bool IsMaster() const;

 private:
  // Raises when the entity is not a classification.
  boost::shared_ptr<UDMClassification> _GetClassification() const;
};

}  // namespace vqkudm
