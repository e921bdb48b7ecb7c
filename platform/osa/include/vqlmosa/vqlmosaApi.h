#pragma once

#include <vqutl/vqExport.h>

#if defined(VQLMOSA_BUILD)
#  define VQLMOSA_API VQ_DECL_EXPORT
#else
#  define VQLMOSA_API VQ_DECL_IMPORT
#endif
