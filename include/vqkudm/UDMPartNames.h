#pragma once

// Names of parts, ports, materials and analysis items; see UDMNames.h.

#include <vqnames/UDMPartNames.h>
#include <vqkudm/UDMNames.h>
