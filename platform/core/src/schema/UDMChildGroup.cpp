#include <vqkudmrt/UDMChildGroup.h>

#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMConfiguration.h>

namespace vqkudm {

void UDMChildGroup::GetAllowedContents(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out) const {
  boost::shared_ptr<UDMConfiguration> configuration = m_configuration.lock();
  if (!configuration) return;
  for (const vqString& type : m_fields.allowedTypes) {
    if (auto definition = configuration->GetContentDefinition(type)) out.push_back(definition);
  }
}

boost::shared_ptr<UDMAttributeDefinition> UDMChildGroup::GetUseAttributeDefinition(const vqString& name) const {
  for (const auto& definition : m_fields.useAttributes) {
    if (definition->GetName() == name) return definition;
  }
  return boost::shared_ptr<UDMAttributeDefinition>();
}

bool UDMChildGroup::Admits(const vqString& childType, const UDMConfiguration& configuration) const {
  if (m_fields.allowedTypes.empty()) return true;
  boost::shared_ptr<UDMContentDefinition> child = configuration.GetContentDefinition(childType);
  for (const vqString& type : m_fields.allowedTypes) {
    if (type == childType || (child && child->DerivesFrom(type))) return true;
  }
  return false;
}

}  // namespace vqkudm
