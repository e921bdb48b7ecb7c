#pragma once

// The system attributes the repository keeps in columns of its own (name,
// who and when) rather than among the typed attributes.

#include <map>
#include <utility>

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/UDMAttributeMap.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {
class UDMAbstractBaseEntity;
class UDMAttributeDefinition;
class UDMContentDefinition;
namespace store {
class EntityStore;
struct RevisionRecord;
}

namespace model {

using AttributeDefinitions = vqStlVector<boost::shared_ptr<UDMAttributeDefinition>>;

// The attribute definitions of the entities of one check-in, gathered once
// per content definition rather than once per entity.
class BatchDefinitions {
 public:
  const AttributeDefinitions& Of(const UDMAbstractBaseEntity& entity);

 private:
  std::map<const UDMContentDefinition*, AttributeDefinitions> m_byDefinition;
};

// Raises naming the entity and the attribute when a mandatory one is empty.
void CheckMandatoryAttributes(const UDMAbstractBaseEntity& entity, const AttributeDefinitions& definitions);
// Raises naming both entities when a unique attribute's value is held by
// another stored entity or by another entity of the same batch (`seen`:
// attribute + value -> the entity, filled as the batch is checked).
void CheckUniqueAttributes(const UDMAbstractBaseEntity& entity, const AttributeDefinitions& definitions,
                           store::EntityStore& db,
                           std::map<std::pair<vqString, vqString>, const UDMAbstractBaseEntity*>& seen);
// The attributes to store as typed values: all but the column-backed ones.
void SplitColumnAttributes(const UDMAttributeMap& attributes, UDMAttributeMap::sequence_type& out);
// Whether the repository keeps this system attribute in a column of its own.
bool IsColumnBackedAttribute(const vqString& name);
// Sets the column-backed attributes from a stored record; from one given as
// an rvalue by taking its texts.
void ApplyColumnAttributes(const store::RevisionRecord& record, UDMAttributeMap& attributes);
void ApplyColumnAttributes(store::RevisionRecord&& record, UDMAttributeMap& attributes);
// All the attributes of a stored record in place of those held, its texts
// moved rather than copied.
void TakeRecordAttributes(store::RevisionRecord&& record, UDMAttributeMap& attributes);

}  // namespace model
}  // namespace vqkudm
