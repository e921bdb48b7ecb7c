#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>

#include <fstream>
#include <functional>

using namespace vqkudm;

namespace {

UDMItemPtr NewPart(IUDMSession& session, const vqString& name) {
  return session.CreateEntity(kClassPart, name, UDMUID());
}

}  // namespace

TEST_P(RepositoryTest, PersistedEntitiesAreSharedAndUnpersistedOnesStayPrivate) {
  UDMItemPtr part = NewPart(*m_session, "bracket");
  part->SetAttribute("material", vqVariant("steel"));
  const UDMUID uid = part->GetUID();
  EXPECT_EQ(uid.GetRevision(), 0);
  EXPECT_TRUE(part->IsNew());
  EXPECT_TRUE(part->IsCheckedOut());

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  EXPECT_FALSE(bob->FindItemById(uid, true, "")) << "an unpersisted entity leaked to another session";

  part->Persist("first", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_FALSE(part->IsNew());
  EXPECT_FALSE(part->IsCheckedOut());
  UDMItemPtr seen = bob->FindItemById(uid, true, "");
  ASSERT_TRUE(seen);
  EXPECT_NE(seen.get(), part.get());
  EXPECT_EQ(seen->GetAttributeValue("material"), vqVariant("steel"));
  EXPECT_EQ(seen->GetName(), "bracket");
  EXPECT_EQ(seen->GetCreatedBy(), "alice");
  EXPECT_FALSE(seen->GetCreationTime().empty());
  EXPECT_TRUE(seen->GetAttributes() == part->GetAttributes())
      << "stored and read attributes differ";
  EXPECT_FALSE(bob->FindItemById(uid, true, "UDMProject")) << "the definition filter was ignored";
}

TEST_P(RepositoryTest, IdentityMapGivesOneObjectPerIdentifierWhileHeld) {
  UDMItemPtr part = NewPart(*m_session, "bolt");
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  const UDMUID uid = part->GetUID();
  EXPECT_EQ(m_session->FindItemById(uid, true, "").get(), part.get());
  part.reset();
  UDMItemPtr again = m_session->FindItemById(uid, true, "");
  ASSERT_TRUE(again) << "a dropped entity must be found again by its identifier";
  EXPECT_EQ(again->GetName(), "bolt");
  EXPECT_EQ(m_session->FindItemById(uid, true, "").get(), again.get());
}

TEST_P(RepositoryTest, UnsavedEntitiesSurviveTheirCallersLettingGo) {
  const UDMUID uid = NewPart(*m_session, "kept")->GetUID();
  UDMItemPtr held = m_session->FindItemById(uid, false, "");
  ASSERT_TRUE(held) << "the session dropped an entity with unsaved changes";
  EXPECT_TRUE(held->IsNew());
}

TEST_P(RepositoryTest, BadInputIsRefusedNamingWhatWasWrong) {
  EXPECT_EQ(SubCategoryOf([&] { m_session->CreateEntity("NoSuchDefinition", "x", UDMUID()); }),
            ExcSubNotFound);
  for (char reserved : vqString("[]/\\&~?*|<>\";:+")) {
    EXPECT_NE(SubCategoryOf([&] { NewPart(*m_session, vqString("a") + reserved + "b"); }), 0) << reserved;
  }
  EXPECT_EQ(SubCategoryOf([&] { NewPart(*m_session, ""); }), ExcSubEmpty);
  UDMItemPtr part = NewPart(*m_session, "plate");
  try {
    part->SetAttribute("no_such_attribute", vqVariant("x"));
    FAIL();
  } catch (const UDMException& e) {
    EXPECT_NE(std::string(e.what()).find("no_such_attribute"), std::string::npos) << e.what();
    EXPECT_NE(std::string(e.what()).find("plate"), std::string::npos) << e.what();
  }
  EXPECT_EQ(SubCategoryOf([&] { part->SetAttribute("mass", vqVariant("heavy")); }), ExcSubWrongType);
  EXPECT_EQ(SubCategoryOf([&] { part->SetAttribute(kSmdCreateduser, vqVariant("mallory")); }),
            ExcSubGeneral);
}

TEST_P(RepositoryTest, FailedCommitLeavesNothingBehind) {
  UDMItemPtr parent = m_session->CreateEntity(kClassProject, "rocket", UDMUID());
  UDMItemPtr child = NewPart(*m_session, "fin");
  parent->AddChild(child, "parts");
  std::shared_ptr<FailNextCommitDriver> driver;
  boost::shared_ptr<IUDMSession> failing = OpenFailingSession("carol", &driver);
  UDMItemPtr doomed = failing->CreateEntity(kClassProject, "doomed", UDMUID());
  doomed->AddChild(failing->CreateEntity(kClassPart, "wing", UDMUID()), "parts");
  driver->armed = true;
  EXPECT_THROW(doomed->Persist("", GDM_RECURSE_ALL, -1, false, true), UDMException);
  EXPECT_TRUE(doomed->IsNew()) << "the object must still hold its unsaved work";

  boost::shared_ptr<IUDMSession> observer = OpenSession("dave");
  EXPECT_FALSE(observer->FindItemById(doomed->GetUID(), true, ""));
  vqStlVector<UDMItemPtr> roots;
  observer->GetRootEntities(RootEntityItems, roots);
  EXPECT_TRUE(roots.empty());
}

UDM_ON_EVERY_BACKEND(RepositoryTest);

// A data model of the test's own, with the default definitions plus one
// that has a mandatory and a unique attribute.
class ConstrainedModelTest : public RepositoryTest {
 protected:
  void SetUp() override {
    RepositoryTest::SetUp();
    if (IsSkipped()) return;
    const std::filesystem::path data(UDMFramework::GetInstance()->GetInstallLayout().dataDir.str());
    std::ofstream(m_dir / "gadget.xml")
        << "<contentdefinition type=\"Gadget\" derivedfrom=\"UDMItem\">"
           "<attribute name=\"serial\" type=\"unique\"/>"
           "<attribute name=\"maker\" type=\"String\" mandatory=\"true\"/></contentdefinition>";
    std::ofstream(m_dir / "udmconfig.xml")
        << "<udmconfig><definitions><file path=\"" << (data / "definitions" / "base.xml").string() << "\"/>"
        << "<file path=\"gadget.xml\"/></definitions></udmconfig>";
    m_configFile = (m_dir / "udmconfig.xml").string();
    m_session = OpenSession("alice");
  }
  UDMItemPtr Gadget(const vqString& name, const vqString& serial) {
    UDMItemPtr gadget = m_session->CreateEntity("Gadget", name, UDMUID());
    gadget->SetAttribute("serial", vqVariant(serial));
    gadget->SetAttribute("maker", vqVariant("acme"));
    return gadget;
  }
};

TEST_P(ConstrainedModelTest, MandatoryAndUniqueAttributesAreCheckedAtPersist) {
  UDMItemPtr first = Gadget("first", "SN-1");
  first->SetAttribute("maker", vqVariant());
  try {
    first->Persist("", GDM_RECURSE_NONE, -1, false, true);
    FAIL() << "a missing mandatory attribute was accepted";
  } catch (const UDMException& e) {
    EXPECT_NE(std::string(e.what()).find("\"maker\""), std::string::npos) << e.what();
  }
  EXPECT_TRUE(first->IsNew());
  first->SetAttribute("maker", vqVariant("acme"));
  first->Persist("", GDM_RECURSE_NONE, -1, false, true);

  UDMItemPtr copy = Gadget("copy", "SN-1");
  EXPECT_EQ(SubCategoryOf([&] { copy->Persist("", GDM_RECURSE_NONE, -1, false, true); }), ExcSubConflict);
  EXPECT_TRUE(copy->IsNew());
  copy->SetAttribute("serial", vqVariant("SN-2"));
  copy->Persist("", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_FALSE(copy->IsNew());
}

UDM_ON_EVERY_BACKEND(ConstrainedModelTest);

TEST_P(RepositoryTest, DumpNamesTheSessionAndWhatItHolds) {
  UDMItemPtr part = m_session->CreateEntity(kClassPart, "gear", UDMUID());
  m_session->Lock();  // recursive: the dump may run under the caller's lock
  const std::string dump = m_session->DumpSession();
  m_session->Unlock();
  EXPECT_NE(dump.find(m_session->GetSessionId()), std::string::npos) << dump;
  EXPECT_NE(dump.find("user: alice"), std::string::npos) << dump;
  EXPECT_NE(dump.find("UDMPart 'gear' (" + part->GetUID().ToString() + ") [new] [checked out]"), std::string::npos)
      << dump;
}
