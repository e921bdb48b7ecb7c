// udm: the command-line tool of the runtime. Exit status 0 on success, 1
// when the operation failed, 2 for wrong usage.

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Completion.h"
#include "Failure.h"
#include "Signals.h"
#include "Tool.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

void Report(const udm::Options& options, const std::string& text, int category, int subCategory,
           const std::string& signature) {
  if (options.json) {
    std::cerr << nlohmann::json{{"error", text}, {"category", category}, {"subCategory", subCategory}}.dump() << "\n";
  } else if (options.verbose && !signature.empty()) {
    std::cerr << "udm: " << text << "\n  in " << signature << "\n  category " << category << ", sub-category "
              << subCategory << "\n";
  } else {
    std::cerr << "udm: " << text << "\n";
  }
}

int Usage(const udm::Options& options, const std::string& text) {
  Report(options, text, vqkudm::ExcCatInvalidArgument, vqkudm::ExcSubGeneral, "");
  return kWrongUsage;
}

// What `udm NAMES... --help` prints; `udm --help` for no names.
std::string Help(const CLI::App& app, const std::vector<std::string>& names) {
  const CLI::App* command = &app;
  std::string given;
  std::string prefix;  // the usage line's words before the command's name
  for (const std::string& name : names) {
    given += (given.empty() ? "" : " ") + name;
    const auto found = command->get_subcommands([&](const CLI::App* sub) { return sub->check_name(name); });
    if (found.empty()) {
      std::string known;
      for (const CLI::App* sub : udm::Commands(*command)) known += (known.empty() ? "" : ", ") + sub->get_name();
      throw udm::UsageError("unknown command \"" + given + "\"; the commands" +
                            (command == &app ? "" : " of " + command->get_name()) + ": " +
                            (known.empty() ? "none" : known));
    }
    prefix += (prefix.empty() ? "" : " ") + command->get_name();
    command = found.front();
  }
  // The root's help() would describe the selected `help` command instead.
  return command == &app ? app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal)
                         : command->help(prefix);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("udm: items, structure and revisions in a vqkudm repository.\n"
               "Example: udm init && udm new UDMPart bracket && udm checkin bracket -m created",
               "udm");
  app.fallthrough();
  app.require_subcommand(1);
  udm::Tool tool;
  app.add_option("--repo", tool.options.repo, "the repository: a registered name or a directory holding .udm/")
      ->envname("UDM_REPO");
  app.add_flag("--json", tool.options.json, "print one JSON document (see docs/cli.md)");
  app.add_flag("--verbose", tool.options.verbose, "with a failure, also print where it arose and its categories");
  app.add_flag("--quiet", tool.options.quiet, "no progress bar");
  auto helpNames = std::make_shared<std::vector<std::string>>();
  tool.Add(app, "help", "Lists the commands, or describes one.\nExample: udm help repo list",
           [&app, helpNames] { std::cout << Help(app, *helpNames); })
      ->add_option("COMMAND", *helpNames, "a command and its sub-command");
  udm::AddInitCommand(app, tool);
  udm::AddRepoCommands(app, tool);
  udm::AddEditCommands(app, tool);
  udm::AddLifecycleCommands(app, tool);
  udm::AddBrowseCommands(app, tool);
  udm::AddDiffCommand(app, tool);
  udm::AddQueryCommand(app, tool);
  udm::AddWatchCommand(app, tool);
  udm::AddImportTreeCommand(app, tool);
  udm::AddStructureCommands(app, tool);
  udm::AddFilesCommands(app, tool);
  udm::AddRecordCommands(app, tool);
  udm::AddExchangeCommands(app, tool);
  udm::AddDefinitionCommands(app, tool);
  udm::AddFsckCommand(app, tool);
  udm::AddLogCommand(app, tool);
  udm::AddCompletionCommand(app, tool);

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    return Usage(tool.options, error.what());
  }
  try {
    udm::InstallSignalHandlers();
    tool.Selected(app)();
    return udm::ReceivedSignal() ? udm::ExitStatusAfter(udm::ReceivedSignal()) : tool.status;
  } catch (const udm::Interrupted& interrupted) {
    Report(tool.options, interrupted.what(), vqkudm::ExcCatState, vqkudm::ExcSubGeneral, "");
    return udm::ExitStatusAfter(interrupted.signal());
  } catch (const udm::UsageError& error) {
    return Usage(tool.options, error.what());
  } catch (const vqkudm::UDMException& failure) {
    Report(tool.options, udm::UserMessage(failure), failure.GetExceptionCategory(), failure.GetExceptionSubCategory(),
           failure.GetFunctionSignature());
    return kFailed;
  } catch (const std::exception& failure) {
    Report(tool.options, failure.what(), vqkudm::ExcCatState, vqkudm::ExcSubGeneral, "");
    return kFailed;
  }
}
