// The repository's integrity check.

#include <vqkudmrt/UDMSession.h>

#include <map>
#include <set>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/store/SchemaMigrations.h>

#include "../store/EntityStore.h"
#include "../store/IntegrityChecks.h"
#include "../vault/ContentVault.h"

namespace vqkudm {

namespace {

vqString UsesOf(const std::vector<const store::ContentUse*>& uses) {
  vqString text;
  for (const store::ContentUse* use : uses) text += (text.empty() ? "" : ", ") + use->name + " of " + use->uid;
  return text;
}

}  // namespace

UDMIntegrityReport UDMSession::VerifyRepository(bool pruneContents) {
  UDMIntegrityReport report;
  report.schemaVersion = store::ReadSchemaVersion(m_store->Db());
  if (report.schemaVersion != store::LatestSchemaVersion()) {
    report.findings.push_back({"schema", "repository database",
                               "schema version " + vqString::FromInt(report.schemaVersion) + ", this runtime's is " +
                                   vqString::FromInt(store::LatestSchemaVersion())});
  }
  for (UDMIntegrityFinding& finding : store::CheckRecords(*m_store)) report.findings.push_back(std::move(finding));
  report.entities = store::CountRows(*m_store, "udm_entity");
  report.revisions = store::CountRows(*m_store, "udm_revision WHERE state = 0");

  const std::vector<store::ContentUse> uses = store::ContentUses(*m_store);
  report.fileRecords = uses.size();
  std::map<vqString, std::vector<const store::ContentUse*>> byKey;
  for (const store::ContentUse& use : uses) byKey[use.key].push_back(&use);
  for (const auto& [key, records] : byKey) {
    const std::optional<vault::StagedContent> kept = m_vault->Examine(key);
    if (!kept) {
      report.findings.push_back({"content", key, "missing from the vault; recorded as " + UsesOf(records)});
      continue;
    }
    if (kept->key != key) {
      report.findings.push_back({"content", key, "the bytes kept hash to " + kept->key + "; recorded as " +
                                                     UsesOf(records)});
    }
    std::vector<const store::ContentUse*> wrongSize;
    for (const store::ContentUse* use : records) {
      if (use->size != kept->size) wrongSize.push_back(use);
    }
    if (!wrongSize.empty()) {
      report.findings.push_back({"content", key, "kept with " + vqString::FromInt64(kept->size) +
                                                     " bytes, recorded with another size as " + UsesOf(wrongSize)});
    }
  }

  const std::vector<vqString> keys = m_vault->Keys();
  report.contents = keys.size();
  for (const vqString& key : keys) {
    if (byKey.count(key)) continue;
    UDMIntegrityFinding finding{"unreferenced content", key, "no file record refers to it", false, false};
    if (pruneContents) {
      // A check-in between the listing and now may have taken the content up.
      try {
        m_store->InTransaction("removing the unreferenced content " + key, [&] {
          m_store->LockContent(key);
          if (m_store->IsContentReferenced(key)) return;
          m_vault->Discard(key);
          finding.removed = true;
        });
      } catch (...) {
        m_vault->FinishDiscards(false);
        throw;
      }
      m_vault->FinishDiscards(true);
      if (!finding.removed) continue;
    }
    report.findings.push_back(finding);
  }
  return report;
}

}  // namespace vqkudm
