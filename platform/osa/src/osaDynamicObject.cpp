#include <vqlmosa/osaDynamicObject.h>

#include <utility>

#include "osaSystem.h"

#if defined(_WIN32)
#  include <windows.h>
#  undef LoadLibrary
#else
#  include <dlfcn.h>
#endif

namespace {

#if defined(_WIN32)

void* OpenLibrary(const vqString& name, bool keepLoaded, vqString& reason) {
  HMODULE module = ::LoadLibraryW(osaInternal::ToPath(name).c_str());
  if (!module) reason = std::system_category().message(static_cast<int>(::GetLastError()));
  HMODULE pinned = nullptr;
  if (module && keepLoaded) {
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                         reinterpret_cast<LPCWSTR>(module), &pinned);
  }
  return reinterpret_cast<void*>(module);
}

void* LookUp(void* handle, const vqString& name, vqString& reason) {
  FARPROC address = ::GetProcAddress(static_cast<HMODULE>(handle), name.c_str());
  if (!address) reason = std::system_category().message(static_cast<int>(::GetLastError()));
  return reinterpret_cast<void*>(address);
}

void CloseLibrary(void* handle) { ::FreeLibrary(static_cast<HMODULE>(handle)); }

#else

// dlerror() is per thread and cleared by reading, so it belongs to the call
// just made.
vqString LoaderReason() {
  const char* text = ::dlerror();
  return text ? vqString(text) : vqString("unknown reason");
}

void* OpenLibrary(const vqString& name, bool keepLoaded, vqString& reason) {
  void* handle = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL | (keepLoaded ? RTLD_NODELETE : 0));
  if (!handle) reason = LoaderReason();
  return handle;
}

void* LookUp(void* handle, const vqString& name, vqString& reason) {
  ::dlerror();
  void* address = ::dlsym(handle, name.c_str());
  if (const char* text = ::dlerror()) {
    reason = text;
    return nullptr;
  }
  // A defined symbol can be null (an undefined weak one); useless to callers.
  if (!address) reason = "the symbol's address is null";
  return address;
}

void CloseLibrary(void* handle) { ::dlclose(handle); }

#endif

}  // namespace

osaDynamicObject::~osaDynamicObject() { UnloadLibrary(); }

osaDynamicObject::osaDynamicObject(osaDynamicObject&& other) noexcept
    : m_handle(std::exchange(other.m_handle, nullptr)),
      m_name(std::move(other.m_name)),
      m_lastError(std::move(other.m_lastError)) {
  other.m_name.clear();
}

osaDynamicObject& osaDynamicObject::operator=(osaDynamicObject&& other) noexcept {
  if (this != &other) {
    UnloadLibrary();
    m_handle = std::exchange(other.m_handle, nullptr);
    m_name = std::move(other.m_name);
    m_lastError = std::move(other.m_lastError);
    other.m_name.clear();
  }
  return *this;
}

osaStatus osaDynamicObject::LoadLibrary(const vqString& name, bool keepLoaded) {
  UnloadLibrary();
  // dlopen(NULL) would hand out the main program instead of failing.
  if (name.empty()) {
    m_lastError = osaStatus::Failure("cannot load a library: the library name is empty");
    return m_lastError;
  }
  vqString reason;
  m_handle = OpenLibrary(name, keepLoaded, reason);
  if (!m_handle) {
    m_lastError = osaStatus::Failure("cannot load library '" + name + "': " + reason);
    return m_lastError;
  }
  m_name = name;
  m_lastError = osaStatus();
  return m_lastError;
}

void osaDynamicObject::UnloadLibrary() {
  if (m_handle) CloseLibrary(m_handle);
  m_handle = nullptr;
  m_name.clear();
}

void* osaDynamicObject::FindSymbol(const vqString& name) {
  if (!m_handle) {
    m_lastError = osaStatus::Failure("cannot look up symbol '" + name + "': no library is loaded");
    return nullptr;
  }
  vqString reason;
  void* address = LookUp(m_handle, name, reason);
  if (!address) {
    m_lastError = osaStatus::Failure("symbol '" + name + "' not found in library '" + m_name +
                                     "': " + reason);
    return nullptr;
  }
  m_lastError = osaStatus();
  return address;
}
