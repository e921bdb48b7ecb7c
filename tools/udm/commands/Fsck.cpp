// udm fsck: the repository's integrity check.

#include <iostream>

#include "Output.h"
#include "Repository.h"
#include "Tool.h"

namespace udm {

namespace {

struct FsckArguments {
  bool prune = false;
};

// True when the repository is sound.
bool Fsck(const Options& options, const FsckArguments& arguments) {
  // Only what is stored: the user's saved work is not the repository's.
  OpenRepository repository(options, OpenRepository::kStored);
  const vqkudm::UDMIntegrityReport report =
      vqkudm::UDMProfileExtensions::VerifyRepository(repository.pointer(), arguments.prune);
  nlohmann::json findings = nlohmann::json::array();
  std::size_t faults = 0;
  for (const vqkudm::UDMIntegrityFinding& finding : report.findings) {
    faults += finding.fault ? 1 : 0;
    findings.push_back({{"check", finding.check.str()},
                        {"subject", finding.subject.str()},
                        {"message", finding.message.str()},
                        {"fault", finding.fault},
                        {"removed", finding.removed}});
  }
  const nlohmann::json document = {{"sound", report.IsSound()},
                                   {"schemaVersion", report.schemaVersion},
                                   {"entities", report.entities},
                                   {"revisions", report.revisions},
                                   {"fileRecords", report.fileRecords},
                                   {"contents", report.contents},
                                   {"findings", findings}};
  Output(options.json).Print(document, [&](std::ostream& out) {
    for (const nlohmann::json& finding : findings) {
      out << (finding["fault"].get<bool>() ? "fault  " : "note   ") << finding["check"].get<std::string>() << "  "
          << finding["subject"].get<std::string>() << "  " << finding["message"].get<std::string>()
          << (finding["removed"].get<bool>() ? " (removed)" : "") << "\n";
    }
    out << "Checked " << report.entities << " entities, " << report.revisions << " revisions, " << report.fileRecords
        << " file records and " << report.contents << " contents (schema version " << report.schemaVersion << "): "
        << (faults == 0 ? "sound" : std::to_string(faults) + (faults == 1 ? " fault" : " faults")) << "\n";
  });
  return report.IsSound();
}

}  // namespace

void AddFsckCommand(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<FsckArguments>();
  CLI::App* fsck = tool.Add(app, "fsck",
                            "Checks the repository's integrity: the database, every record's references, every "
                            "file's content (present, of its size and hash), the schema. Changes nothing; exits "
                            "with 1 when it finds a fault.\nExample: udm fsck --json",
                            [&tool, arguments] {
                              if (!Fsck(tool.options, *arguments)) tool.status = 1;
                            });
  fsck->add_flag("--prune", arguments->prune,
                 "remove the file contents nothing refers to (an interrupted check-in leaves them)");
}

}  // namespace udm
