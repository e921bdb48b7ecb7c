#pragma once

// The data model's fixed names, as the profile's clients know them. They live
// with the engine's vocabulary, below both layers, so the engine and the
// profile share one definition of every name.

#include <vqnames/UDMNames.h>
