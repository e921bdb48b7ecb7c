#include "PlmxmlConnector.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include <vqkudm/UDMNames.h>
#include <vqkudmrt/UDMException.h>

#include "Hashes.h"
#include "PlmxmlPackage.h"
#include "PlmxmlReader.h"
#include "PlmxmlWriter.h"
#include "RepositoryModel.h"

namespace vqkudm::connect {

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

const char* const kSignature =
    "void vqkudm::connect::PlmxmlConnector::Open(class vqkudm::IUDMProfile &,const class vqString &)";
const char* const kStateFile = "plmxml-state.json";

std::string ReadText(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::error_code error;
  const auto size = fs::file_size(file, error);
  std::string text(error ? 0 : size, '\0');
  if (!in || !in.read(text.data(), static_cast<std::streamsize>(text.size()))) {
    ThrowFileException(kSignature, "cannot read " + file.string(), ExcSubIo);
  }
  return text;
}

// Beside the document, synced, then renamed over it: readers see the old
// document or the new one, never a part of it.
void ReplaceFile(const fs::path& file, const std::string& text) {
  const fs::path temporary = file.string() + ".writing";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  bool ok = fd >= 0;
  for (size_t done = 0; ok && done < text.size();) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    ok = n > 0;
    if (ok) done += static_cast<size_t>(n);
  }
  ok = ok && ::fsync(fd) == 0;
  if (fd >= 0) ok = ::close(fd) == 0 && ok;
  std::error_code error;
  if (ok) fs::rename(temporary, file, error);
  if (!ok || error) {
    fs::remove(temporary, error);
    ThrowFileException(kSignature, "cannot write the document " + file.string(), ExcSubIo);
  }
}

plmxml::Document Parse(const std::string& text, const std::string& path) {
  try {
    return plmxml::ParseDocument(text, path);
  } catch (const plmxml::ReadError& e) {
    ThrowFileException(kSignature, e.what(), ExcSubSyntax);
  }
}

// The part definition's attributes, with those the mapping keeps every
// revision's identity in, whether or not this document fills them.
// A document whose files are not all there is not loaded: a part without
// its geometry would pass for complete.
void RequireFiles(const plmxml::Document& document, const std::string& path) {
  for (const plmxml::Item& item : document.items) {
    for (const plmxml::Revision& revision : item.revisions) {
      for (const plmxml::FileRef& file : revision.files) {
        std::error_code error;
        if (fs::is_regular_file(file.path, error)) continue;
        ThrowFileException(kSignature,
                           path + ": the file element \"" + file.elementId + "\" (line " + std::to_string(file.line) +
                               ") names " + file.path + ", which does not exist",
                           ExcSubNotFound);
      }
    }
  }
}

PartAttributes AttributesOf(IUDMProfile& profile) {
  vqStlVector<UDMCdefMetaData> declared;
  profile.GetMetaData("UDMPart", declared);
  PartAttributes attributes(declared);
  for (const vqString& key : {kKeyPlmxmlexternalid, kKeyPlmxmloccrevision, kKeyPlmxmlproductrevname,
                              kKeyPlmxmlproductrevsubtype}) {
    attributes.NameFor(key.str());
  }
  return attributes;
}

struct State {
  std::string documentHash;
  LoadState loaded;
};

// The state file: the document's hash on the first line, so that an
// unchanged document is recognised without reading the rest, then the items
// as JSON. A state that cannot be read counts as none: the import skips what
// the repository has, so loading again only costs time.
std::string ReadStateHash(const fs::path& file) {
  std::ifstream in(file);
  std::string hash;
  std::getline(in, hash);
  return hash;
}

State ReadState(const fs::path& file) {
  State state;
  std::ifstream in(file);
  std::string hash;
  if (!std::getline(in, hash)) return state;
  const json stored = json::parse(in, nullptr, false);
  if (!stored.is_object()) return state;
  try {
    for (const auto& [key, item] : stored.items()) {
      LoadedItem& loaded = state.loaded[key];
      loaded.id = item.at("id").get<std::string>();
      for (const json& r : item.at("revisions")) {
        loaded.revisions.push_back({r.at(0).get<std::string>(), r.at(1).get<std::string>()});
      }
    }
  } catch (const json::exception&) {
    return State();
  }
  state.documentHash = hash;
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
    out << state.documentHash << "\n" << items.dump();
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
  const std::string text = ReadText(document);
  const std::string hash = HashText(text);
  if (hash == ReadStateHash(stateFile)) return;
  State state = ReadState(stateFile);

  const plmxml::Document read = Parse(text, m_document);
  RequireFiles(read, m_document);
  PartAttributes attributes = AttributesOf(profile);
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

void PlmxmlConnector::WriteBack(IUDMProfile& profile, const vqString& workingDir) {
  static const char* const kWriteSignature =
      "void vqkudm::connect::PlmxmlConnector::WriteBack(class vqkudm::IUDMProfile &,const class vqString &)";
  const fs::path stateFile = fs::path(workingDir.str()) / kStateFile;
  State state = ReadState(stateFile);
  const std::string original = ReadText(m_document);
  if (HashText(original) != state.documentHash) {
    ThrowStateException(kWriteSignature,
                        "the document " + m_document +
                            " changed since it was loaded; open the connection again to bring its changes in first",
                        ExcSubConflict);
  }
  PartAttributes attributes = AttributesOf(profile);
  const plmxml::Document read = Parse(original, m_document);
  const plmxml::Document desired = RepositoryModel(profile, read, attributes, state.loaded);
  std::string written;
  try {
    written = plmxml::WriteDocument(original, read, desired, m_document);
  } catch (const std::invalid_argument& e) {
    ThrowStateException(kWriteSignature, "cannot write " + m_document + ": " + e.what(), ExcSubGeneral);
  }
  ReplaceFile(m_document, written);
  // What was written counts as loaded: it must not come back as changes.
  RecordLoaded(Parse(written, m_document), attributes, state.loaded);
  state.documentHash = HashText(written);
  WriteState(stateFile, state);
}

}  // namespace vqkudm::connect
