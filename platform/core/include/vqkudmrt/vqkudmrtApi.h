#pragma once

#include <vqutl/vqExport.h>

#if defined(VQKUDMRT_BUILD)
#  define VQKUDMRT_API VQ_DECL_EXPORT
#else
#  define VQKUDMRT_API VQ_DECL_IMPORT
#endif

// The full signature text of the enclosing function, for the first argument
// of the raise functions.
#if defined(_MSC_VER)
#  define UDM_FUNCSIG __FUNCSIG__
#else
#  define UDM_FUNCSIG __PRETTY_FUNCTION__
#endif
