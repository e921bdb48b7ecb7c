#pragma once

// What every command shares: the global options and the table that maps a
// parsed sub-command to the work it does.

#include <functional>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

namespace udm {

struct Options {
  std::string repo;
  bool json = false;
  bool verbose = false;
  bool quiet = false;
};

class Tool {
 public:
  Options options;
  // The exit status of a command that succeeded: `diff --exit-code` tells differences by 1.
  int status = 0;

  // A sub-command of `parent` that runs `action` when it is the one given.
  CLI::App* Add(CLI::App& parent, const std::string& name, const std::string& description,
                std::function<void()> action);
  // The action of the deepest sub-command given; none when only a group was.
  std::function<void()> Selected(const CLI::App& app) const;

 private:
  std::map<const CLI::App*, std::function<void()>> m_actions;
};

void AddInitCommand(CLI::App& app, Tool& tool);
void AddRepoCommands(CLI::App& app, Tool& tool);
void AddEditCommands(CLI::App& app, Tool& tool);
void AddLifecycleCommands(CLI::App& app, Tool& tool);
void AddBrowseCommands(CLI::App& app, Tool& tool);
void AddDiffCommand(CLI::App& app, Tool& tool);
void AddQueryCommand(CLI::App& app, Tool& tool);
void AddWatchCommand(CLI::App& app, Tool& tool);
void AddImportTreeCommand(CLI::App& app, Tool& tool);
void AddStructureCommands(CLI::App& app, Tool& tool);
void AddFilesCommands(CLI::App& app, Tool& tool);
void AddRecordCommands(CLI::App& app, Tool& tool);
void AddExchangeCommands(CLI::App& app, Tool& tool);
void AddDefinitionCommands(CLI::App& app, Tool& tool);
void AddFsckCommand(CLI::App& app, Tool& tool);
void AddLogCommand(CLI::App& app, Tool& tool);

}  // namespace udm
