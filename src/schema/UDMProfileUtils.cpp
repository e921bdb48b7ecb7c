#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMNames.h>
#include <vqkudm/UDMProfileUtils.h>

#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

#define VQ_UTILS_SIG(result, rest) VQ_SIG(result, "UDMProfileUtils", rest)
#define VQ_T_CDEF_PTR VQ_T_SHARED("class vqkudm::UDMContentDefinition")

namespace {

// "composition", "association", "reference" or "owner", flags tested in that order.
vqString GroupKind(const UDMChildGroup& group) {
  if (group.IsComposition()) return "composition";
  if (group.IsAssociation()) return "association";
  if (group.IsReference()) return "reference";
  return "owner";
}

}  // namespace

UDMProfileUtils::~UDMProfileUtils() = default;

boost::shared_ptr<const IUDMProfile> UDMProfileUtils::GetProfile() const {
  boost::shared_ptr<const IUDMProfile> profile = m_profile.lock();
  if (!profile) {
    ThrowUDMException(VQ_UTILS_SIG(VQ_T_SHARED("class vqkudm::IUDMProfile const"), "GetProfile(void) const"),
                      "Null profile ptr", ExcCatState, ExcSubNull);
  }
  return profile;
}

boost::shared_ptr<IUDMSession> UDMProfileUtils::GetSession() const {
  boost::shared_ptr<IUDMSession> session;
  GetProfile()->GetSession(session);
  return session;
}

boost::shared_ptr<UDMContentDefinition> UDMProfileUtils::GetContentDefinition(const vqString& cdefName) {
  return FindDefinition(cdefName);
}

boost::shared_ptr<UDMContentDefinition> UDMProfileUtils::FindDefinition(const vqString& cdefName) const {
  if (cdefName.empty()) {
    ThrowEmptyArgument(VQ_UTILS_SIG(VQ_T_CDEF_PTR, "GetContentDefinition(" VQ_T_STRING_CREF ")"), "Cdef Name empty");
  }
  return GetSession()->GetContentDefinition(cdefName);
}

boost::shared_ptr<UDMContentDefinition> UDMProfileUtils::RequireContentDefinition(const char* signature,
                                                                                  const vqString& cdefName) const {
  boost::shared_ptr<UDMContentDefinition> definition =
      FindDefinition(cdefName);
  if (!definition) {
    ThrowUDMException(signature, "Unable to get CdefPtr for CDEF : " + cdefName, ExcCatState, ExcSubNull);
  }
  return definition;
}

UDMContentDefinitionHandle UDMProfileUtils::GetContentDefinitionHandle(const vqString& cdefName) {
  return UDMContentDefinitionHandle(GetContentDefinition(cdefName));
}

boost::shared_ptr<UDMAttributeDefinition> UDMProfileUtils::GetAttributeDefinition(const vqString& cdefName,
                                                                                  const vqString& attributeName) {
  static const char* const kSignature =
      VQ_UTILS_SIG(VQ_T_SHARED("class vqkudm::UDMAttributeDefinition"),
                   "GetAttributeDefinition(" VQ_T_STRING_CREF "," VQ_T_STRING_CREF ")");
  boost::shared_ptr<UDMAttributeDefinition> attribute =
      RequireContentDefinition(kSignature, cdefName)->GetAttributeDefinition(attributeName);
  if (!attribute) {
    ThrowUDMException(kSignature,
                      "Unable to get attributeDef for CDEF : " + cdefName + "\n\t AttributeName :: " + attributeName,
                      ExcCatState, ExcSubNull);
  }
  return attribute;
}

UDMAttributeDefinitionHandle UDMProfileUtils::GetAttributeDefinitionHandle(const vqString& cdefName,
                                                                           const vqString& attributeName) {
  return UDMAttributeDefinitionHandle(GetAttributeDefinition(cdefName, attributeName));
}

vqStlVector<vqString> UDMProfileUtils::GetAttributeNameList(vqString cdefName) {
  vqStlVector<vqString> names;
  vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> attributes;
  RequireContentDefinition(VQ_UTILS_SIG(VQ_T_VECTOR(VQ_T_STRING), "GetAttributeNameList(" VQ_T_STRING ")"), cdefName)
      ->GetAttributeDefinitions(attributes);
  for (const boost::shared_ptr<UDMAttributeDefinition>& attribute : attributes) names.push_back(attribute->GetName());
  return names;
}

void UDMProfileUtils::GetCdefsForClassName(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out,
                                           const vqString& className) const {
  vqStlVector<vqString> names;
  GetSession()->GetConfiguration()->GetContentDefNamesForClass(names, className, true);
  for (const vqString& name : names) out.push_back(FindDefinition(name));
}

void UDMProfileUtils::GetCdefHandlesForClassName(vqStlVector<UDMContentDefinitionHandle>& out,
                                                 const vqString& className) const {
  vqStlVector<boost::shared_ptr<UDMContentDefinition>> definitions;
  GetCdefsForClassName(definitions, className);
  for (const auto& definition : definitions) out.push_back(UDMContentDefinitionHandle(definition));
}

void UDMProfileUtils::GetGroupNames(const vqString& cdefName, vqStlVector<vqString>& out, vqString groupKind) const {
  if (cdefName == kFolderKindCategories) {
    out.push_back("category");
    out.push_back("content");
    return;
  }
  if (cdefName == kFolderKindFoldertype || cdefName == "UDMCTEntityCollector") {
    out.push_back("folder");
    out.push_back("content");
    return;
  }
  vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;
  RequireContentDefinition(VQ_UTILS_SIG("void", "GetGroupNames(" VQ_T_STRING_CREF "," VQ_T_VECTOR(VQ_T_STRING)
                                                    " &," VQ_T_STRING ") const"),
                           cdefName)
      ->GetGroups(groups, false);
  for (const boost::shared_ptr<UDMChildGroup>& group : groups) {
    if (groupKind.empty() || GroupKind(*group) == groupKind) out.push_back(group->GetName());
  }
}

void UDMProfileUtils::GetGroupNameAndType(vqString& groupName, vqString& groupType, const vqString& parentCdefName,
                                          const vqString& childCdefName) const {
  boost::shared_ptr<UDMContentDefinition> parent = FindDefinition(parentCdefName);
  boost::shared_ptr<UDMContentDefinition> child = FindDefinition(childCdefName);
  if (!parent || !child) return;
  vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;
  parent->GetGroups(groups, false);
  for (const boost::shared_ptr<UDMChildGroup>& group : groups) {
    vqStlVector<boost::shared_ptr<UDMContentDefinition>> allowed;
    group->GetAllowedContents(allowed);
    for (const boost::shared_ptr<UDMContentDefinition>& candidate : allowed) {
      if (candidate->GetType() != child->GetType()) continue;
      groupName = group->GetName();
      groupType = GroupKind(*group);
    }
  }
}

void UDMProfileUtils::GetAllowedChildCdefNames(const vqString& parentCdefName, vqStlVector<vqString>& out,
                                               const vqString& groupName) const {
  static const char* const kSignature = VQ_UTILS_SIG(
      "void", "GetAllowedChildCdefNames(" VQ_T_STRING_CREF "," VQ_T_VECTOR(VQ_T_STRING) " &," VQ_T_STRING_CREF ") const");
  boost::shared_ptr<UDMChildGroup> group =
      RequireContentDefinition(kSignature, parentCdefName)->GetUDMChildGroup(groupName);
  if (!group) {
    ThrowUDMException(kSignature,
                      "Unable to get ChildGroupPtr for CDEF: " + parentCdefName + "\n\t GroupName :: " + groupName,
                      ExcCatState, ExcSubNull);
  }
  vqStlVector<boost::shared_ptr<UDMContentDefinition>> allowed;
  group->GetAllowedContents(allowed);
  for (const boost::shared_ptr<UDMContentDefinition>& definition : allowed) out.push_back(definition->GetType());
}

int UDMProfileUtils::GetMaxFileNumber(const vqString& cdefName) const {
  if (cdefName.empty()) {
    ThrowEmptyArgument(VQ_UTILS_SIG("int", "GetMaxFileNumber(" VQ_T_STRING_CREF ") const"),
                       "Content Definition name is Empty.");
  }
  return GetSession()->GetConfiguration()->GetMaxFileNr(cdefName);
}

int UDMProfileUtils::GetMinFileNumber(const vqString& cdefName) const {
  if (cdefName.empty()) {
    ThrowEmptyArgument(VQ_UTILS_SIG("int", "GetMinFileNumber(" VQ_T_STRING_CREF ") const"),
                       "Content Definition name is Empty.");
  }
  return GetSession()->GetConfiguration()->GetMinFileNr(cdefName);
}

vqStlVector<boost::shared_ptr<UDMContentDefinition>> UDMProfileUtils::GetRegisteredContentDefinition() {
  vqStlVector<boost::shared_ptr<UDMContentDefinition>> definitions;
  GetSession()->GetAllContentDefinitions(definitions);
  return definitions;
}

vqStlSet<vqString> UDMProfileUtils::GetRegisteredContentDefinitionClassNames() {
  vqStlSet<vqString> names;
  for (const auto& definition : GetRegisteredContentDefinition()) names.insert(definition->GetUDMClassName());
  return names;
}

vqStlVector<vqString> UDMProfileUtils::GetRegisteredContentDefinitionNames() {
  vqStlVector<vqString> names;
  for (const auto& definition : GetRegisteredContentDefinition()) names.push_back(definition->GetType());
  return names;
}

// ---- definition handles

UDMAttributeDefinitionHandle::~UDMAttributeDefinitionHandle() = default;
UDMContentDefinitionHandle::~UDMContentDefinitionHandle() = default;

const UDMAttributeDefinition& UDMAttributeDefinitionHandle::Definition() const {
  if (!m_definition) {
    ThrowUDMException(VQ_SIG("const class vqkudm::UDMAttributeDefinition &", "UDMAttributeDefinitionHandle",
                             "Definition(void) const"),
                      "Empty attribute definition handle", ExcCatState, ExcSubNull);
  }
  return *m_definition;
}

const UDMContentDefinition& UDMContentDefinitionHandle::Definition() const {
  if (!m_definition) {
    ThrowUDMException(VQ_SIG("const class vqkudm::UDMContentDefinition &", "UDMContentDefinitionHandle",
                             "Definition(void) const"),
                      "Empty content definition handle", ExcCatState, ExcSubNull);
  }
  return *m_definition;
}

UDMAttributeDefinitionHandle UDMContentDefinitionHandle::GetAttributeDefinition(const vqString& name) const {
  return UDMAttributeDefinitionHandle(Definition().GetAttributeDefinition(name));
}

void UDMContentDefinitionHandle::GetAttributeDefinitions(vqStlVector<UDMAttributeDefinitionHandle>& out) const {
  vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> attributes;
  Definition().GetAttributeDefinitions(attributes);
  for (const auto& attribute : attributes) out.push_back(UDMAttributeDefinitionHandle(attribute));
}

void UDMContentDefinitionHandle::GetAllowedContents(vqStlVector<UDMContentDefinitionHandle>& out,
                                                    const vqString& groupName) const {
  vqStlVector<boost::shared_ptr<UDMContentDefinition>> allowed;
  Definition().GetAllowedContents(allowed, groupName);
  for (const auto& definition : allowed) out.push_back(UDMContentDefinitionHandle(definition));
}

}  // namespace vqkudm
