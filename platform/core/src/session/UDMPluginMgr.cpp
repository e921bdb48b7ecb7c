#include <vqkudmrt/UDMPlugin.h>

#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqlmosa/osaDynamicObject.h>
#include <vqlmosa/osaFileInfo.h>
#include <vqlmosa/osaLibrary.h>

namespace vqkudm {

UDMPluginConfig::~UDMPluginConfig() = default;
IUDMPlugin::~IUDMPlugin() = default;

UDMPluginMgr::UDMPluginMgr(const boost::weak_ptr<UDMSession>& session, const vqString& pluginDir)
    : m_session(session), m_pluginDir(pluginDir) {}

UDMPluginMgr::~UDMPluginMgr() { UnloadAll(); }

void UDMPluginMgr::Register(const vqString& key, const vqString& library) {
  m_entries[key] = Entry{library, nullptr, nullptr};
}

vqString UDMPluginMgr::LibraryPath(const vqString& library) const {
  if (library.find('/') != vqString::npos || library.find('\\') != vqString::npos) return library;
  const vqString fileName = osaLibrary::GetAbsoluteLibraryName(library);
  const vqString inPluginDir = m_pluginDir + "/" + fileName;
  if (osaFileInfo(inPluginDir).Exists()) return inPluginDir;
  // A plug-in that applications also link (the profile library) lives beside
  // the runtime, so loading it by name gives the copy already in the process.
  return UDMFramework::GetInstance()->GetInstallLayout().libraryDir + "/" + fileName;
}

boost::shared_ptr<IUDMPlugin> UDMPluginMgr::GetPlugin(const vqString& key) {
  auto it = m_entries.find(key);
  if (it == m_entries.end()) return boost::shared_ptr<IUDMPlugin>();
  Entry& entry = it->second;
  if (entry.plugin) return entry.plugin;
  auto fail = [&](const vqString& reason) {
    UDMFramework::GetInstance()->GetLogger()->LogMessage("plug-in \"" + key + "\": " + reason,
                                                         UDMLogger::LevelWarning);
    entry.module.reset();
    return boost::shared_ptr<IUDMPlugin>();
  };
  const vqString path = LibraryPath(entry.library);
  entry.module = std::make_shared<osaDynamicObject>();
  const osaStatus loaded = entry.module->LoadLibrary(path);
  if (!loaded.IsOk()) return fail(loaded.GetText());
  auto create = reinterpret_cast<UDMCreatePluginFunction>(entry.module->FindSymbol("CreateInstance"));
  if (!create) return fail(entry.module->GetLastError().GetText());
  boost::shared_ptr<IUDMPlugin> plugin;
  const UDMResult created = create(plugin);
  if (created != UDM_SUCCESS || !plugin) {
    return fail("CreateInstance of " + path + " failed with result " + vqString::FromInt(created));
  }
  const UDMResult initialised = plugin->Init(m_session, boost::shared_ptr<UDMPluginConfig>(new UDMPluginConfig(key, path)));
  if (initialised != UDM_SUCCESS) {
    plugin.reset();
    return fail("Init failed with result " + vqString::FromInt(initialised));
  }
  // Whoever holds the plug-in holds its code: the library is closed only
  // after the last reference to the plug-in is gone.
  std::shared_ptr<osaDynamicObject> module = entry.module;
  entry.plugin = boost::shared_ptr<IUDMPlugin>(plugin.get(), [plugin, module](IUDMPlugin*) mutable {
    plugin.reset();
    module.reset();
  });
  return entry.plugin;
}

void UDMPluginMgr::UnloadAll() {
  for (auto& [key, entry] : m_entries) {
    if (entry.plugin) entry.plugin->Shutdown();
    // The plug-in's code must outlive its object: release the object first.
    entry.plugin.reset();
    entry.module.reset();
  }
}

}  // namespace vqkudm
