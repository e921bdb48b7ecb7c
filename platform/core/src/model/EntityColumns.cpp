#include "EntityColumns.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMAbstractBaseEntity.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>

#include "../store/EntityStore.h"

namespace vqkudm::model {

namespace {

void SetText(vqStlMap<vqString, vqVariant>& attributes, const vqString& name, vqString value) {
  if (value.empty()) {
    attributes.erase(name);
  } else {
    attributes.insert_or_assign(name, vqVariant(std::move(value)));
  }
}

// Copies from a record given as const, moves from one given as an rvalue.
template <class Record>
void SetColumnAttributes(Record&& record, vqStlMap<vqString, vqVariant>& attributes) {
  SetText(attributes, kSmdName, std::forward<Record>(record).name);
  SetText(attributes, kSmdCreateduser, std::forward<Record>(record).createdBy);
  SetText(attributes, kSmdCreatime, std::forward<Record>(record).createdTime);
  SetText(attributes, kSmdUser, std::forward<Record>(record).modifiedBy);
  SetText(attributes, kSmdLstmodtime, std::forward<Record>(record).modifiedTime);
  SetText(attributes, kSmdComment, std::forward<Record>(record).comment);
}

}  // namespace

bool IsColumnBackedAttribute(const vqString& name) {
  return name == kSmdName || name == kSmdCreateduser || name == kSmdCreatime || name == kSmdUser ||
         name == kSmdLstmodtime || name == kSmdComment;
}

const AttributeDefinitions& BatchDefinitions::Of(const UDMAbstractBaseEntity& entity) {
  const boost::shared_ptr<UDMContentDefinition>& cdef = entity.GetContentDefinition();
  auto [known, added] = m_byDefinition.try_emplace(cdef.get());
  if (added) cdef->GetAttributeDefinitions(known->second);
  return known->second;
}

void CheckMandatoryAttributes(const UDMAbstractBaseEntity& entity,
                              const AttributeDefinitions& definitions) {
  for (const auto& definition : definitions) {
    if (!definition->IsMandatory()) continue;
    auto it = entity.GetAttributes().find(definition->GetName());
    if (it == entity.GetAttributes().end() || it->second.ToString().empty()) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "cannot persist " + entity.ToString("") + ": the mandatory attribute \"" +
                                   definition->GetName() + "\" has no value",
                               ExcSubEmpty);
    }
  }
}

void CheckUniqueAttributes(
    const UDMAbstractBaseEntity& entity, const AttributeDefinitions& definitions,
    store::EntityStore& db,
    std::map<std::pair<vqString, vqString>, const UDMAbstractBaseEntity*>& seen) {
  for (const auto& definition : definitions) {
    if (!definition->IsUnique()) continue;
    const vqString& name = definition->GetName();
    auto held = entity.GetAttributes().find(name);
    if (held == entity.GetAttributes().end() || held->second.IsEmpty()) continue;
    const vqString text = held->second.ToString();
    auto [it, fresh] = seen.emplace(std::make_pair(name, text), &entity);
    if (!fresh || db.IsValueTaken(name, text, entity.GetUID().GetDmUid())) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "cannot persist " + entity.ToString("") +
                                   ": the unique attribute \"" + name + "\" value \"" + text +
                                   "\" is already used" +
                                   (fresh ? vqString() : " by " + it->second->ToString("")),
                               ExcSubConflict);
    }
  }
}

void SplitColumnAttributes(const vqStlMap<vqString, vqVariant>& attributes,
                           vqStlVector<std::pair<vqString, vqVariant>>& out) {
  for (const auto& [name, value] : attributes) {
    if (!IsColumnBackedAttribute(name)) out.emplace_back(name, value);
  }
}

void ApplyColumnAttributes(const store::RevisionRecord& record, vqStlMap<vqString, vqVariant>& attributes) {
  SetColumnAttributes(record, attributes);
}

void ApplyColumnAttributes(store::RevisionRecord&& record,
                           vqStlMap<vqString, vqVariant>& attributes) {
  SetColumnAttributes(std::move(record), attributes);
}

void TakeRecordAttributes(store::RevisionRecord&& record, vqStlMap<vqString, vqVariant>& attributes) {
  for (auto& [name, value] : record.attributes) attributes.insert_or_assign(std::move(name), std::move(value));
  SetColumnAttributes(std::move(record), attributes);
}

}  // namespace vqkudm::model
