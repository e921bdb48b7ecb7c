#pragma once

#include <vqutl/vqExport.h>

#if defined(VQUTL_BUILD)
#  define VQUTL_API VQ_DECL_EXPORT
#else
#  define VQUTL_API VQ_DECL_IMPORT
#endif
