#pragma once

#include <vqutl/vqExport.h>

#if defined(VQLMIDBDRIVER_BUILD)
#  define VQLMIDBDRIVER_API VQ_DECL_EXPORT
#else
#  define VQLMIDBDRIVER_API VQ_DECL_IMPORT
#endif
