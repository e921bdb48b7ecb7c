#include "PlmxmlConnector.h"

#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>
#include <sodium.h>

#include <vqkudmrt/UDMException.h>

#include "PlmxmlPackage.h"
#include "PlmxmlReader.h"

namespace vqkudm::connect {

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

const char* const kSignature =
    "void vqkudm::connect::PlmxmlConnector::Open(class vqkudm::IUDMProfile &,const class vqString &)";
const char* const kStateFile = "plmxml-state.json";

// The document's bytes decide whether anything needs reading at all.
std::string DocumentHash(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) ThrowFileException(kSignature, "cannot read " + file.string(), ExcSubIo);
  crypto_generichash_state state;
  crypto_generichash_init(&state, nullptr, 0, 32);
  char buffer[1 << 16];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(buffer),
                              static_cast<unsigned long long>(in.gcount()));
  }
  unsigned char digest[32];
  crypto_generichash_final(&state, digest, sizeof digest);
  char hex[65];
  sodium_bin2hex(hex, sizeof hex, digest, sizeof digest);
  return hex;
}

struct State {
  std::string documentHash;
  LoadState loaded;
};

// A state that cannot be read counts as none: the import skips what the
// repository has, so loading again only costs time.
State ReadState(const fs::path& file) {
  State state;
  std::ifstream in(file);
  if (!in) return state;
  const json stored = json::parse(in, nullptr, false);
  if (!stored.is_object()) return state;
  try {
    state.documentHash = stored.value("document", "");
    const json items = stored.value("items", json::object());
    for (const auto& [key, item] : items.items()) {
      LoadedItem& loaded = state.loaded[key];
      loaded.id = item.at("id").get<std::string>();
      for (const json& r : item.at("revisions")) {
        loaded.revisions.push_back({r.at(0).get<std::string>(), r.at(1).get<std::string>()});
      }
    }
  } catch (const json::exception&) {
    return State();
  }
  return state;
}

// Written whole beside its place and renamed, so it is never half there.
void WriteState(const fs::path& file, const State& state) {
  json items = json::object();
  for (const auto& [key, item] : state.loaded) {
    json revisions = json::array();
    for (const LoadedRevision& r : item.revisions) revisions.push_back({r.label, r.fingerprint});
    items[key] = {{"id", item.id}, {"revisions", std::move(revisions)}};
  }
  const fs::path temporary = file.string() + ".tmp";
  {
    std::ofstream out(temporary);
    out << json{{"document", state.documentHash}, {"items", std::move(items)}}.dump();
    if (!out.flush()) ThrowFileException(kSignature, "cannot write " + temporary.string(), ExcSubIo);
  }
  std::error_code error;
  fs::rename(temporary, file, error);
  if (error) ThrowFileException(kSignature, "cannot write " + file.string() + ": " + error.message(), ExcSubIo);
}

// The package's directory goes whatever happens.
class ScratchDirectory {
 public:
  explicit ScratchDirectory(fs::path path) : m_path(std::move(path)) {
    fs::remove_all(m_path);
    fs::create_directories(m_path);
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  const fs::path& Path() const { return m_path; }

 private:
  fs::path m_path;
};

}  // namespace

void PlmxmlConnector::Open(IUDMProfile& profile, const vqString& workingDir) {
  const fs::path document(m_document);
  std::error_code error;
  if (m_document.empty() || !fs::is_regular_file(document, error)) {
    ThrowFileException(kSignature, "File " + m_document + " does not exist.", ExcSubNotFound);
  }
  const fs::path stateFile = fs::path(workingDir.str()) / kStateFile;
  State state = ReadState(stateFile);
  const std::string hash = DocumentHash(document);
  if (hash == state.documentHash) return;

  plmxml::Document read;
  try {
    read = plmxml::ReadDocument(m_document);
  } catch (const plmxml::ReadError& e) {
    ThrowFileException(kSignature, e.what(), ExcSubSyntax);
  }
  vqStlVector<UDMCdefMetaData> declared;
  profile.GetMetaData("UDMPart", declared);
  PartAttributes attributes(declared);
  const ScratchDirectory package(fs::path(workingDir.str()) / "plmxml-package");
  const LatestRevision latest = [&](const std::string& id) {
    try {
      // Every part has its revision 0; its entity knows the latest.
      return profile.GetUDMItemHandle(id + "0").GetEntityHandlePtr()->GetLatestRevision();
    } catch (const UDMException&) {
      return -1;  // not in the repository (any more)
    }
  };
  const size_t parts = WritePackage(read, attributes, state.loaded, latest, profile.GetUName().str(),
                                    "Loaded from " + document.filename().string(), package.Path().string());
  if (!attributes.Added().empty()) {
    vqStlVector<UDMCdefMetaData> added = attributes.Added();
    profile.ModifyUpdateContentDefinition("UDMPart", added, nullptr);
  }
  if (parts > 0) profile.Import(package.Path().string());
  state.documentHash = hash;
  WriteState(stateFile, state);
}

}  // namespace vqkudm::connect
