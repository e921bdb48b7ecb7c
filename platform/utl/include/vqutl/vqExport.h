#pragma once

// The one export macro pair of the project. Each library defines its own
// <LIB>_API from these, switching on a define set only while it is built:
//
//   #if defined(VQUTL_BUILD)
//   #  define VQUTL_API VQ_DECL_EXPORT
//   #else
//   #  define VQUTL_API VQ_DECL_IMPORT
//   #endif
#if defined(_WIN32)
#  define VQ_DECL_EXPORT __declspec(dllexport)
#  define VQ_DECL_IMPORT __declspec(dllimport)
#else
#  define VQ_DECL_EXPORT __attribute__((visibility("default")))
#  define VQ_DECL_IMPORT __attribute__((visibility("default")))
#endif

// Entry points of loadable modules (plug-ins, drivers) are looked up by name.
#if defined(_WIN32)
#  define VQ_MODULE_ENTRY extern "C" __declspec(dllexport)
#else
#  define VQ_MODULE_ENTRY extern "C" __attribute__((visibility("default")))
#endif
