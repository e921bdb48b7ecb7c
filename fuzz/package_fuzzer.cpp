// Exchange packages as they arrive from another site (docs/package.md).
// Built twice: fuzz_package_manifest takes the input as the manifest of a
// package directory whose contents folder holds the contents of a real
// export; fuzz_package_archive takes it as a package archive (tar, tar.gz or
// zip). Every input is checked by an import into an empty repository that
// writes nothing; one that passes is imported for real, twice, into a
// repository made for it and removed afterwards, so no input sees what an
// earlier one left. A refused package is a UDMException.
//
// The seeds name the contents by key: the BLAKE2b-256 of kFrameGeometry and
// of kBikeDrawing, the files Initialize exports.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMExchange.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqnames/UDMNames.h>

#include "FuzzSupport.h"

#ifndef FUZZ_PACKAGE_ARCHIVE
#error "FUZZ_PACKAGE_ARCHIVE must say whether the input is the archive (1) or the manifest (0)"
#endif

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

const char* const kFrameGeometry = "ISO-10303-21; frame\n";
const char* const kBikeDrawing = "%PDF-1.4 bike\n";
// Where each input goes, in the scratch directory.
const char* const kInputName = FUZZ_PACKAGE_ARCHIVE ? "package-input" : "package/manifest.json";

boost::shared_ptr<UDMSession>* g_checker = nullptr;  // never destroyed (FuzzSupport.h)
fs::path g_package;  // the manifest's directory, or the archive file
std::set<std::string> g_scratchEntries;

void WriteFile(const fs::path& path, const char* text) {
  std::ofstream(path, std::ios::binary) << text;
}

// A bike using a frame, each with a file, exported as a directory: its
// contents folder is what manifests refer to.
fs::path ExportTemplate() {
  const fs::path files = fs::path(fuzz::ScratchDir()) / "template-files";
  fs::create_directories(files);
  WriteFile(files / "frame.step", kFrameGeometry);
  WriteFile(files / "bike.pdf", kBikeDrawing);
  boost::shared_ptr<UDMSession> source = fuzz::OpenRepository("package-source");
  UDMItemPtr bike = source->CreateEntity(kClassProject, "bike", UDMUID());
  UDMItemPtr frame = bike->AddChild(source->CreateEntity(kClassPart, "frame", UDMUID()), "parts");
  frame->AddFile((files / "frame.step").string(), false, false, "cad");
  bike->AddFile((files / "bike.pdf").string(), false, false, "");
  bike->Persist("", GDM_RECURSE_ALL, -1, false, true);
  auto options =
      source->GetExportCtrl()->CreateExportOptions(ExportDirectory, fuzz::ScratchDir(), "contents");
  source->GetExportCtrl()->Export({bike}, {}, "template", options);
  fuzz::CloseRepository(source);
  return fs::path(fuzz::ScratchDir()) / "template";
}

// Imports the input package into the session's repository, or only checks it.
void Import(const boost::shared_ptr<UDMSession>& session, bool checkOnly) {
  vqStlVector<UDMItemPtr> imported, unchanged;
  session->GetImportCtrl()->Import(imported, unchanged, g_package.string(), checkOnly, !checkOnly);
}

// Import checks everything before it writes: what it unpacked goes again,
// and nothing may have landed beside it.
void CheckNothingLeftBehind() {
  (*g_checker)->GetImportCtrl()->TmpDataCleanup();
  const fs::path tmp = fs::path(fuzz::ScratchDir()) / "tmp";
  if (!fs::is_empty(tmp)) std::abort();
  for (const auto& entry : fs::directory_iterator(fuzz::ScratchDir())) {
    if (!g_scratchEntries.count(entry.path().filename().string())) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const fs::path exported = ExportTemplate();
  if (FUZZ_PACKAGE_ARCHIVE) {
    g_package = fs::path(fuzz::ScratchDir()) / "package-input";
  } else {
    g_package = fs::path(fuzz::ScratchDir()) / "package";
    fs::create_directories(g_package);
    fs::copy(exported / "contents", g_package / "contents", fs::copy_options::recursive);
  }
  g_checker = new boost::shared_ptr<UDMSession>(fuzz::OpenRepository("package-check"));
  // What the scratch directory holds between inputs, besides an input's own repository.
  fuzz::WriteScratchFile(kInputName, nullptr, 0);
  for (const auto& entry : fs::directory_iterator(fuzz::ScratchDir())) {
    g_scratchEntries.insert(entry.path().filename().string());
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::WriteScratchFile(kInputName, data, size);
  bool accepted = false;
  try {
    Import(*g_checker, true);
    accepted = true;
  } catch (const UDMException&) {
  }
  CheckNothingLeftBehind();
  if (!accepted) return 0;
  boost::shared_ptr<UDMSession> target = fuzz::OpenRepository("package-import");
  try {
    Import(target, false);
    // The second time the repository has everything already.
    vqStlVector<UDMItemPtr> imported, unchanged;
    target->GetImportCtrl()->Import(imported, unchanged, g_package.string(), false, false);
    if (!imported.empty()) std::abort();
  } catch (const UDMException&) {
  }
  target->GetImportCtrl()->TmpDataCleanup();
  fuzz::CloseRepository(target);
  CheckNothingLeftBehind();
  return 0;
}
