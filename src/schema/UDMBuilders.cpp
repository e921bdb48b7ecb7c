#include <vqkudm/UDMBuilders.h>
#include <vqkudm/UDMCoreProfile.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqlmosa/osaFileInfo.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

// ---- SetAttributeBuilder

SetAttributeBuilder::SetAttributeBuilder(boost::shared_ptr<UDMCoreProfile>& profile) : m_profile(profile) {}
SetAttributeBuilder::~SetAttributeBuilder() = default;

boost::shared_ptr<SetAttributeBuilder> SetAttributeBuilder::Create(boost::shared_ptr<UDMCoreProfile>& profile) {
  return boost::shared_ptr<SetAttributeBuilder>(new SetAttributeBuilder(profile));
}

boost::shared_ptr<SetAttributeBuilder> SetAttributeBuilder::setEntity(UDMItemHandle& entity) {
  m_entity = entity;
  return shared_from_this();
}

boost::shared_ptr<SetAttributeBuilder> SetAttributeBuilder::setAttributeName(const vqString& name) {
  m_name = name;
  return shared_from_this();
}

boost::shared_ptr<SetAttributeBuilder> SetAttributeBuilder::setAttributeValue(const vqString& value) {
  m_textValue = value;
  return shared_from_this();
}

boost::shared_ptr<SetAttributeBuilder> SetAttributeBuilder::setAttributeValue(const vqVariant& value) {
  m_variantValue = value;
  return shared_from_this();
}

void SetAttributeBuilder::go() { m_profile->SetAttribute(m_entity, m_name, vqVariant(m_textValue)); }

// ---- AddFileBuilder

AddFileBuilder::AddFileBuilder(const UDMItemHandle& entity, const boost::shared_ptr<IUDMProfile>& profile)
    : m_entity(entity), m_profile(profile) {}

AddFileBuilder& AddFileBuilder::setFilePath(const vqString& path) {
  m_filePath = path;
  return *this;
}
AddFileBuilder& AddFileBuilder::setExtFileLastModTime(const vqString& time) {
  m_extFileLastModTime = time;
  return *this;
}
AddFileBuilder& AddFileBuilder::setAbsWsFolderPath(const vqString& folder) {
  m_absWsFolderPath = folder;
  return *this;
}
AddFileBuilder& AddFileBuilder::setIsExternal(bool external) {
  m_isExternal = external;
  return *this;
}
AddFileBuilder& AddFileBuilder::setExtFileSize(long size) {
  m_extFileSize = size;
  return *this;
}

void AddFileBuilder::go() {
  boost::shared_ptr<UDMCoreProfile> profile = boost::dynamic_pointer_cast<UDMCoreProfile>(m_profile.lock());
  if (!profile) {
    ThrowUDMException(VQ_SIG("void", "AddFileBuilder", "go(void)"), "Null profile ptr", ExcCatState, ExcSubNull);
  }
  boost::shared_ptr<UDMItem> item = profile->_GetUDMItem(m_entity);
  if (m_isExternal) {
    item->AddExternalFile(m_filePath, static_cast<int>(m_extFileSize), osaFileInfo(m_filePath).GetFileName(),
                          m_extFileLastModTime);
    return;
  }
  // Kept files always go to the top folder, whatever the caller set.
  m_absWsFolderPath = "/";
  try {
    item->AddFile(m_filePath, true, false, m_absWsFolderPath);
  } catch (const UDMException& e) {
    if (e.GetExceptionSubCategory() != ExcSubFileExists) throw;
    item->UpdateFile(m_filePath);
  }
}

}  // namespace vqkudm
