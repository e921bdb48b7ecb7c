#pragma once

// Everything an application needs from the runtime, in one include.

#include <vqkudm/UDMNames.h>
#include <vqkudm/UDMPartNames.h>
#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMResult.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/UDMUID.h>
