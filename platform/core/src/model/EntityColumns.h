#pragma once

// The system attributes the repository keeps in columns of its own (name,
// who and when) rather than among the typed attributes.

#include <map>
#include <utility>

#include <vqutl/vqStl.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {
class UDMAbstractBaseEntity;
namespace store {
class EntityStore;
struct RevisionRecord;
}

namespace model {

// Raises naming the entity and the attribute when a mandatory one is empty.
void CheckMandatoryAttributes(const UDMAbstractBaseEntity& entity);
// Raises naming both entities when a unique attribute's value is held by
// another stored entity or by another entity of the same batch (`seen`:
// attribute + value -> entity text, filled as the batch is checked).
void CheckUniqueAttributes(const UDMAbstractBaseEntity& entity, store::EntityStore& db,
                           std::map<std::pair<vqString, vqString>, vqString>& seen);
// The attributes to store as typed values: all but the column-backed ones.
void SplitColumnAttributes(const vqStlMap<vqString, vqVariant>& attributes,
                           vqStlVector<std::pair<vqString, vqVariant>>& out);
// Whether the repository keeps this system attribute in a column of its own.
bool IsColumnBackedAttribute(const vqString& name);
// Sets the column-backed attributes from a stored record.
void ApplyColumnAttributes(const store::RevisionRecord& record, vqStlMap<vqString, vqVariant>& attributes);
// All the attributes of a stored record, its texts moved rather than copied.
void TakeRecordAttributes(store::RevisionRecord&& record, vqStlMap<vqString, vqVariant>& attributes);

}  // namespace model
}  // namespace vqkudm
