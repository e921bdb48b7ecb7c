#pragma once

// Schema questions against one profile's content definitions, and value
// handles over definitions (an empty definition handle raises when asked). UDMProfileUtils holds its profile weakly and asks
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

  vqString GetName() const { return Definition().GetName(); }
  vqString GetDisplayName() const { return Definition().GetDisplayName(); }
  vqString GetDescription() const { return Definition().GetDescription(); }
  vqString GetCategory() const { return Definition().GetCategory(); }
  vqString GetDataType() const { return Definition().GetDataType(); }
  vqString GetDefaultValue() const { return Definition().GetDefaultValue(); }
  const vqString& GetRegEx() const { return Definition().GetRegEx(); }
  bool GetStaticValidValues(vqStlVector<vqString>& out) const { return Definition().GetStaticValidValues(out); }
  bool IsDefaultValueSet() const { return Definition().IsDefaultValueSet(); }
  bool IsDisplayable() const { return Definition().IsDisplayable(); }
  bool IsEditable() const { return Definition().IsEditable(); }
  bool IsMandatory() const { return Definition().IsMandatory(); }
  bool IsSystem() const { return Definition().IsSystem(); }
  virtual vqString ToString(const vqString& indent) const { return Definition().ToString(indent); }
  using UDMHandle::ToString;

  bool IsEmpty() const { return !m_definition; }

 private:
  explicit UDMAttributeDefinitionHandle(const boost::shared_ptr<UDMAttributeDefinition>& definition)
      : m_definition(definition) {}
  // Raises for an empty handle.
  const UDMAttributeDefinition& Definition() const;
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

  void DisplayName(vqString& out) const { Definition().DisplayName(out); }
  const vqString& GetType() const { return Definition().GetType(); }
  vqString GetUDMClassName() { return Definition().GetUDMClassName(); }
  void GetDerivedFrom(vqString& out) const { Definition().GetDerivedFrom(out); }
  void GetDNamePropertyName(vqString& out) const { Definition().GetDNamePropertyName(out); }
  int GetSchemaVersion() const { return Definition().GetSchemaVersion(); }
  void GetGroupNames(vqStlVector<vqString>& out, bool includeInternal) const {
    Definition().GetGroupNames(out, includeInternal);
  }
  void GetAttributeNames(vqStlVector<vqString>& out) const { Definition().GetAttributeNames(out); }
  UDMAttributeDefinitionHandle GetAttributeDefinition(const vqString& name) const;
  void GetAttributeDefinitions(vqStlVector<UDMAttributeDefinitionHandle>& out) const;
  void GetAllowedContents(vqStlVector<UDMContentDefinitionHandle>& out, const vqString& groupName) const;
  bool IsCollection() const { return Definition().IsCollection(); }
  bool IsComposition(const vqString& group) const { return Definition().IsComposition(group); }
  bool IsMultipleParentsAllowed() const { return Definition().IsMultipleParentsAllowed(); }
  bool IsNonDisplayAble() const { return Definition().IsNonDisplayAble(); }
  bool IsRelation() const { return Definition().IsRelation(); }
  bool IsSystemCDef() const { return Definition().IsSystemCDef(); }
  bool isAnyCollectionAllowed() { return Definition().isAnyCollectionAllowed(); }
  bool isAnyContentAllowed() { return Definition().isAnyContentAllowed(); }

 private:
  explicit UDMContentDefinitionHandle(const boost::shared_ptr<UDMContentDefinition>& definition)
      : m_definition(definition) {}
  // Raises for an empty handle.
  const UDMContentDefinition& Definition() const;
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
