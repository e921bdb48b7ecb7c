#pragma once

// Everything an application needs from the runtime, in one include.

#include <vqkudm/UDMNames.h>
#include <vqkudm/UDMPartNames.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMResult.h>
#include <vqkudmrt/UDMUID.h>
