#pragma once

#include <vqutl/vqExport.h>

#if defined(VQLMCDEFEDIT_BUILD)
#  define VQLMCDEFEDIT_API VQ_DECL_EXPORT
#else
#  define VQLMCDEFEDIT_API VQ_DECL_IMPORT
#endif
