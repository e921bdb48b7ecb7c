#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMSession.h>

#include <fstream>
#include <iterator>
#include <random>

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

class FileTest : public RepositoryTest {
 protected:
  void SetUp() override {
    RepositoryTest::SetUp();
    fs::create_directories(m_dir / "src");
  }
  fs::path Write(const std::string& name, const std::string& content) {
    const fs::path path = m_dir / "src" / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }
  static std::string Read(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  static std::string RandomBytes(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    return bytes;
  }
  std::vector<UDMGenericDocument> Files(const UDMItemPtr& item) {
    vqStlVector<UDMGenericDocument> docs;
    item->GetFileInfoList(docs, true);
    return docs;
  }
};

}  // namespace

TEST_P(FileTest, FilesComeBackAsTheyWereAndEqualBytesAreKeptOnce) {
  const std::string big = RandomBytes(3 << 20, 1);
  UDMItemPtr part = m_session->CreateEntity(kClassPart, "housing", UDMUID());
  part->AddFile(Write("notes.txt", "torque 12 Nm").string(), true, false, "");
  part->AddFile(Write("housing.step", big).string(), true, false, "cad/");
  part->AddFile(Write("copy.txt", "torque 12 Nm").string(), false, false, "/");
  part->AddFile(Write("far/away.dat", "elsewhere").string(), true, true, "");
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  UDMItemPtr seen = bob->FindItemById(part->GetUID(), true, "");
  const std::vector<UDMGenericDocument> docs = Files(seen);
  ASSERT_EQ(docs.size(), 4u);
  EXPECT_EQ(docs[0].GetName(), "notes.txt");
  EXPECT_EQ(docs[1].GetFolder(), "cad");
  EXPECT_EQ(docs[1].GetSize(), static_cast<std::int64_t>(big.size()));
  EXPECT_EQ(docs[0].GetContentKey(), docs[2].GetContentKey()) << "equal bytes, one content";
  EXPECT_TRUE(docs[3].IsExternal());
  vqStlVector<UDMGenericDocument> kept;
  seen->GetFileInfoList(kept, false);
  EXPECT_EQ(kept.size(), 3u) << "external files only when asked for";

  vqStlVector<vqString> written;
  seen->GetAllFilesIntoFolder((m_dir / "out").string(), false, written, "", true);
  ASSERT_EQ(written.size(), 3u);
  EXPECT_EQ(Read(m_dir / "out" / "notes.txt"), "torque 12 Nm");
  EXPECT_EQ(Read(m_dir / "out" / "cad" / "housing.step"), big);
  vqStlVector<vqString> again;
  seen->GetAllFilesIntoFolder((m_dir / "out").string(), false, again, "", true);
  EXPECT_TRUE(again.empty()) << "existing files stay unless overwriting";
  seen->GetAllFilesIntoWorkspace(true, again, "fetched", "notes.txt");
  ASSERT_EQ(again.size(), 1u);
  EXPECT_EQ(fs::path(again[0].str()).parent_path(), fs::path(bob->GetWorkspaceDir().str()) / "fetched");
}

TEST_P(FileTest, BadNamesMissingSourcesAndTakenNamesAreRefused) {
  UDMItemPtr part = m_session->CreateEntity(kClassPart, "bracket", UDMUID());
  const vqString drawing = Write("drawing.pdf", "pdf").string();
  part->AddFile(drawing, true, false, "");
  EXPECT_EQ(SubCategoryOf([&] { part->AddFile(drawing, true, false, ""); }), ExcSubFileExists);
  EXPECT_EQ(SubCategoryOf([&] { part->AddFile(Write("x.txt", "x").string(), true, false, "../up"); }),
            ExcSubWrongType);
  EXPECT_EQ(SubCategoryOf([&] { part->AddExternalFile("/tmp/a", 1, "a/b", ""); }), ExcSubWrongType);
  EXPECT_EQ(SubCategoryOf([&] { part->AddExternalFile("/tmp/a", 1, "..", ""); }), ExcSubWrongType);
  try {
    part->AddFile((m_dir / "src" / "missing.txt").string(), true, false, "");
    FAIL() << "a missing file was added";
  } catch (const UDMException& e) {
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubIo);
    EXPECT_NE(std::string(e.what()).find("missing.txt"), std::string::npos) << e.what();
  }
  EXPECT_EQ(SubCategoryOf([&] { part->UpdateFile(Write("other.pdf", "o").string()); }), ExcSubNotFound);
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_EQ(SubCategoryOf([&] { part->RemoveFile("drawing.pdf"); }), ExcSubGeneral) << "not checked out";

  // A data source file holds exactly one file.
  UDMItemPtr source = m_session->CreateEntity(kClassDataSourceFile, "input", UDMUID());
  EXPECT_EQ(SubCategoryOf([&] { source->Persist("", GDM_RECURSE_NONE, -1, false, true); }), ExcSubOutOfRange);
  source->AddFile(drawing, true, false, "");
  EXPECT_EQ(SubCategoryOf([&] { source->AddFile(Write("second.pdf", "2").string(), true, false, ""); }),
            ExcSubOutOfRange);
  EXPECT_NO_THROW(source->Persist("", GDM_RECURSE_NONE, -1, false, true));
}

TEST_P(FileTest, EachRevisionKeepsItsFilesAndTheLastUserTakesTheContentAlong) {
  const fs::path spec = Write("spec.txt", "version one");
  UDMItemPtr part = m_session->CreateEntity(kClassPart, "shaft", UDMUID());
  part->AddFile(spec.string(), true, false, "");
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  const UDMUID first = part->GetUID();
  const vqString oldKey = Files(part)[0].GetContentKey();

  part->CheckOut("");
  Write("spec.txt", "version two");
  part->UpdateFile(spec.string());
  part->AddPreviewImage(Write("front.png", "png1").string(), "front", vqlm::ImagePng, "from the front", false, false);
  part->AddPreviewImage(Write("side.png", "png2").string(), "side", vqlm::ImagePng, "", true, false);
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  vqStlVector<vqString> written;
  bob->FindItemById(first, true, "")->GetAllFilesIntoFolder((m_dir / "r0").string(), true, written, "", true);
  EXPECT_EQ(Read(m_dir / "r0" / "spec.txt"), "version one");
  UDMItemPtr latest = bob->FindItemById(part->GetUID(), true, "");
  latest->GetAllFilesIntoFolder((m_dir / "r1").string(), true, written, "", true);
  EXPECT_EQ(Read(m_dir / "r1" / "spec.txt"), "version two");
  vqStlVector<UDMGenericDocument> previews;
  latest->GetPreviewImages(previews);
  ASSERT_EQ(previews.size(), 2u);
  EXPECT_FALSE(previews[0].IsDefault());
  EXPECT_TRUE(previews[1].IsDefault()) << "one default per entity";
  EXPECT_EQ(Files(latest).size(), 1u) << "previews are not files";

  // Another entity shares the new content; obliterating the shaft keeps it
  // for that one and drops the old content, which nothing else uses.
  UDMItemPtr twin = m_session->CreateEntity(kClassPart, "twin", UDMUID());
  twin->AddFile(spec.string(), true, false, "");
  twin->Persist("", GDM_RECURSE_NONE, -1, false, true);
  const vqString newKey = Files(twin)[0].GetContentKey();
  ASSERT_TRUE(ContentKept(oldKey));
  m_session->ObliterateEntity(part->GetUID(), false);
  EXPECT_FALSE(ContentKept(oldKey));
  EXPECT_TRUE(ContentKept(newKey));
  m_session->ObliterateEntity(twin->GetUID(), false);
  EXPECT_FALSE(ContentKept(newKey));
}

TEST_P(FileTest, AFailedCheckInLeavesNoRecordWithoutItsContent) {
  std::shared_ptr<FailNextCommitDriver> failing;
  boost::shared_ptr<IUDMSession> erin = OpenFailingSession("erin", &failing);
  UDMItemPtr part = erin->CreateEntity(kClassPart, "valve", UDMUID());
  part->AddFile(Write("valve.step", RandomBytes(100000, 2)).string(), true, false, "");
  failing->armed = true;
  EXPECT_THROW(part->Persist("", GDM_RECURSE_NONE, -1, false, true), UDMException);
  EXPECT_FALSE(OpenSession("frank")->FindItemById(part->GetUID(), true, ""));

  part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  vqStlVector<vqString> written;
  OpenSession("grace")->FindItemById(part->GetUID(), true, "")->GetAllFilesIntoFolder(
      (m_dir / "out").string(), true, written, "", true);
  EXPECT_EQ(Read(m_dir / "out" / "valve.step"), RandomBytes(100000, 2));
}

TEST_P(FileTest, SavedWorkKeepsItsFilesForTheNextSession) {
  UDMItemPtr part = m_session->CreateEntity(kClassPart, "lever", UDMUID());
  part->AddFile(Write("lever.txt", "draft").string(), true, false, "");
  part->Save("", GDM_RECURSE_NONE, -1);
  vqStlVector<UDMItemPtr> resumed;
  boost::dynamic_pointer_cast<UDMSession>(OpenSession("alice"))->ResumeDrafts(resumed);
  ASSERT_EQ(resumed.size(), 1u);
  vqStlVector<vqString> written;
  resumed[0]->GetAllFilesIntoFolder((m_dir / "out").string(), true, written, "", true);
  EXPECT_EQ(Read(m_dir / "out" / "lever.txt"), "draft");
}

UDM_ON_EVERY_BACKEND(FileTest);

namespace {
class SharedVaultTest : public FileTest {};
}  // namespace

TEST_P(SharedVaultTest, ServerRepositoriesCanKeepContentsInASharedDirectory) {
  auto shared = [&](const std::string& user) {
    auto config = boost::make_shared<UDMSessionConfig>(*OpenSession(user)->GetSessionConfig());
    auto settings = config->GetLMRepoClientSettings();
    settings["vaultdir"] = (m_dir / "shared-vault").string();
    config->SetLMRepoClientSettings(settings);
    boost::shared_ptr<IUDMSession> session = UDMFramework::GetInstance()->CreateSession(config);
    m_opened.push_back(session);
    return session;
  };
  UDMItemPtr part = shared("ivan")->CreateEntity(kClassPart, "gasket", UDMUID());
  part->AddFile(Write("gasket.txt", "rubber").string(), true, false, "");
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  const vqString key = Files(part)[0].GetContentKey();
  EXPECT_TRUE(fs::exists(m_dir / "shared-vault" / "objects" / key.substr(0, 2) / key.str()));
  vqStlVector<vqString> written;
  shared("judy")->FindItemById(part->GetUID(), true, "")->GetAllFilesIntoFolder((m_dir / "out").string(), true,
                                                                                written, "", true);
  EXPECT_EQ(Read(m_dir / "out" / "gasket.txt"), "rubber");
}

INSTANTIATE_TEST_SUITE_P(Backends, SharedVaultTest, ::testing::Values("postgres"));
