#include <vqkudmrt/UDMConfiguration.h>

#include <algorithm>
#include <set>

#include <boost/make_shared.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>

#include "DefinitionXml.h"

namespace vqkudm {

namespace {

const char* const kDefaultConfigFile = "/config/udmconfig.xml";

}  // namespace

boost::shared_ptr<UDMConfiguration> UDMConfiguration::Load(const vqString& configFile) {
  const vqString file = configFile.empty()
                            ? vqString(UDMFramework::GetInstance()->GetInstallLayout().dataDir + kDefaultConfigFile)
                            : configFile;
  boost::shared_ptr<UDMConfiguration> configuration(new UDMConfiguration());
  configuration->m_file = file;
  vqStlVector<vqString> definitionFiles;
  schema::ParseConfiguration(schema::ReadTextFile(file), file, definitionFiles, configuration->m_plugins);
  for (const vqString& definitionFile : definitionFiles) {
    for (const UDMContentDefinition::Fields& fields :
         schema::ParseDefinitions(schema::ReadTextFile(definitionFile), definitionFile)) {
      if (configuration->m_byType.count(fields.type)) {
        ThrowInvalidArgException(UDM_FUNCSIG,
                                 definitionFile + ": the content definition \"" + fields.type +
                                     "\" is defined twice",
                                 ExcSubSyntax);
      }
      configuration->Insert(boost::make_shared<UDMContentDefinition>(fields, configuration));
    }
  }
  configuration->CheckDerivations(file);
  configuration->LinkBases();
  return configuration;
}

void UDMConfiguration::Insert(const boost::shared_ptr<UDMContentDefinition>& definition) {
  auto existing = m_byType.find(definition->GetType());
  if (existing != m_byType.end()) {
    std::replace(m_ordered.begin(), m_ordered.end(), existing->second, definition);
  } else {
    m_ordered.push_back(definition);
  }
  m_byType[definition->GetType()] = definition;
}

void UDMConfiguration::LinkBases() {
  for (const auto& definition : m_ordered) {
    vqString base;
    definition->GetDerivedFrom(base);
    definition->m_base = base.empty() ? boost::shared_ptr<UDMContentDefinition>() : GetContentDefinition(base);
  }
}

void UDMConfiguration::CheckDerivations(const vqString& sourceName) const {
  for (const auto& definition : m_ordered) {
    std::set<vqString> chain{definition->GetType()};
    vqString base;
    definition->GetDerivedFrom(base);
    boost::shared_ptr<UDMContentDefinition> current = definition;
    while (!base.empty()) {
      boost::shared_ptr<UDMContentDefinition> next = GetContentDefinition(base);
      if (!next) {
        ThrowInvalidArgException(UDM_FUNCSIG,
                                 sourceName + ": \"" + current->GetType() + "\" derives from \"" + base +
                                     "\", which is not defined",
                                 ExcSubNotFound);
      }
      if (!chain.insert(base).second) {
        ThrowInvalidArgException(UDM_FUNCSIG,
                                 sourceName + ": \"" + definition->GetType() + "\" and \"" + base +
                                     "\" derive from each other",
                                 ExcSubSyntax);
      }
      current = next;
      current->GetDerivedFrom(base);
    }
    vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;
    definition->GetGroups(groups, true);
    for (const auto& group : groups) {
      for (const vqString& type : group->GetAllowedTypes()) {
        if (!GetContentDefinition(type)) {
          ThrowInvalidArgException(UDM_FUNCSIG,
                                   sourceName + ": group \"" + group->GetName() + "\" of \"" +
                                       definition->GetType() + "\" admits \"" + type + "\", which is not defined",
                                   ExcSubNotFound);
        }
      }
    }
  }
}

boost::shared_ptr<UDMContentDefinition> UDMConfiguration::GetContentDefinition(const vqString& type) const {
  auto it = m_byType.find(type);
  return it == m_byType.end() ? boost::shared_ptr<UDMContentDefinition>() : it->second;
}

void UDMConfiguration::GetContentDefNamesForClass(vqStlVector<vqString>& names, const vqString& className,
                                                  bool includeDerived) const {
  for (const auto& definition : m_ordered) {
    if (definition->GetType() == className || (includeDerived && definition->DerivesFrom(className))) {
      names.push_back(definition->GetType());
    }
  }
}

namespace {

int MetaNumber(const boost::shared_ptr<UDMContentDefinition>& definition, const vqString& flag, int fallback) {
  int value = fallback;
  definition->GetMetaValue(flag).ToInt(value);
  return value;
}

}  // namespace

int UDMConfiguration::GetMaxFileNr(const vqString& cdefName) const {
  boost::shared_ptr<UDMContentDefinition> definition = GetContentDefinition(cdefName);
  if (!definition) {
    ThrowInvalidArgException(UDM_FUNCSIG, "there is no content definition \"" + cdefName + "\"", ExcSubNotFound);
  }
  return MetaNumber(definition, kMetaMaxFileNr, -1);
}

int UDMConfiguration::GetMinFileNr(const vqString& cdefName) const {
  boost::shared_ptr<UDMContentDefinition> definition = GetContentDefinition(cdefName);
  if (!definition) {
    ThrowInvalidArgException(UDM_FUNCSIG, "there is no content definition \"" + cdefName + "\"", ExcSubNotFound);
  }
  return MetaNumber(definition, kMetaMinFileNr, 0);
}

vqString UDMConfiguration::GetFirstAllowedGroupForChildCdefType(
    const boost::shared_ptr<UDMContentDefinition>& parent, const vqString& childType) const {
  if (!parent) return vqString();
  vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;
  parent->GetGroups(groups, true);
  for (const auto& group : groups) {
    if (group->Admits(childType, *this)) return group->GetName();
  }
  return vqString();
}

boost::shared_ptr<UDMContentDefinition> UDMConfiguration::AddOrReplaceDefinition(const vqString& xml,
                                                                                 const vqString& sourceName) {
  const vqStlVector<UDMContentDefinition::Fields> parsed = schema::ParseDefinitions(xml, sourceName);
  if (parsed.size() != 1) {
    ThrowInvalidArgException(UDM_FUNCSIG, sourceName + ": expected exactly one content definition",
                             ExcSubSyntax);
  }
  auto definition = boost::make_shared<UDMContentDefinition>(parsed.front(), shared_from_this());
  const auto savedOrder = m_ordered;
  const auto savedByType = m_byType;
  Insert(definition);
  try {
    CheckDerivations(sourceName);
  } catch (...) {
    m_ordered = savedOrder;
    m_byType = savedByType;
    throw;
  }
  LinkBases();
  return definition;
}

}  // namespace vqkudm
