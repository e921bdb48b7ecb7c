// udm export and udm import: exchange packages (docs/package.md).

#include <filesystem>
#include <iostream>

#include "ItemNames.h"
#include "Output.h"
#include "Progress.h"
#include "Tool.h"

namespace fs = std::filesystem;

namespace udm {

namespace {

struct ExchangeArguments {
  std::vector<std::string> items;
  std::string package;
};

// Draws the package's file contents as they are copied, then `lastStep`
// while the work the engine reports only at its end goes on.
vqkudm::UDMExchangeProgress Drawing(Progress& progress, const std::string& lastStep) {
  return [&progress, lastStep](const vqString& stage, std::uint64_t done, std::uint64_t total) {
    if (stage != "contents") return;
    progress.Reach({0, done, 0}, {0, total, 0});
    if (done == total) progress.Phase(lastStep);
  };
}

void Export(const Options& options, const ExchangeArguments& arguments) {
  OpenRepository repository(options);
  const ItemNames names(repository);
  vqStlVector<vqkudm::UDMItemHandle> items;
  nlohmann::json exported = nlohmann::json::array();
  for (const std::string& text : arguments.items) {
    items.push_back(names.Resolve(text));
    exported.push_back(ItemJson(items.back()));
  }
  const std::string package = fs::absolute(arguments.package).lexically_normal().string();
  Progress progress(Progress::Wanted(options), {});
  progress.Phase("collecting");
  vqkudm::UDMProfileExtensions::ExportItems(repository.pointer(), items, package,
                                            vqkudm::UDMProfileExtensions::PackageFormatOf(package),
                                            Drawing(progress, "writing the package"));
  progress.Finish();
  Output(options.json).Print({{"package", package}, {"items", exported}}, [&](std::ostream& out) {
    out << "Exported " << items.size() << (items.size() == 1 ? " item" : " items") << " to " << package << "\n";
  });
}

void Import(const Options& options, const ExchangeArguments& arguments) {
  OpenRepository repository(options);
  const std::string package = fs::absolute(arguments.package).lexically_normal().string();
  Progress progress(Progress::Wanted(options), {});
  progress.Phase("checking the package");
  const std::size_t added = vqkudm::UDMProfileExtensions::ImportPackage(repository.pointer(), package,
                                                                        Drawing(progress, "storing"));
  progress.Finish();
  Output(options.json).Print({{"package", package}, {"added", added}}, [&](std::ostream& out) {
    out << "Imported " << package << ": " << added << (added == 1 ? " item" : " items") << " added\n";
  });
}

}  // namespace

void AddExchangeCommands(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<ExchangeArguments>();
  const Options& options = tool.options;
  CLI::App* exportItems = tool.Add(app, "export",
                                   "Writes a package of stored items with everything they need: a directory, or an "
                                   "archive named .tar, .tar.gz, .tgz or .zip.\n"
                                   "Example: udm export assembly -o assembly.tar.gz",
                                   [&options, arguments] { Export(options, *arguments); });
  exportItems->add_option("ITEM", arguments->items, "the items")->required();
  exportItems->add_option("-o,--output", arguments->package, "the package to write")->required();

  CLI::App* importPackage = tool.Add(app, "import",
                                     "Adds what a package holds and the repository lacks.\n"
                                     "Example: udm import assembly.tar.gz",
                                     [&options, arguments] { Import(options, *arguments); });
  importPackage->add_option("PACKAGE", arguments->package, "a package directory or archive")->required();
}

}  // namespace udm
