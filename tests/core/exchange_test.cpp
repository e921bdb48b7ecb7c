#include "session_fixture.h"

#include <archive.h>
#include <archive_entry.h>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMExchange.h>
#include <vqkudmrt/UDMPlugin.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMSession.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

class ExchangeTest : public RepositoryTest {
 protected:
  void SetUp() override {
    RepositoryTest::SetUp();
    if (IsSkipped()) return;
    if (IsPostgres()) m_pg2.emplace();
    Build();
  }

  // A session on a second, empty repository.
  boost::shared_ptr<UDMSession> OpenTarget(const std::string& user) {
    auto config = boost::make_shared<UDMSessionConfig>(*m_session->GetSessionConfig());
    config->SetRepositoryName(IsPostgres() ? m_pg2->name() : "target");
    config->SetUserName(user);
    auto session = boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->CreateSession(config));
    m_opened.push_back(session);
    return session;
  }
  fs::path Write(const std::string& name, const std::string& content) {
    const fs::path path = m_dir / "src" / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  // A product with revisions, a branch, files, a preview, a reference, a
  // classification and a relation.
  void Build() {
    auto purchased = boost::dynamic_pointer_cast<UDMClassification>(
        m_session->CreateEntity(kGroupCategories, "purchased", UDMUID()));
    purchased->Persist("", GDM_RECURSE_NONE, -1, false, true);
    m_project = m_session->CreateEntity(kClassProject, "kart", UDMUID());
    UDMItemPtr frame = m_project->AddChild(m_session->CreateEntity(kClassPart, "frame", UDMUID()), "parts");
    UDMItemPtr seat = m_project->AddChild(m_session->CreateEntity(kClassPart, "seat", UDMUID()), "parts");
    frame->SetAttribute("mass", vqVariant(12.5));
    frame->SetAttribute("unit", vqVariant("kg"));
    frame->AddFile(Write("frame.step", "solid frame").string(), true, false, "cad");
    frame->AddPreviewImage(Write("frame.png", "png").string(), "front", vqlm::ImagePng, "front view", true, false);
    seat->AddReference(frame, "mounted on");
    seat->AddClassification(purchased);
    m_project->Persist("first", GDM_RECURSE_ALL, -1, false, true);
    m_project->CheckOut("");
    m_project->AddChild(m_session->CreateEntity(kClassPart, "engine", UDMUID()), "parts");
    m_project->Persist("engine added", GDM_RECURSE_ALL, -1, false, true);
    frame->CheckOut("");
    frame->SetAttribute("mass", vqVariant(11.0));
    frame->UpdateFile(Write("frame.step", "lighter frame").string());
    frame->Persist("lighter", GDM_RECURSE_NONE, -1, false, true);
    UDMItemPtr old = m_session->FindItemById(frame->GetUID().WithRevision(0), true, "");
    old->CheckOut("");
    old->SetAttribute("mass", vqVariant(14.0));
    old->Persist("steel variant", GDM_RECURSE_NONE, -1, false, true);
    ASSERT_TRUE(m_session->CreateRelation(frame, seat, kRelGeneral, false));
  }

  // Everything the repository says about the entities reachable from `root`.
  std::string Fingerprint(const boost::shared_ptr<IUDMSession>& session, const UDMUID& root) {
    std::ostringstream out;
    std::set<vqString> seen;
    std::function<void(const UDMItemPtr&)> visit = [&](const UDMItemPtr& item) {
      if (!item || !seen.insert(item->GetUID().GetDmUid()).second) return;
      for (const UDMItemPtr& revision : item->GetAllRevisions()) {
        out << revision->GetUID().ToString() << " " << revision->GetContentDefinitionType() << "\n";
        for (const auto& [name, value] : revision->GetAttributes()) out << "  " << name << "=" << value.ToString() << "\n";
        vqStlVector<UDMGenericDocument> docs;
        revision->GetFileInfoList(docs, true);
        revision->GetPreviewImages(docs);
        for (const auto& d : docs) {
          out << "  file " << d.GetFolder() << "/" << d.GetName() << " " << d.GetContentKey() << " " << d.IsDefault() << "\n";
        }
        vqStlVector<UDMItemPtr> children, references;
        revision->GetChildren(children, "");
        for (const UDMItemPtr& child : children) out << "  child " << child->GetName() << "\n";
        revision->GetReferences(references, "");
        for (const UDMItemPtr& target : references) out << "  ref " << target->GetName() << "\n";
        vqStlVector<boost::shared_ptr<UDMClassification>> categories;
        revision->GetClassifications(categories, true);
        for (const auto& category : categories) out << "  class " << category->GetName() << "\n";
        vqStlVector<boost::shared_ptr<UDMRelation>> relations;
        revision->GetRelations(relations, 2);
        for (const auto& relation : relations) out << "  rel " << relation->GetRightEntityId().ToString() << "\n";
        if (UDMItemPtr from = revision->GetBranchedFrom()) out << "  from " << from->GetUID().ToString() << "\n";
        for (const UDMItemPtr& branch : revision->GetBranchedTo()) visit(branch);
        for (const UDMItemPtr& child : children) visit(child);
      }
    };
    visit(boost::dynamic_pointer_cast<UDMSession>(session)->FindLatest(root.GetDmUid()));
    return out.str();
  }

  void Export(const vqString& path, ExportFileOptions format) {
    auto session = boost::dynamic_pointer_cast<UDMSession>(m_session);
    auto options = session->GetExportCtrl()->CreateExportOptions(format, (m_dir / "out").string(), "representations");
    session->GetExportCtrl()->Export({m_project}, {}, path, options);
  }

  std::optional<PgTestDatabase> m_pg2;
  UDMItemPtr m_project;
};

}  // namespace

TEST_P(ExchangeTest, ExportThenImportIntoAnEmptyRepositoryLosesNothingAndTwiceChangesNothing) {
  Export("kart", ExportDirectory);
  ASSERT_TRUE(fs::exists(m_dir / "out" / "kart" / "manifest.json"));
  ASSERT_TRUE(fs::is_directory(m_dir / "out" / "kart" / "representations"));

  boost::shared_ptr<UDMSession> target = OpenTarget("bob");
  int progressCalls = 0;
  target->GetImportCtrl()->AddProgressCallback([&](const vqString&, std::uint64_t, std::uint64_t) { ++progressCalls; });
  vqStlVector<UDMItemPtr> imported, unchanged;
  target->GetImportCtrl()->Import(imported, unchanged, (m_dir / "out" / "kart").string(), false, true);
  EXPECT_GT(imported.size(), 5u);
  EXPECT_TRUE(unchanged.empty());
  EXPECT_GT(progressCalls, 0);
  target->GetImportCtrl()->ClearAllCallbacks();

  const std::string before = Fingerprint(m_session, m_project->GetUID());
  EXPECT_EQ(Fingerprint(OpenTarget("carol"), m_project->GetUID()), before);
  EXPECT_NE(before.find("rel "), std::string::npos);
  EXPECT_NE(before.find("from "), std::string::npos);

  vqStlVector<UDMItemPtr> again, same;
  target->GetImportCtrl()->Import(again, same, (m_dir / "out" / "kart").string(), false, true);
  EXPECT_TRUE(again.empty()) << "a second import adds nothing";
  EXPECT_EQ(same.size(), imported.size());
  EXPECT_EQ(Fingerprint(OpenTarget("dave"), m_project->GetUID()), before);
}

TEST_P(ExchangeTest, ALaterPackageBringsTheStructureOfItsNewRevisions) {
  Export("kart", ExportDirectory);
  boost::shared_ptr<UDMSession> target = OpenTarget("bob");
  vqStlVector<UDMItemPtr> imported, unchanged;
  target->GetImportCtrl()->Import(imported, unchanged, (m_dir / "out" / "kart").string(), false, false);

  // The source moves on: a child goes, another comes, a reference goes.
  m_project->CheckOut("");
  vqStlVector<UDMItemPtr> children;
  m_project->GetChildren(children, "parts");
  UDMItemPtr seat;
  for (const UDMItemPtr& child : children) {
    if (child->GetName() == "seat") seat = child;
  }
  ASSERT_TRUE(seat);
  m_project->RemoveChild(seat);
  m_project->AddChild(m_session->CreateEntity(kClassPart, "steering", UDMUID()), "parts");
  m_project->Persist("steering instead of the seat", GDM_RECURSE_ALL, -1, false, true);
  Export("kart-later", ExportDirectory);

  imported.clear();
  unchanged.clear();
  target->GetImportCtrl()->Import(imported, unchanged, (m_dir / "out" / "kart-later").string(), false, false);
  EXPECT_EQ(Fingerprint(OpenTarget("carol"), m_project->GetUID()), Fingerprint(m_session, m_project->GetUID()))
      << "every revision of the target shows the structure the source has";
}

TEST_P(ExchangeTest, ArchivesCarryThePackageToo) {
  for (const auto& [name, format] : {std::pair<const char*, ExportFileOptions>{"kart.zip", ExportZip},
                                     {"kart.tar.gz", ExportTarGz}}) {
    Export(name, format);
    ASSERT_TRUE(fs::is_regular_file(m_dir / "out" / name));
  }
  boost::shared_ptr<UDMSession> target = OpenTarget("bob");
  vqStlVector<UDMItemPtr> imported, unchanged;
  target->GetImportCtrl()->Import(imported, unchanged, (m_dir / "out" / "kart.zip").string(), false, false);
  target->GetImportCtrl()->TmpDataCleanup();
  target->GetImportCtrl()->Import(imported, unchanged, (m_dir / "out" / "kart.tar.gz").string(), false, false);
  EXPECT_FALSE(imported.empty());
  EXPECT_EQ(unchanged.size(), imported.size()) << "the second archive holds what the first brought";
  EXPECT_EQ(Fingerprint(OpenTarget("carol"), m_project->GetUID()), Fingerprint(m_session, m_project->GetUID()));

  // Through the plug-in, fetched by name.
  auto plugin = boost::dynamic_pointer_cast<UDMExportStructurePlugin>(
      boost::dynamic_pointer_cast<UDMSession>(m_session)->GetPluginMgr()->GetPlugin("UDMExportStructurePlugin"));
  ASSERT_TRUE(plugin);
  vqStlVector<vqString> written;
  auto options = boost::dynamic_pointer_cast<UDMSession>(m_session)->GetExportCtrl()->CreateExportOptions(
      ExportTar, (m_dir / "out").string(), "");
  plugin->Export({m_project}, {}, "by-plugin.tar", options, written);
  EXPECT_TRUE(fs::is_regular_file(m_dir / "out" / "by-plugin.tar"));
  EXPECT_EQ(written.size(), 1u);
}

TEST_P(ExchangeTest, BadPackagesAndTargetsAreRefusedBeforeAnythingIsWritten) {
  Export("kart", ExportDirectory);
  const fs::path package = m_dir / "out" / "kart";
  boost::shared_ptr<UDMSession> target = OpenTarget("bob");
  vqStlVector<UDMItemPtr> imported, unchanged;
  auto import = [&](const fs::path& path) { target->GetImportCtrl()->Import(imported, unchanged, path.string(), false, false); };
  auto nothingImported = [&] {
    vqStlVector<UDMItemPtr> roots;
    OpenTarget("eve")->GetRootEntities(RootEntityItems, roots);
    return roots.empty();
  };

  std::string manifest;
  {
    std::ifstream in(package / "manifest.json", std::ios::binary);
    manifest.assign(std::istreambuf_iterator<char>(in), {});
  }
  auto rewrite = [&](const std::string& text) { std::ofstream(package / "manifest.json", std::ios::binary) << text; };

  rewrite(manifest.substr(0, manifest.size() / 2));
  EXPECT_EQ(FailureOf([&] { import(package); }).first, ExcSubSyntax);
  rewrite(std::string(manifest).replace(manifest.find("\"version\": 1"), 12, "\"version\": 99"));
  const auto newer = FailureOf([&] { import(package); });
  EXPECT_EQ(newer.first, ExcSubOutOfRange);
  EXPECT_NE(newer.second.find("99"), std::string::npos) << newer.second;
  rewrite(manifest);
  const fs::path content = *fs::directory_iterator(package / "representations");
  fs::rename(content, m_dir / "moved");
  const auto missing = FailureOf([&] { import(package); });
  EXPECT_EQ(missing.first, ExcSubSyntax);
  EXPECT_NE(missing.second.find("lacks the content"), std::string::npos) << missing.second;
  std::ofstream(content, std::ios::binary) << "not the bytes of that key";
  EXPECT_EQ(FailureOf([&] { import(package); }).first, ExcSubSyntax);
  EXPECT_TRUE(nothingImported());

  // An archive entry that would land outside the extraction directory.
  const fs::path evil = m_dir / "evil.tar";
  {
    archive* a = archive_write_new();
    archive_write_set_format_pax_restricted(a);
    archive_write_open_filename(a, evil.c_str());
    archive_entry* entry = archive_entry_new();
    archive_entry_set_pathname(entry, "../../escaped.txt");
    archive_entry_set_size(entry, 3);
    archive_entry_set_filetype(entry, AE_IFREG);
    archive_entry_set_perm(entry, 0644);
    archive_write_header(a, entry);
    archive_write_data(a, "bad", 3);
    archive_entry_free(entry);
    archive_write_close(a);
    archive_write_free(a);
  }
  EXPECT_EQ(FailureOf([&] { import(evil); }).first, ExcSubWrongType);
  EXPECT_TRUE(nothingImported());

  // Targets that cannot be written.
  std::ofstream(m_dir / "a-file") << "x";
  auto session = boost::dynamic_pointer_cast<UDMSession>(m_session);
  EXPECT_EQ(FailureOf([&] {
              session->GetExportCtrl()->CreateExportOptions(ExportDirectory, (m_dir / "a-file" / "sub").string(), "");
            }).first,
            ExcSubFolderCreation);
  EXPECT_EQ(FailureOf([&] { Export("kart", ExportDirectory); }).first, ExcSubIo) << "a package is not overwritten";
  EXPECT_EQ(FailureOf([&] { Export("missing/deep/kart.tar", ExportTar); }).first, ExcSubIo);
}

UDM_ON_EVERY_BACKEND(ExchangeTest);
