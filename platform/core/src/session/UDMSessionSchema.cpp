// Definitions changed at run time and shared through the repository.

#include <vqkudmrt/UDMSession.h>

#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>

#include "../schema/DefinitionXml.h"
#include "../store/EntityStore.h"

namespace vqkudm {

namespace {

boost::shared_ptr<UDMAttributeDefinition> OwnAttribute(const UDMContentDefinition::Fields& fields,
                                                        const vqString& name) {
  for (const auto& attribute : fields.attributes) {
    if (attribute->GetName() == name) return attribute;
  }
  return nullptr;
}

// Raises when replacing `old` (null: a new definition) by `fresh` would
// leave stored data that the definition no longer describes.
void CheckAgainstStoredData(const char* signature, const vqString& path, const UDMContentDefinition* old,
                            const UDMContentDefinition::Fields& fresh, store::EntityStore& store) {
  auto refuse = [&](const vqString& why) {
    ThrowStateException(signature, "cannot apply \"" + path + "\" to \"" + fresh.type + "\": " + why, ExcSubConflict);
  };
  if (!store.HasEntitiesOf(fresh.type)) return;
  if (old) {
    for (const auto& attribute : old->GetFields().attributes) {
      const auto replacement = OwnAttribute(fresh, attribute->GetName());
      if (!replacement && store.HasStoredValues(fresh.type, attribute->GetName())) {
        refuse("the attribute \"" + attribute->GetName() + "\" holds stored values and would go away");
      }
      if (replacement && replacement->GetFields().type != attribute->GetFields().type &&
          store.HasStoredValues(fresh.type, attribute->GetName())) {
        refuse("the attribute \"" + attribute->GetName() + "\" holds stored values and would change its type");
      }
    }
  }
  for (const auto& attribute : fresh.attributes) {
    const bool known = old && OwnAttribute(old->GetFields(), attribute->GetName());
    if (!known && attribute->IsMandatory() && !attribute->IsDefaultValueSet()) {
      refuse("the new mandatory attribute \"" + attribute->GetName() +
             "\" has no default, and entities of the definition exist");
    }
  }
}

}  // namespace

bool UDMSession::UpdateContentDefinition(const vqString& path) {
  if (path.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "definition file ");
  const vqStlVector<UDMContentDefinition::Fields> parsed =
      schema::ParseDefinitions(schema::ReadTextFile(path), path);
  for (const auto& fields : parsed) {
    CheckAgainstStoredData(UDM_FUNCSIG, path, m_schema->GetContentDefinition(fields.type).get(), fields, *m_store);
  }
  // Install one by one; a refusal puts back what was installed before it.
  std::vector<std::pair<vqString, vqString>> installed;  // type, previous XML ("" when new)
  try {
    for (const auto& fields : parsed) {
      const auto previous = m_schema->GetContentDefinition(fields.type);
      const vqString xml = schema::DefinitionToXml(fields);
      m_schema->AddOrReplaceDefinition(xml, path);
      installed.emplace_back(fields.type, previous ? schema::DefinitionToXml(previous->GetFields()) : vqString());
    }
    const vqString now = Now();
    m_store->InTransaction("storing the definitions of \"" + path + "\"", [&] {
      for (const auto& fields : parsed) m_store->StoreDefinition(fields.type, schema::DefinitionToXml(fields), now);
    });
  } catch (...) {
    for (auto it = installed.rbegin(); it != installed.rend(); ++it) {
      if (!it->second.empty()) m_schema->AddOrReplaceDefinition(it->second, path);
    }
    throw;
  }
  return true;
}

void UDMSession::ApplyStoredDefinitions() {
  std::vector<std::pair<vqString, vqString>> pending = m_store->GetStoredDefinitions();
  // A definition may derive from another stored one: retry until nothing moves.
  while (!pending.empty()) {
    std::vector<std::pair<vqString, vqString>> failed;
    for (const auto& [type, xml] : pending) {
      try {
        m_schema->AddOrReplaceDefinition(xml, "the repository's definition of \"" + type + "\"");
      } catch (const UDMException&) {
        failed.emplace_back(type, xml);
      }
    }
    if (failed.size() == pending.size()) {
      // Raise with the reason of the first that cannot be installed.
      m_schema->AddOrReplaceDefinition(failed.front().second,
                                       "the repository's definition of \"" + failed.front().first + "\"");
    }
    pending.swap(failed);
  }
}

}  // namespace vqkudm
