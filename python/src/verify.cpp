#include "verify.h"

#include "records.h"
#include "repository.h"

namespace vqkudm::python {

namespace {

// The Verification and Finding record types.
py::handle g_verification;
py::handle g_finding;

}  // namespace

void RegisterVerify(py::module_& module) {
  auto repository = py::reinterpret_borrow<py::class_<Repository>>(module.attr("Repository"));
  repository.def(
      "verify",
      [](Repository& self, bool prune) {
        const UDMIntegrityReport report =
            self.connection->Run("Repository.verify", [&](const boost::shared_ptr<IUDMProfile>& profile) {
              return UDMProfileExtensions::VerifyRepository(profile, prune);
            });
        py::list findings;
        for (const UDMIntegrityFinding& finding : report.findings) {
          findings.append(g_finding(finding.check.str(), finding.subject.str(), finding.message.str(), finding.fault,
                                    finding.removed));
        }
        return g_verification(report.IsSound(), report.schemaVersion, report.entities, report.revisions,
                              report.fileRecords, report.contents, findings);
      },
      py::kw_only(), py::arg("prune") = false,
      "Checks the repository's integrity (docs/reliability.md) and returns a Verification: whether\n"
      "it is sound, what was checked, and each Finding(check, subject, message, fault, removed).\n"
      "It reads every record and content and changes nothing, except that prune=True removes the\n"
      "file contents nothing refers to.");

  g_verification = RecordType(
      module, "Verification",
      {"sound", "schema_version", "entities", "revisions", "file_records", "contents", "findings"},
      "What Repository.verify found: sound is False when a finding is a fault; then the schema\n"
      "version, how many entities, revisions, file records and contents were checked, and the\n"
      "findings.");
  g_finding = RecordType(module, "Finding", {"check", "subject", "message", "fault", "removed"},
                         "One finding of Repository.verify: the check (\"content\", \"revision\", ...), what it\n"
                         "concerns, the message, whether it is a fault (an unreferenced content is not), and\n"
                         "whether this run removed it.");
}

}  // namespace vqkudm::python
