// Reading and extending content definitions at run time.

#include <vqkudm/UDMCoreProfile.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>
#include <vqlmcdefedit/ContentDefinitionModifier.h>
#include <vqutl/vqLMUtils.h>
#include <vqutl/vqUUID.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

namespace {

// A temporary definition file, removed when it goes. Given a source, it is
// that file when it can be read, else a new file holding `xml`.
class ScratchFile {
 public:
  explicit ScratchFile(const vqString& path) : m_path(path), m_owned(true) {}
  ScratchFile(const vqString& source, const vqString& className, const vqString& xml) : m_path(source) {
    std::error_code error;
    if (std::filesystem::is_regular_file(source.str(), error)) return;
    vqlm::UUID uuid;
    uuid.Generate();
    m_path = vqLMUtils::UtilsGetTempDirectory() + "/" + className + uuid.ToString() + ".xml";
    m_owned = true;
    std::ofstream(m_path.str()) << xml;
  }
  ~ScratchFile() {
    std::error_code ignored;
    if (m_owned) std::filesystem::remove(m_path.str(), ignored);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  const vqString& Path() const { return m_path; }

 private:
  vqString m_path;
  bool m_owned = false;
};

}  // namespace

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
  // A definition the repository holds, or whose file is gone, is edited
  // from its current form.
  const ScratchFile current(definition->Getfile(), className, definition->ToXml());
  vqlm::ContentDefinitionModifier modifier(current.Path(), className);
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
  const ScratchFile modified(path);
  ModifyContentDefinition(path, className, metadata, composite);
  return UpdateContentDefinition(path);
}

bool UDMCoreProfile::UpdateContentDefinition(const vqString& path) {
  boost::shared_ptr<IUDMSession> session = Session();
  return session ? session->UpdateContentDefinition(path) : false;
}

}  // namespace vqkudm
