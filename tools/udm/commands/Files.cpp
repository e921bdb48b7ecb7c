// udm add-file and udm get: an item's files into the vault and back out.

#include <filesystem>
#include <iostream>
#include <set>

#include "Editing.h"
#include "Failure.h"
#include "Output.h"
#include "Progress.h"
#include "Tool.h"

namespace fs = std::filesystem;

namespace udm {

namespace {

struct FilesArguments {
  std::string item;
  std::vector<std::string> files;
  std::string dir;
  bool recursive = false;
};

void AddFiles(const Options& options, const FilesArguments& arguments) {
  OpenRepository repository(options);
  vqkudm::IUDMProfile& profile = repository.profile();
  const ItemNames names(repository);
  vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  RequireEditable(names, item, "add-file");
  nlohmann::json added = nlohmann::json::array();
  for (const std::string& file : arguments.files) {
    if (!fs::is_regular_file(file)) Refuse("add-file", "no file " + file, vqkudm::ExcSubNotFound);
    // The builder, unlike AddFile(item, path), replaces a file of the same name.
    profile.AddFile(item).setFilePath(fs::absolute(file).string()).go();
    added.push_back(fs::path(file).filename().string());
  }
  profile.Save(item, "", false);
  nlohmann::json document = ItemJson(item);
  document["files"] = added;
  Output(options.json).Print(document, [&](std::ostream& out) {
    out << "Added " << added.size() << (added.size() == 1 ? " file" : " files") << " to " << names.PathOf(item)
        << "\n";
  });
}

// One item whose files go into one folder.
struct Retrieval {
  vqkudm::UDMItemHandle item;
  fs::path dir;
  ProgressCounts size;
};

// The item's files go into `dir`, and with `recursive` each child's into a
// sub-folder named after it: listed first, so the progress bar knows the total.
void Plan(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item, const fs::path& dir, bool recursive,
          int depth, std::vector<Retrieval>& out) {
  vqStlVector<vqkudm::UDMGenericDocument> files;
  Core(item)->GetFileInfoList(files, false);
  ProgressCounts size{1, files.size(), 0};
  for (const vqkudm::UDMGenericDocument& file : files) size.bytes += static_cast<std::uint64_t>(file.GetSize());
  out.push_back({item, dir, size});
  if (!recursive || depth >= kMaxDepth) return;
  vqStlVector<vqkudm::UDMUseInfo> uses;
  Core(item)->GetUses(uses, "");
  std::set<std::string> done;
  for (const vqkudm::UDMUseInfo& use : uses) {
    const vqkudm::UDMItemHandle child = profile.GetUDMItemHandle(use.child->GetUID(true));
    if (!done.insert(child.GetUID()).second) continue;
    Plan(profile, child, dir / child.GetDisplayName().str(), recursive, depth + 1, out);
  }
}

void Get(const Options& options, const FilesArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  const vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  std::vector<Retrieval> retrievals;
  Plan(repository.profile(), item, fs::absolute(arguments.dir.empty() ? "." : arguments.dir), arguments.recursive, 0,
       retrievals);
  ProgressCounts total;
  for (const Retrieval& r : retrievals) {
    total.items += r.size.items;
    total.files += r.size.files;
    total.bytes += r.size.bytes;
  }
  Progress progress(Progress::Wanted(options), total);
  nlohmann::json written = nlohmann::json::array();
  for (const Retrieval& r : retrievals) {
    fs::create_directories(r.dir);
    vqStlVector<vqString> paths;
    Core(r.item)->GetAllFilesIntoFolder(r.dir.string(), true, paths);
    for (const vqString& path : paths) written.push_back(path.str());
    progress.Advance(r.size);
  }
  progress.Finish();
  Output(options.json).Print({{"files", written}}, [&](std::ostream& out) {
    for (const nlohmann::json& path : written) out << path.get<std::string>() << "\n";
  });
}

}  // namespace

void AddFilesCommands(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<FilesArguments>();
  const Options& options = tool.options;
  CLI::App* addFile = tool.Add(app, "add-file",
                               "Adds files to a checked-out or new item and saves the draft; a file of the same "
                               "name is replaced.\nExample: udm add-file bracket bracket.step drawing.pdf",
                               [&options, arguments] { AddFiles(options, *arguments); });
  addFile->add_option("ITEM", arguments->item, "the item")->required();
  addFile->add_option("FILE", arguments->files, "the files to add")->required();

  CLI::App* get = tool.Add(app, "get",
                           "Writes an item's files into DIR (default: here); --recursive writes each child's into "
                           "a sub-folder named after it.\nExample: udm get assembly out --recursive",
                           [&options, arguments] { Get(options, *arguments); });
  get->add_option("ITEM", arguments->item, "the item, ITEM@REV for a stored revision")->required();
  get->add_option("DIR", arguments->dir, "the folder to write into");
  get->add_flag("--recursive", arguments->recursive, "also the files of the structure below");
}

}  // namespace udm
