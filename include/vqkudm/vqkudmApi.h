#pragma once

#include <vqutl/vqExport.h>

#if defined(VQKUDM_BUILD)
#  define VQKUDM_API VQ_DECL_EXPORT
#else
#  define VQKUDM_API VQ_DECL_IMPORT
#endif
