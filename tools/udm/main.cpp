// udm: the command-line tool of the runtime. Exit status 0 on success, 1
// when the operation failed, 2 for wrong usage.

#include <iostream>

#include <nlohmann/json.hpp>

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
  tool.Add(app, "help", "Lists the commands.\nExample: udm help", [&app] { std::cout << app.help(); });
  udm::AddInitCommand(app, tool);
  udm::AddRepoCommands(app, tool);
  udm::AddEditCommands(app, tool);
  udm::AddLifecycleCommands(app, tool);
  udm::AddBrowseCommands(app, tool);
  udm::AddQueryCommand(app, tool);
  udm::AddImportTreeCommand(app, tool);
  udm::AddStructureCommands(app, tool);
  udm::AddFilesCommands(app, tool);
  udm::AddRecordCommands(app, tool);
  udm::AddExchangeCommands(app, tool);
  udm::AddDefinitionCommands(app, tool);

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
    return udm::ReceivedSignal() ? udm::ExitStatusAfter(udm::ReceivedSignal()) : 0;
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
