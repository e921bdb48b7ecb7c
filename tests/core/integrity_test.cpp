#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMSession.h>

#include <fstream>
#include <set>

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

class IntegrityTest : public RepositoryTest {
 protected:

  // A project using two parts, each with a file; both parts also keep
  // `shared.txt`, whose content is kept once.
  void Build() {
    UDMItemPtr project = m_session->CreateEntity(kClassProject, "rover", UDMUID());
    for (const std::string name : {"wheel", "axle"}) {
      UDMItemPtr part = m_session->CreateEntity(kClassPart, name, UDMUID());
      part->AddFile(Write(name + ".step", "geometry of the " + name), true, false, "");
      part->AddFile(Write("shared.txt", "shared notes"), true, false, "");
      project->AddChild(part, "parts");
      m_parts.push_back(part);
    }
    project->Persist("first", GDM_RECURSE_ALL, -1, false, true);
  }
  vqString Write(const std::string& name, const std::string& content) {
    const fs::path path = m_dir / "src" / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
  }
  vqString KeyOf(const UDMItemPtr& part, const vqString& name) {
    vqStlVector<UDMGenericDocument> files;
    part->GetFileInfoList(files, false);
    for (const UDMGenericDocument& file : files) {
      if (file.GetName() == name) return file.GetContentKey();
    }
    ADD_FAILURE() << "no file " << name;
    return vqString();
  }
  // Raw SQL past the foreign keys, as a damaged file or another tool would write.
  void Damage(const std::string& sql, const vqStlVector<vqVariant>& params = {}) {
    vqlm::iDbDriver& db = Session().Database();
    ASSERT_TRUE(db.ExecSqlStatement(IsPostgres() ? "SET session_replication_role = replica" : "PRAGMA foreign_keys = OFF"));
    const vqlm::DbStatus done = db.ExecSqlStatement(sql, params);
    ASSERT_TRUE(done) << done.GetText();
    ASSERT_TRUE(db.ExecSqlStatement(IsPostgres() ? "SET session_replication_role = DEFAULT" : "PRAGMA foreign_keys = ON"));
  }
  // Replaces the bytes kept under `key`, wherever contents are kept.
  void ReplaceContent(const vqString& key, const std::string& bytes) {
    if (IsPostgres()) {
      Damage("UPDATE udm_content_chunk SET data = ? WHERE upload = (SELECT upload FROM udm_content WHERE content_key = ?)",
             {vqVariant(bytes), key});
    } else {
      std::ofstream(ObjectPath(key), std::ios::binary | std::ios::trunc) << bytes;
    }
  }
  void RemoveContent(const vqString& key) {
    if (IsPostgres()) {
      Damage("DELETE FROM udm_content WHERE content_key = ?", {key});
    } else {
      fs::remove(ObjectPath(key));
    }
  }
  static std::set<std::pair<std::string, std::string>> Faults(const UDMIntegrityReport& report) {
    std::set<std::pair<std::string, std::string>> out;
    for (const UDMIntegrityFinding& f : report.findings) {
      if (f.fault) out.emplace(f.check.str(), f.subject.str());
    }
    return out;
  }

  std::vector<UDMItemPtr> m_parts;
};

}  // namespace

TEST_P(IntegrityTest, ASoundRepositoryIsCountedAndReportsNothing) {
  Build();
  const UDMIntegrityReport report = Session().VerifyRepository(false);
  EXPECT_TRUE(report.IsSound());
  EXPECT_TRUE(report.findings.empty()) << report.findings.front().message;
  EXPECT_EQ(report.entities, 3u);
  EXPECT_EQ(report.revisions, 3u);
  EXPECT_EQ(report.fileRecords, 4u);
  EXPECT_EQ(report.contents, 3u) << "the shared content is kept once";
  EXPECT_GT(report.schemaVersion, 0);
}

TEST_P(IntegrityTest, EachBrokenRecordAndContentIsReportedWithWhatItConcerns) {
  Build();
  const vqString wheelKey = KeyOf(m_parts[0], "wheel.step");
  const vqString axleKey = KeyOf(m_parts[1], "axle.step");
  const vqString axle = m_parts[1]->GetUID().ToString();
  RemoveContent(wheelKey);
  ReplaceContent(axleKey, "not the geometry that was checked in");
  Damage("INSERT INTO udm_attribute (uid, name, type, text_value) VALUES ('0123456789abcdef0123456789abcdef0',"
         " 'mass', 1, 'x')");
  Damage("DELETE FROM udm_revision WHERE uid = ?", {axle});

  const UDMIntegrityReport report = Session().VerifyRepository(false);
  EXPECT_FALSE(report.IsSound());
  const auto faults = Faults(report);
  EXPECT_TRUE(faults.count({"content", wheelKey.str()})) << "missing from the vault";
  EXPECT_TRUE(faults.count({"content", axleKey.str()})) << "other bytes, another size";
  EXPECT_TRUE(faults.count({"attribute", "0123456789abcdef0123456789abcdef0"}));
  EXPECT_TRUE(faults.count({"revision", axle.substr(0, 32)})) << "the latest revision is gone";
  EXPECT_TRUE(faults.count({"file", axle.str()})) << "its file records belong to nothing";
  std::size_t axleContentFaults = 0;
  for (const UDMIntegrityFinding& f : report.findings) axleContentFaults += f.subject == axleKey ? 1 : 0;
  EXPECT_EQ(axleContentFaults, 2u) << "the hash and the size";
}

TEST_P(IntegrityTest, UnreferencedContentsAreNotesAndGoOnlyWhenPruned) {
  Build();
  const vqString wheelKey = KeyOf(m_parts[0], "wheel.step");
  Damage("DELETE FROM udm_file WHERE content_key = ?", {wheelKey});

  UDMIntegrityReport report = Session().VerifyRepository(false);
  EXPECT_TRUE(report.IsSound()) << "an unreferenced content does no harm";
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_EQ(report.findings[0].check, "unreferenced content");
  EXPECT_EQ(report.findings[0].subject, wheelKey);
  EXPECT_FALSE(report.findings[0].removed);
  EXPECT_TRUE(ContentKept(wheelKey)) << "never removed unless asked";

  report = Session().VerifyRepository(true);
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_TRUE(report.findings[0].removed);
  EXPECT_FALSE(ContentKept(wheelKey));
  EXPECT_TRUE(ContentKept(KeyOf(m_parts[0], "shared.txt"))) << "a referenced content stays";
  EXPECT_TRUE(Session().VerifyRepository(true).findings.empty());
}

UDM_ON_EVERY_BACKEND(IntegrityTest);
