// Reading and extending content definitions at run time.

#include <vqkudm/UDMCoreProfile.h>

#include <algorithm>

#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>
#include <vqlmcdefedit/ContentDefinitionModifier.h>
#include <vqutl/vqLMUtils.h>
#include <vqutl/vqUUID.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

UDMCdefMetaData::UDMCdefMetaData(const vqString& name, const vqString& displayName, const vqString& description,
                                 const vqString& defaultValue, const vqString& type, const vqString& category,
                                 bool displayable, bool mandatory, bool editable,
                                 const vqStlVector<vqString>& validValues)
    : m_name(name),
      m_type(type),
      m_displayName(displayName),
      m_description(description),
      m_defaultValue(defaultValue),
      m_category(category),
      m_mandatory(mandatory),
      m_displayable(displayable),
      m_editable(editable),
      m_validValues(validValues) {}

void UDMCoreProfile::GetMetaData(const vqString& className, vqStlVector<UDMCdefMetaData>& out) {
  boost::shared_ptr<UDMContentDefinition> definition = GetProfileUtils().GetContentDefinition(className);
  if (!definition) {
    ThrowUDMException(VQ_PROFILE_SIG("void", "GetMetaData(" VQ_T_STRING_CREF "," VQ_T_VECTOR(
                                                 "class vqkudm::UDMCdefMetaData") " &)"),
                      "Unable to get CdefPtr for CDEF : " + className, ExcCatState, ExcSubNull);
  }
  vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> attributes;
  definition->GetAttributeDefinitions(attributes);
  for (const boost::shared_ptr<UDMAttributeDefinition>& attribute : attributes) {
    if (attribute->IsSystem()) continue;
    vqStlVector<vqString> validValues;
    attribute->GetStaticValidValues(validValues);
    out.push_back(UDMCdefMetaData(attribute->GetName(), attribute->GetDisplayName(), attribute->GetDescription(),
                                  attribute->GetDefaultValue(), attribute->GetDataType(), attribute->GetCategory(),
                                  attribute->IsDisplayable(), attribute->IsMandatory(), attribute->IsEditable(),
                                  validValues));
  }
}

bool UDMCoreProfile::ModifyContentDefinition(vqString outputPath, const vqString& className,
                                             vqStlVector<UDMCdefMetaData>& metadata,
                                             UDMCdefCompositeMetaData* composite) {
  static const char* const kSignature = VQ_PROFILE_SIG(
      "bool", "ModifyContentDefinition(" VQ_T_STRING "," VQ_T_STRING_CREF "," VQ_T_VECTOR(
                  "class vqkudm::UDMCdefMetaData") " &,class vqkudm::UDMCdefCompositeMetaData *)");
  boost::shared_ptr<IUDMSession> session = Session();
  if (!session->GetConfiguration()) {
    ThrowUDMException(kSignature, FormatArgumentMessage(kSignature, kArgNullPattern, "UDMConfiguration"),
                      ExcCatState, ExcSubNull);
  }
  boost::shared_ptr<UDMContentDefinition> definition = GetProfileUtils().GetContentDefinition(className);
  if (!definition) {
    ThrowUDMException(kSignature, "Unable to get CdefPtr for CDEF : " + className, ExcCatState, ExcSubNull);
  }
  vqlm::ContentDefinitionModifier modifier(definition->Getfile(), className);
  vqStlVector<vqString> names;
  definition->GetAttributeNames(names);
  for (const UDMCdefMetaData& entry : metadata) {
    vqlm::LMMETADATATYPE type;
    if (!vqlm::MetadataTypeFromName(entry.Type(), type)) {
      ThrowUnSupportedException(kSignature, entry.Type() + " Unsupported on UDMCoreProfile", ExcSubGeneral);
    }
    modifier.AddMetadata(entry.Name(), type, entry.Mandatory(), entry.Editable(), entry.Displayable(),
                         entry.DisplayName(), entry.Description(), entry.Category(), entry.DefaultValue(),
                         entry.ValidVal());
    names.push_back(entry.Name());
  }
  std::sort(names.begin(), names.end());
  if (composite) {
    const vqStlVector<vqString> members = composite->MetadataNameList();
    for (const vqString& member : members) {
      if (!std::binary_search(names.begin(), names.end(), member)) {
        ThrowUnSupportedException(kSignature, member + " Unsupported Attribute name in CompositeMetadata",
                                  ExcSubGeneral);
      }
    }
    modifier.AddCompositeMetadata(composite->Name(), composite->Type(), composite->DisplayName(), members,
                                  composite->Delimiter());
  }
  modifier.Write(outputPath);
  return true;
}

bool UDMCoreProfile::ModifyUpdateContentDefinition(const vqString& className, vqStlVector<UDMCdefMetaData>& metadata,
                                                   UDMCdefCompositeMetaData* composite) {
  vqlm::UUID uuid;
  uuid.Generate();
  const vqString path = vqLMUtils::UtilsGetTempDirectory() + "/" + className + uuid.ToString() + ".xml";
  vqStlVector<vqString> existing = GetProfileUtils().GetAttributeNameList(className);
  std::sort(existing.begin(), existing.end());
  metadata.erase(std::remove_if(metadata.begin(), metadata.end(),
                                [&](const UDMCdefMetaData& entry) {
                                  return std::binary_search(existing.begin(), existing.end(), entry.Name());
                                }),
                 metadata.end());
  if (metadata.empty()) return true;
  ModifyContentDefinition(path, className, metadata, composite);
  return UpdateContentDefinition(path);
}

bool UDMCoreProfile::UpdateContentDefinition(const vqString& path) {
  boost::shared_ptr<IUDMSession> session = Session();
  return session ? session->UpdateContentDefinition(path) : false;
}

}  // namespace vqkudm
