#pragma once

// Everything an application needs from the runtime, in one include.

#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMConnectMasterDBManager.h>
#include <vqkudm/UDMCoreProfile.h>
#include <vqkudm/UDMDataConnectionMgr.h>
#include <vqkudm/UDMNames.h>
#include <vqkudm/UDMPartNames.h>
#include <vqkudm/UDMProfileExtensions.h>
#include <vqkudm/UDMRepositoryLayout.h>
#include <vqkudm/UDMProfileMgr.h>
#include <vqkudm/UDMProfileUpdate.h>
#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMCondition.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMConnectConfig.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMExchange.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMGenericDocument.h>
#include <vqkudmrt/UDMPlugin.h>
#include <vqkudmrt/UDMQuery.h>
#include <vqkudmrt/UDMQueryResults.h>
#include <vqkudmrt/UDMQuerySettings.h>
#include <vqkudmrt/UDMRegistry.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMResult.h>
#include <vqkudmrt/UDMRetrieveConfig.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/UDMUID.h>
#include <vqkudmrt/UDMUpdateWrapper.h>
