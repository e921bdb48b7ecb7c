// udm repo: the repositories the registry knows.

#include <iostream>

#include <vqkudm/UDMProfileMgr.h>

#include "Failure.h"
#include "Output.h"
#include "Repository.h"
#include "Tool.h"

namespace udm {

namespace {

const ConfigMap kEveryone = {{"username", vqVariant("")}};

void List(const Options& options) {
  vqStlVector<vqString> ids;
  vqkudm::UDMProfileMgr::GetRepositoryIds(ids, kEveryone, 0);
  nlohmann::json repositories = nlohmann::json::array();
  for (const vqString& id : ids) {
    vqStlMap<vqString, vqString> info;
    vqkudm::UDMProfileMgr::GetRepositoryInfo(info, id, kEveryone);
    const std::string location = info["type"] == "local" ? info["ldbfile"] : info["dbhost"] + ":" + info["dbport"];
    repositories.push_back({{"id", id.str()},
                            {"name", info["name"].str()},
                            {"type", info["type"].str()},
                            {"location", location},
                            {"default", info["is_default"] == "true"}});
  }
  Output(options.json).Print({{"repositories", repositories}}, [&](std::ostream& out) {
    for (const nlohmann::json& r : repositories) {
      out << (r["default"].get<bool>() ? "* " : "  ") << r["name"].get<std::string>() << "  "
          << r["type"].get<std::string>() << "  " << r["location"].get<std::string>() << "\n";
    }
  });
}

void Add(const Options& options, const std::string& dir, const std::string& name) {
  const std::filesystem::path udmDir = UdmDirectory(dir);
  if (!std::filesystem::is_directory(udmDir)) {
    Refuse("repo add", dir + " holds no repository (no .udm directory)", vqkudm::ExcSubNotFound);
  }
  // An embedded repository is registered under its directory's name.
  const std::string own = LocalRepositoryName(udmDir);
  if (!name.empty() && name != own) {
    throw UsageError("--name of the repository in " + dir + " is its directory's name (\"" + own + "\")");
  }
  const vqString id = vqkudm::UDMProfileMgr::AddExistingRepository(LocalConfiguration(udmDir, own), "");
  Output(options.json).Print({{"id", id.str()}, {"name", own}},
                             [&](std::ostream& out) { out << "Registered " << own << "\n"; });
}

void Remove(const Options& options, const std::string& name, bool deleteFiles) {
  vqkudm::UDMProfileMgr::DeleteRepository(RegisteredConfiguration(name), deleteFiles, false);
  Output(options.json).Print({{"removed", name}, {"filesDeleted", deleteFiles}},
                             [&](std::ostream& out) { out << "Removed " << name << "\n"; });
}

void SetDefault(const Options& options, const std::string& name) {
  vqkudm::UDMProfileMgr::SetDefaultRepository(RegisteredConfiguration(name));
  Output(options.json).Print({{"default", name}},
                             [&](std::ostream& out) { out << "Default repository: " << name << "\n"; });
}

struct RepoArguments {
  std::string dir;
  std::string name;
  bool deleteFiles = false;
};

}  // namespace

void AddRepoCommands(CLI::App& app, Tool& tool) {
  CLI::App* repo = app.add_subcommand("repo", "The registered repositories.\nExample: udm repo list");
  repo->require_subcommand(1);
  auto arguments = std::make_shared<RepoArguments>();
  const Options& options = tool.options;
  tool.Add(*repo, "list", "Lists the registered repositories; * marks the default.\nExample: udm repo list --json",
           [&options] { List(options); });
  CLI::App* add = tool.Add(*repo, "add", "Registers the repository of DIR.\nExample: udm repo add ~/bike",
                           [&options, arguments] { Add(options, arguments->dir, arguments->name); });
  add->add_option("DIR", arguments->dir, "a directory holding .udm/")->required();
  add->add_option("--name", arguments->name, "the repository's name, which is its directory's under .udm");
  CLI::App* remove = tool.Add(
      *repo, "remove", "Forgets a repository; --delete-files also removes its data.\nExample: udm repo remove bike",
      [&options, arguments] { Remove(options, arguments->name, arguments->deleteFiles); });
  remove->add_option("NAME", arguments->name, "the repository's name or identifier")->required();
  remove->add_flag("--delete-files", arguments->deleteFiles, "also delete the database and the vault");
  CLI::App* makeDefault = tool.Add(*repo, "default", "Makes a repository the default.\nExample: udm repo default bike",
                                   [&options, arguments] { SetDefault(options, arguments->name); });
  makeDefault->add_option("NAME", arguments->name, "the repository's name or identifier")->required();
}

}  // namespace udm
