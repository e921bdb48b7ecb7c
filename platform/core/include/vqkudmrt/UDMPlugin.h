#pragma once

// Plug-ins: shared libraries loaded by name, each with a C entry point
// "CreateInstance" of type UDMCreatePluginFunction, listed in the data-model
// configuration under a key. A session's plug-in manager loads a plug-in
// when it is first asked for, creates it, initialises it with the session
// and hands out the same instance for that key from then on.

#include <map>
#include <memory>

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudmrt/UDMResult.h>
#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

class osaDynamicObject;

namespace vqkudm {

class UDMSession;

// What a plug-in is told when it is initialised.
class VQKUDMRT_API UDMPluginConfig {
 public:
  UDMPluginConfig(const vqString& key, const vqString& libraryPath) : m_key(key), m_libraryPath(libraryPath) {}
  virtual ~UDMPluginConfig();
  const vqString& GetKey() const { return m_key; }
  const vqString& GetLibraryPath() const { return m_libraryPath; }

 private:
  vqString m_key;
  vqString m_libraryPath;
};

class VQKUDMRT_API IUDMPlugin {
 public:
  virtual vqString GetDisplayName() = 0;
  virtual vqString GetInterfaceName() = 0;
  virtual vqString GetKey() = 0;
  // A new instance of the same plug-in, or empty when it cannot be copied.
  virtual boost::shared_ptr<IUDMPlugin> Clone() = 0;
  // A fresh, uninitialised instance, or empty.
  virtual boost::shared_ptr<IUDMPlugin> CreateNew() = 0;
  virtual UDMResult Init(const boost::weak_ptr<UDMSession>& session,
                         const boost::shared_ptr<UDMPluginConfig>& config) = 0;
  // Called before the session closes.
  virtual void Shutdown() = 0;
  virtual ~IUDMPlugin();
};

// The signature of a plug-in library's "CreateInstance" entry.
typedef UDMResult (*UDMCreatePluginFunction)(boost::shared_ptr<IUDMPlugin>& out);

class VQKUDMRT_API UDMPluginMgr {
 public:
  UDMPluginMgr(const boost::weak_ptr<UDMSession>& session, const vqString& pluginDir);
  ~UDMPluginMgr();

  // Makes a plug-in available under `key`. `library` is a base name, found
  // with the platform's prefix and suffix in the plug-in directory, else in
  // the runtime's library directory; or a path.
  void Register(const vqString& key, const vqString& library);
  // The initialised plug-in of that key; null when none is registered or
  // it cannot be loaded, created or initialised (the reason is logged).
  boost::shared_ptr<IUDMPlugin> GetPlugin(const vqString& key);
  // Shuts every loaded plug-in down and releases it.
  void UnloadAll();

 private:
  struct Entry {
    vqString library;
    std::shared_ptr<osaDynamicObject> module;
    boost::shared_ptr<IUDMPlugin> plugin;
  };
  vqString LibraryPath(const vqString& library) const;

  boost::weak_ptr<UDMSession> m_session;
  vqString m_pluginDir;
  std::map<vqString, Entry> m_entries;
};

}  // namespace vqkudm
