#include <vqkudmrt/UDMUtils.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMRetrieveConfig.h>
#include <vqlmosa/osaDynamicObject.h>
#include <vqlmosa/osaFileInfo.h>
#include <vqlmosa/osaLibrary.h>
#include <vqnames/UDMNames.h>
#include <vqutl/vqLMUtils.h>

#include "../schema/DefinitionXml.h"

namespace vqkudm {

const char* const kLibMgrDirectorDatabaseDriver = "DirectorDatabaseDriver";
const char* const kLibMgrLibraryPath = "LibraryPath";

namespace {

#if defined(_WIN32)
const char kPathListSeparator = ';';
#else
const char kPathListSeparator = ':';
#endif

// The SQLite driver ships with every installation, and a master database is
// a small local file.
const char* const kDefaultDirectorDriver = "vqlmidbdriver_sqlite";

vqString DefaultLibraryPath() {
  const UDMInstallLayout& layout = UDMFramework::GetInstance()->GetInstallLayout();
  vqStlVector<vqString> directories;
  const vqString fromEnvironment = vqLMUtils::UtilsGetEnv(kEnvLibMgrPath);
  if (!fromEnvironment.empty()) directories.push_back(fromEnvironment);
  directories.push_back(layout.pluginDir);
  directories.push_back(layout.driverDir);
  directories.push_back(layout.libraryDir);
  return vqString::Join(directories, vqString(1, kPathListSeparator));
}

}  // namespace

vqStlMap<vqString, vqString> UDMUtils::GetLibraryManagerSettings(
    const boost::shared_ptr<UDMRetrieveConfig>& config) {
  vqStlMap<vqString, vqString> settings;
  settings[kLibMgrDirectorDatabaseDriver] = kDefaultDirectorDriver;
  settings[kLibMgrLibraryPath] = DefaultLibraryPath();
  if (config && !config->GetUDMConfigFile().empty()) {
    const vqString& file = config->GetUDMConfigFile();
    schema::ParseLibraryManagerSettings(schema::ReadTextFile(file), file, settings);
  }
  return settings;
}

vqString UDMUtils::FindLibrary(const vqString& name, const vqString& searchPath) {
  if (name.find('/') != vqString::npos || name.find('\\') != vqString::npos) return name;
  const vqString fileName = osaLibrary::GetAbsoluteLibraryName(name);
  for (const vqString& directory : searchPath.Split(kPathListSeparator)) {
    if (directory.empty()) continue;
    const vqString candidate = directory + "/" + fileName;
    if (osaFileInfo(candidate).IsFile()) return candidate;
  }
  return fileName;
}

}  // namespace vqkudm

namespace vqLMUtils {

bool UtilsLoadLibrary(const vqString& name, osaDynamicObject& library, const vqString& searchPath) {
  const vqString path = vqkudm::UDMUtils::FindLibrary(
      name, searchPath.empty() ? vqkudm::DefaultLibraryPath() : searchPath);
  return library.LoadLibrary(path).IsOk();
}

}  // namespace vqLMUtils
