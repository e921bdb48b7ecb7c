// udm add-file and udm get: an item's files into the vault and back out.

#include <filesystem>
#include <iostream>
#include <set>

#include "Editing.h"
#include "Failure.h"
#include "Output.h"
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

// Writes the item's files into `dir`, and with `recursive` each child's
// into a sub-folder named after it; the paths written go to `written`.
void Retrieve(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item, const fs::path& dir, bool recursive,
              int depth, nlohmann::json& written) {
  fs::create_directories(dir);
  vqStlVector<vqString> paths;
  Core(item)->GetAllFilesIntoFolder(dir.string(), true, paths);
  for (const vqString& path : paths) written.push_back(path.str());
  if (!recursive || depth >= kMaxDepth) return;
  vqStlVector<vqkudm::UDMUseInfo> uses;
  Core(item)->GetUses(uses, "");
  std::set<std::string> done;
  for (const vqkudm::UDMUseInfo& use : uses) {
    const vqkudm::UDMItemHandle child = profile.GetUDMItemHandle(use.child->GetUID(true));
    if (!done.insert(child.GetUID()).second) continue;
    Retrieve(profile, child, dir / child.GetDisplayName().str(), recursive, depth + 1, written);
  }
}

void Get(const Options& options, const FilesArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  const vqkudm::UDMItemHandle item = names.Resolve(arguments.item);
  nlohmann::json written = nlohmann::json::array();
  Retrieve(repository.profile(), item, fs::absolute(arguments.dir.empty() ? "." : arguments.dir), arguments.recursive,
           0, written);
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
