#include "EntityColumns.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMAbstractBaseEntity.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>

#include "../store/EntityStore.h"

namespace vqkudm::model {

namespace {

void SetText(UDMAttributeMap& attributes, const vqString& name, vqString value) {
  if (value.empty()) {
    attributes.erase(name);
  } else {
    attributes.insert_or_assign(name, vqVariant(std::move(value)));
  }
}

// Calls `visit(name, text)` for each column-backed text of a record.
template <class Record, class Visit>
void ForEachColumnText(Record& record, Visit visit) {
  visit(kSmdName, record.name);
  visit(kSmdCreateduser, record.createdBy);
  visit(kSmdCreatime, record.createdTime);
  visit(kSmdUser, record.modifiedBy);
  visit(kSmdLstmodtime, record.modifiedTime);
  visit(kSmdComment, record.comment);
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

void SplitColumnAttributes(const UDMAttributeMap& attributes, UDMAttributeMap::sequence_type& out) {
  out.reserve(out.size() + attributes.size());
  for (const auto& [name, value] : attributes) {
    if (!IsColumnBackedAttribute(name)) out.emplace_back(name, value);
  }
}

void ApplyColumnAttributes(const store::RevisionRecord& record, UDMAttributeMap& attributes) {
  ForEachColumnText(
      record, [&](const vqString& name, const vqString& text) { SetText(attributes, name, text); });
}

void ApplyColumnAttributes(store::RevisionRecord&& record, UDMAttributeMap& attributes) {
  ForEachColumnText(record, [&](const vqString& name, vqString& text) {
    SetText(attributes, name, std::move(text));
  });
}

void TakeRecordAttributes(store::RevisionRecord&& record, UDMAttributeMap& attributes) {
  // The record's attributes become the map's block as they are, sorted once.
  ForEachColumnText(record, [&record](const vqString& name, vqString& text) {
    if (!text.empty()) record.attributes.emplace_back(name, vqVariant(std::move(text)));
  });
  attributes.adopt_sequence(std::move(record.attributes));
}

}  // namespace vqkudm::model
