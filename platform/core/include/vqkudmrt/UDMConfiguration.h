#pragma once

// The data-model configuration of a session: the content definitions, read
// from the definition files that the configuration file names, and the
// plug-ins to load.

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>

#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/vqkudmrtApi.h>

namespace vqkudm {

struct UDMPluginEntry {
  vqString key;      // the key the plug-in is handed out under
  vqString library;  // the library's base name
};

class VQKUDMRT_API UDMConfiguration : public boost::enable_shared_from_this<UDMConfiguration> {
 public:
  // Loads a configuration file; an empty path loads the runtime's default
  // ("config/udmconfig.xml" in its data directory). Raises UDMException
  // naming the file, the line and the reason for anything malformed.
  static boost::shared_ptr<UDMConfiguration> Load(const vqString& configFile);

  const vqString& GetFile() const { return m_file; }
  const vqStlVector<UDMPluginEntry>& GetPluginEntries() const { return m_plugins; }

  // Null for an unknown name.
  boost::shared_ptr<UDMContentDefinition> GetContentDefinition(const vqString& type) const;
  // Every definition, in the order they were loaded.
  const vqStlVector<boost::shared_ptr<UDMContentDefinition>>& GetContentDefinitions() const {
    return m_ordered;
  }
  // Names of the definitions of `className` (its type or a base of it), in order.
  void GetContentDefNamesForClass(vqStlVector<vqString>& names, const vqString& className,
                                  bool includeDerived) const;
  // udm_maxFileNr (-1: no limit) and udm_minFileNr (0) of a definition.
  int GetMaxFileNr(const vqString& cdefName) const;
  int GetMinFileNr(const vqString& cdefName) const;
  // The first group of `parent` that admits `childType`, or empty.
  vqString GetFirstAllowedGroupForChildCdefType(const boost::shared_ptr<UDMContentDefinition>& parent,
                                                const vqString& childType) const;

  // Installs a definition parsed from definition-file XML, replacing one of
  // the same type. Refuses (leaving the configuration as it was) one whose
  // base is unknown or that would make a derivation cycle.
  boost::shared_ptr<UDMContentDefinition> AddOrReplaceDefinition(const vqString& xml,
                                                                 const vqString& sourceName);

 private:
  UDMConfiguration() = default;
  void Insert(const boost::shared_ptr<UDMContentDefinition>& definition);
  void CheckDerivations(const vqString& sourceName) const;
  // Points every definition at its base; bases that are missing stay null.
  void LinkBases();

  vqString m_file;
  vqStlVector<UDMPluginEntry> m_plugins;
  vqStlVector<boost::shared_ptr<UDMContentDefinition>> m_ordered;
  vqStlMap<vqString, boost::shared_ptr<UDMContentDefinition>> m_byType;

  friend struct ConfigurationLoader;
};

}  // namespace vqkudm
