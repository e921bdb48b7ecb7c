#pragma once

// Export and import of exchange packages (docs/package.md): the controllers
// of a session and the interface of the export plug-in.

#include <cstdint>
#include <functional>

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudmrt/UDMPlugin.h>
#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class UDMItem;
class UDMSession;

// How a package is written: a directory, or one archive file.
enum ExportFileOptions { ExportDirectory = 0, ExportTar = 1, ExportTarGz = 2, ExportZip = 3 };

// Progress of an export or import: the stage ("contents", "manifest",
// "records"), how much of it is done, and its total.
using UDMExchangeProgress = std::function<void(const vqString& stage, std::uint64_t done, std::uint64_t total)>;

class VQKUDMRT_API UDMExportOptions {
 public:
  UDMExportOptions(ExportFileOptions fileOptions, const vqString& directory, const vqString& contentsFolder)
      : m_fileOptions(fileOptions), m_directory(directory), m_contentsFolder(contentsFolder) {}
  ExportFileOptions GetFileOptions() const { return m_fileOptions; }
  // Where packages given by a relative path go.
  const vqString& GetDirectory() const { return m_directory; }
  // The package's folder of file contents.
  const vqString& GetContentsFolder() const { return m_contentsFolder; }

 private:
  ExportFileOptions m_fileOptions;
  vqString m_directory;
  vqString m_contentsFolder;
};

class VQKUDMRT_API UDMExportCtrl {
 public:
  explicit UDMExportCtrl(const boost::weak_ptr<UDMSession>& session) : m_session(session) {}

  // Options for exports into `directory` (made when missing, permission bits
  // 0xFFF); `contentsFolder` names the package's folder of file contents
  // (one plain name; "contents" when empty).
  boost::shared_ptr<UDMExportOptions> CreateExportOptions(const ExportFileOptions& fileOptions,
                                                          const vqString& directory, const vqString& contentsFolder);
  // Writes the package of `items` and `related` (with everything they need)
  // at `path`, relative to the options' directory unless absolute: a
  // directory that must not exist or be empty, or the archive file.
  void Export(const vqStlVector<boost::shared_ptr<UDMItem>>& items,
              const vqStlVector<boost::shared_ptr<UDMItem>>& related, const vqString& path,
              const boost::shared_ptr<UDMExportOptions>& options);

  void AddProgressCallback(const UDMExchangeProgress& callback) { m_callbacks.push_back(callback); }
  void ClearAllCallbacks() { m_callbacks.clear(); }

 private:
  boost::weak_ptr<UDMSession> m_session;
  vqStlVector<UDMExchangeProgress> m_callbacks;
};

class VQKUDMRT_API UDMImportCtrl {
 public:
  explicit UDMImportCtrl(const boost::weak_ptr<UDMSession>& session) : m_session(session) {}
  ~UDMImportCtrl();

  // Imports the package at `path` (a directory or an archive). Everything is
  // checked before anything is written; the records go in one transaction.
  // Entities new to the repository are appended to `imported`, those it had
  // already (with every revision) to `unchanged`; relations are not items
  // and are listed in neither. With `checkOnly` nothing is written; with
  // `notify` the session reports each imported item as created.
  void Import(vqStlVector<boost::shared_ptr<UDMItem>>& imported, vqStlVector<boost::shared_ptr<UDMItem>>& unchanged,
              const vqString& path, bool checkOnly, bool notify);
  // Removes what the last import of an archive unpacked.
  void TmpDataCleanup();

  void AddProgressCallback(const UDMExchangeProgress& callback) { m_callbacks.push_back(callback); }
  void ClearAllCallbacks() { m_callbacks.clear(); }

 private:
  boost::weak_ptr<UDMSession> m_session;
  vqStlVector<UDMExchangeProgress> m_callbacks;
  vqString m_unpacked;
};

// The export plug-in's interface (key "UDMExportStructurePlugin", library
// vqkudmrt_plugin_exportstructure): the export of a structure through the
// session's export controller; `written` receives the package's path.
class VQKUDMRT_API UDMExportStructurePlugin : public IUDMPlugin {
 public:
  ~UDMExportStructurePlugin() override;
  virtual void Export(const vqStlVector<boost::shared_ptr<UDMItem>>& items,
                      const vqStlVector<boost::shared_ptr<UDMItem>>& related, const vqString& path,
                      const boost::shared_ptr<UDMExportOptions>& options, vqStlVector<vqString>& written) = 0;
};

}  // namespace vqkudm
