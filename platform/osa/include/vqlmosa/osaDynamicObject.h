#pragma once

#include <vqlmosa/osaStatus.h>
#include <vqlmosa/vqlmosaApi.h>
#include <vqutl/vqString.h>

// One shared library loaded at run time (a plug-in or driver). The library
// stays loaded as long as the object holding it lives, so pointers obtained
// from FindSymbol are valid exactly that long.
//
// Not thread-safe: the last error is per object. Use one object per thread or
// lock around it.
//
// On Windows <windows.h> defines LoadLibrary as a macro; include it after
// this header, or #undef LoadLibrary, where LoadLibrary is called.
class VQLMOSA_API osaDynamicObject {
 public:
  osaDynamicObject() = default;
  ~osaDynamicObject();

  osaDynamicObject(const osaDynamicObject&) = delete;
  osaDynamicObject& operator=(const osaDynamicObject&) = delete;
  // The moved-from object is left empty; the library is not reloaded.
  osaDynamicObject(osaDynamicObject&& other) noexcept;
  osaDynamicObject& operator=(osaDynamicObject&& other) noexcept;

  // `name` is a path, or a bare file name searched the platform's way
  // (LD_LIBRARY_PATH, run paths, system directories; on Windows the DLL search
  // order). Symbols are resolved at once and kept private to the library.
  // A library this object held before is released first, whatever the outcome.
  // With `keepLoaded` the library stays in the process once released: for
  // libraries that pull in others which cannot be unloaded and loaded again
  // cleanly (database clients and their TLS libraries).
  osaStatus LoadLibrary(const vqString& name, bool keepLoaded = false);
  void UnloadLibrary();

  // The address of an exported symbol, or null; then GetLastError() says why,
  // naming the symbol and the library.
  void* FindSymbol(const vqString& name);

  // The outcome of the last LoadLibrary or FindSymbol call.
  const osaStatus& GetLastError() const { return m_lastError; }
  bool IsLoaded() const { return m_handle != nullptr; }
  // The name as given to LoadLibrary; empty when nothing is loaded.
  const vqString& GetName() const { return m_name; }

 private:
  void* m_handle = nullptr;
  vqString m_name;
  osaStatus m_lastError;
};
