#pragma once

// The library manager: which libraries the runtime loads by name and where
// it looks for them.
//
// Its settings are a string map. Defaults come from the installation; the
// data-model configuration file of a retrieve configuration may override
// any of them in an optional section:
//
//   <udmconfig version="1">
//     ...
//     <librarymanager>
//       <setting name="DirectorDatabaseDriver" value="vqlmidbdriver_sqlite"/>
//     </librarymanager>
//   </udmconfig>

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

class osaDynamicObject;

namespace vqkudm {

class UDMRetrieveConfig;

// The database driver library of the master repository database: a library
// name ("vqlmidbdriver_sqlite", the default) or a path.
extern VQKUDMRT_API const char* const kLibMgrDirectorDatabaseDriver;  // "DirectorDatabaseDriver"
// Directories searched for libraries loaded by name, in order, separated by
// ':' (';' on Windows). Default: the directories in the environment variable
// NORVEL_LIB_MGR_PATH, then the installation's plug-in, driver and library
// directories.
extern VQKUDMRT_API const char* const kLibMgrLibraryPath;  // "LibraryPath"

class VQKUDMRT_API UDMUtils {
 public:
  UDMUtils() = delete;

  // The defaults, overridden by the section above of `config`'s data-model
  // configuration file when it names one. A null configuration gives the
  // defaults. Raises UDMException when that file cannot be read or parsed,
  // or a setting lacks its name.
  static vqStlMap<vqString, vqString> GetLibraryManagerSettings(
      const boost::shared_ptr<UDMRetrieveConfig>& config);

  // The file to load for `name`: a name with a directory separator is a path
  // and stays as it is; otherwise the platform's file name for it
  // ("lib<name>.so", "<name>.dll") in the first directory of `searchPath`
  // that holds it, else that bare file name, for the system's own search.
  static vqString FindLibrary(const vqString& name, const vqString& searchPath);
};

}  // namespace vqkudm

namespace vqLMUtils {

// Loads the library `name` into `library` the library manager's way
// (UDMUtils::FindLibrary over `searchPath`, or over the default library path
// when it is empty). Returns false when it cannot be loaded; then
// library.GetLastError() says which file and why. Never throws.
VQKUDMRT_API bool UtilsLoadLibrary(const vqString& name, osaDynamicObject& library,
                                   const vqString& searchPath = vqString());

}  // namespace vqLMUtils
