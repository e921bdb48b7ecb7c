// Content-definition XML, as a data-model administrator writes it: read as
// one of the definition files of a data-model configuration, and installed
// as a runtime change to the default model (what UpdateContentDefinition
// and every session opening a repository with stored definitions do). A
// malformed or inconsistent definition is a UDMException.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>

#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMChildGroup.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>

#include "FuzzSupport.h"

using namespace vqkudm;

namespace {

const char* const kInputName = "definitions-input.xml";
vqString g_configFile;

// The default model's definition files and the input, which may build on them.
void WriteConfiguration() {
  const vqString data = UDMFramework::GetInstance()->GetInstallLayout().dataDir;
  g_configFile = fuzz::ScratchDir() + "/udmconfig.xml";
  std::ofstream out(g_configFile.str());
  out << "<udmconfig version=\"1\">\n  <definitions>\n";
  for (const char* file : {"base.xml", "product.xml", "classification.xml", "relations.xml"}) {
    out << "    <file path=\"" << data << "/definitions/" << file << "\"/>\n";
  }
  out << "    <file path=\"" << kInputName << "\"/>\n  </definitions>\n</udmconfig>\n";
}

// What sessions and profiles ask of a loaded model.
void Explore(const UDMConfiguration& configuration) {
  for (const auto& definition : configuration.GetContentDefinitions()) {
    const vqString& type = definition->GetType();
    vqStlVector<vqString> names;
    configuration.GetContentDefNamesForClass(names, type, true);
    configuration.GetMaxFileNr(type);
    configuration.GetMinFileNr(type);
    configuration.GetFirstAllowedGroupForChildCdefType(definition, "UDMPart");
    definition->GetUDMClassName();
    definition->DerivesFrom("UDMItem");
    definition->CanBranch();
    definition->IsAbstract();
    definition->IsMultipleParentsAllowed();
    vqString dname;
    definition->GetDNamePropertyName(dname);
    vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> attributes;
    definition->GetAttributeDefinitions(attributes);
    vqStlVector<boost::shared_ptr<UDMChildGroup>> groups;
    definition->GetGroups(groups, true);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  WriteConfiguration();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::WriteScratchFile(kInputName, data, size);
  try {
    Explore(*UDMConfiguration::Load(g_configFile));
  } catch (const UDMException&) {
  }

  const vqString xml(reinterpret_cast<const char*>(data), size);
  boost::shared_ptr<UDMConfiguration> configuration = UDMConfiguration::Load(vqString());
  boost::shared_ptr<UDMContentDefinition> installed;
  try {
    installed = configuration->AddOrReplaceDefinition(xml, kInputName);
    Explore(*configuration);
  } catch (const UDMException&) {
    return 0;
  }
  // A repository stores an installed definition as ToXml writes it, and
  // every session opening the repository installs it again from that text.
  try {
    const vqString stored = installed->ToXml();
    if (configuration->AddOrReplaceDefinition(stored, "the stored definition")->ToXml() != stored)
      std::abort();
  } catch (const UDMException&) {
    std::abort();
  }
  return 0;
}
