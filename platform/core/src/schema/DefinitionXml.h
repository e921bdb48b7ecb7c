#pragma once

// Reading and writing definition files. pugixml stays inside this file pair.

#include <boost/weak_ptr.hpp>

#include <vqkudmrt/UDMContentDefinition.h>

namespace vqkudm {
class UDMConfiguration;
struct UDMPluginEntry;
}

namespace vqkudm::schema {

// Parses XML text holding one <contentdefinition> element, or a
// <definitions> element with several, into definition fields. Raises
// UDMException (ExcSubSyntax) naming `sourceName`, the line and the reason.
vqStlVector<UDMContentDefinition::Fields> ParseDefinitions(const vqString& xml, const vqString& sourceName);

// Parses a data-model configuration file: the definition files it names
// (resolved against the file's directory) and the plug-ins.
void ParseConfiguration(const vqString& xml, const vqString& sourceName,
                        vqStlVector<vqString>& definitionFiles, vqStlVector<UDMPluginEntry>& plugins);

// The <setting name= value=> entries of a configuration's <librarymanager>
// section, added to `settings` (replacing what they name).
void ParseLibraryManagerSettings(const vqString& xml, const vqString& sourceName,
                                 vqStlMap<vqString, vqString>& settings);

vqString DefinitionToXml(const UDMContentDefinition::Fields& fields);

// The whole text of a file; raises UDMException (ExcSubIo) naming it.
vqString ReadTextFile(const vqString& path);

}  // namespace vqkudm::schema
