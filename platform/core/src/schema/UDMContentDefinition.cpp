#include <vqkudmrt/UDMContentDefinition.h>

#include <set>

#include <boost/make_shared.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMConfiguration.h>

#include "DefinitionXml.h"
#include "SystemAttributes.h"

namespace vqkudm {

UDMContentDefinition::UDMContentDefinition(const Fields& fields,
                                           const boost::weak_ptr<UDMConfiguration>& configuration)
    : m_fields(fields), m_configuration(configuration) {
  // Groups resolve their admitted definitions through this configuration.
  for (auto& group : m_fields.groups) {
    group = boost::make_shared<UDMChildGroup>(group->GetFields(), configuration);
  }
}

UDMContentDefinition::~UDMContentDefinition() = default;

const UDMContentDefinition::Composite* UDMContentDefinition::GetComposite(const vqString& name) const {
  for (const Composite& composite : m_fields.composites) {
    if (composite.name == name) return &composite;
  }
  boost::shared_ptr<UDMContentDefinition> base = Base();
  return base ? base->GetComposite(name) : nullptr;
}

bool UDMContentDefinition::DerivesFrom(const vqString& type) const {
  // Bounded walk: the configuration refuses cycles, this guards against bugs.
  boost::shared_ptr<UDMContentDefinition> base = Base();
  for (int depth = 0; base && depth < 64; ++depth, base = base->Base()) {
    if (base->GetType() == type) return true;
  }
  return false;
}

vqString UDMContentDefinition::GetUDMClassName() const {
  for (const vqString* runtimeClass : {&kClassRelation, &kClassClassification}) {
    if (m_fields.type == *runtimeClass || DerivesFrom(*runtimeClass)) return *runtimeClass;
  }
  return kClassItem;
}

void UDMContentDefinition::GetDNamePropertyName(vqString& out) const {
  out = m_fields.dnameProperty;
  if (out.empty()) {
    if (boost::shared_ptr<UDMContentDefinition> base = Base()) base->GetDNamePropertyName(out);
  }
  if (out.empty()) out = kSmdName;
}

void UDMContentDefinition::GetAttributeDefinitions(
    vqStlVector<boost::shared_ptr<UDMAttributeDefinition>>& out) const {
  if (boost::shared_ptr<UDMContentDefinition> base = Base()) {
    base->GetAttributeDefinitions(out);
  } else {
    const auto& system = schema::SystemAttributes();
    out.insert(out.end(), system.begin(), system.end());
  }
  out.insert(out.end(), m_fields.attributes.begin(), m_fields.attributes.end());
}

boost::shared_ptr<UDMAttributeDefinition> UDMContentDefinition::GetAttributeDefinition(
    const vqString& name) const {
  for (const auto& attribute : m_fields.attributes) {
    if (attribute->GetName() == name) return attribute;
  }
  if (boost::shared_ptr<UDMContentDefinition> base = Base()) return base->GetAttributeDefinition(name);
  for (const auto& attribute : schema::SystemAttributes()) {
    if (attribute->GetName() == name) return attribute;
  }
  return boost::shared_ptr<UDMAttributeDefinition>();
}

void UDMContentDefinition::GetAttributeNames(vqStlVector<vqString>& out) const {
  vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> attributes;
  GetAttributeDefinitions(attributes);
  for (const auto& attribute : attributes) out.push_back(attribute->GetName());
}

void UDMContentDefinition::GetGroups(vqStlVector<boost::shared_ptr<UDMChildGroup>>& out,
                                     bool includeInternal) const {
  if (boost::shared_ptr<UDMContentDefinition> base = Base()) base->GetGroups(out, includeInternal);
  for (const auto& group : m_fields.groups) {
    if (includeInternal || !group->IsInternalGroup()) out.push_back(group);
  }
}

boost::shared_ptr<UDMChildGroup> UDMContentDefinition::GetUDMChildGroup(const vqString& name) const {
  for (const auto& group : m_fields.groups) {
    if (group->GetName() == name) return group;
  }
  if (boost::shared_ptr<UDMContentDefinition> base = Base()) return base->GetUDMChildGroup(name);
  return boost::shared_ptr<UDMChildGroup>();
}

void UDMContentDefinition::GetGroupNames(vqStlVector<vqString>& out, bool includeInternal) const {
  vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;
  GetGroups(groups, includeInternal);
  for (const auto& group : groups) out.push_back(group->GetName());
}

void UDMContentDefinition::GetAllowedContents(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out,
                                              const vqString& groupName) const {
  if (boost::shared_ptr<UDMChildGroup> group = GetUDMChildGroup(groupName)) group->GetAllowedContents(out);
}

vqString UDMContentDefinition::GetMetaValue(const vqString& name) const {
  auto it = m_fields.meta.find(name);
  if (it != m_fields.meta.end()) return it->second;
  if (boost::shared_ptr<UDMContentDefinition> base = Base()) return base->GetMetaValue(name);
  return vqString();
}

bool UDMContentDefinition::GetMetaFlag(const vqString& name) const {
  const vqString value = GetMetaValue(name);
  return value.EqualsNoCase("true") || value == "1";
}

// Entity sets and item sets gather other entities rather than own them.
bool UDMContentDefinition::IsCollection() const {
  for (const vqString& set : {kClassEntitySet, kClassItemSet}) {
    if (m_fields.type == set || DerivesFrom(set)) return true;
  }
  return false;
}

bool UDMContentDefinition::IsComposition(const vqString& group) const {
  boost::shared_ptr<UDMChildGroup> childGroup = GetUDMChildGroup(group);
  return childGroup ? childGroup->IsComposition() : GetMetaFlag(kMetaIsComposition);
}

bool UDMContentDefinition::IsMultipleParentsAllowed() const { return GetMetaFlag(kMetaIsMultipleParentsAllowed); }
bool UDMContentDefinition::IsNonDisplayAble() const { return GetMetaFlag(kMetaIsNonDisplayable); }
bool UDMContentDefinition::IsRelation() const { return GetUDMClassName() == kClassRelation; }
bool UDMContentDefinition::IsSystemCDef() const { return GetMetaFlag(kMetaIsInternal); }
bool UDMContentDefinition::CanBranch() const { return GetMetaFlag(kMetaCanBranch); }
// Being abstract is not inherited: a definition derived from an abstract one
// is concrete unless it says otherwise.
bool UDMContentDefinition::IsAbstract() const {
  auto it = m_fields.meta.find(kMetaIsAbstract);
  return it != m_fields.meta.end() && (it->second.EqualsNoCase("true") || it->second == "1");
}

bool UDMContentDefinition::isAnyCollectionAllowed() const {
  vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;
  GetGroups(groups, true);
  boost::shared_ptr<UDMConfiguration> configuration = m_configuration.lock();
  for (const auto& group : groups) {
    for (const vqString& type : group->GetAllowedTypes()) {
      auto definition = configuration ? configuration->GetContentDefinition(type) : nullptr;
      if (definition && definition->IsCollection()) return true;
    }
  }
  return false;
}

bool UDMContentDefinition::isAnyContentAllowed() const {
  vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;
  GetGroups(groups, true);
  for (const auto& group : groups) {
    if (group->GetAllowedTypes().empty()) return true;
  }
  return false;
}

vqString UDMContentDefinition::ToXml() const { return schema::DefinitionToXml(m_fields); }

}  // namespace vqkudm
