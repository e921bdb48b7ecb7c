#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMSession.h>

using namespace vqkudm;

namespace {

class UrlTest : public RepositoryTest {
 protected:
  void SetUp() override {
    RepositoryTest::SetUp();
    if (IsSkipped()) return;
    m_repo = m_session->GetSessionConfig()->GetRepositoryName();
    m_rocket = m_session->CreateEntity(kClassProject, "rocket", UDMUID());
    m_fin = m_rocket->AddChild(m_session->CreateEntity(kClassPart, "fin", UDMUID()), "parts");
    m_rocket->Persist("", GDM_RECURSE_ALL, -1, false, true);
    m_fin->CheckOut("");
    m_fin->SetAttribute("mass", vqVariant(0.5));
    m_fin->Persist("", GDM_RECURSE_NONE, -1, false, true);
  }
  vqString m_repo;
  UDMItemPtr m_rocket, m_fin;
};

}  // namespace

TEST_P(UrlTest, UrlsNameEachRevisionAndResolveToItInAnySession) {
  const vqString url = "/" + m_repo + "/rocket~v0/parts/fin~v1/";
  EXPECT_EQ(m_fin->GetUrlPath(true), url);
  EXPECT_EQ(m_rocket->GetUrlPath(true), "/" + m_repo + "/rocket~v0/");

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  UDMItemPtr found = bob->FindItemByUrl(url, false);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->GetUID(), m_fin->GetUID());
  UDMItemPtr older = bob->FindItemByUrl("/" + m_repo + "/rocket~v0/parts/fin~v0/", false);
  ASSERT_TRUE(older) << "an older revision is found by its own URL";
  EXPECT_EQ(older->GetRevision(), 0);
  EXPECT_EQ(older->GetAttributeValue("mass"), vqVariant());

  EXPECT_FALSE(bob->FindItemByUrl("/" + m_repo + "/rocket~v0/parts/fin~v7/", false));
  EXPECT_FALSE(bob->FindItemByUrl("/" + m_repo + "/rocket~v0/parts/wing~v0/", false));
  EXPECT_FALSE(bob->FindItemByUrl("/elsewhere/rocket~v0/", false));

  vqString parentUrl;
  m_fin->GetLatestParentUrl(parentUrl);
  EXPECT_EQ(parentUrl, "/" + m_repo + "/rocket~v0/");
  vqString none;
  m_rocket->GetLatestParentUrl(none);
  EXPECT_TRUE(none.empty());
}

TEST_P(UrlTest, NewItemsHaveAUrlOnlyWhenAskedLeniently) {
  m_rocket->CheckOut("");
  UDMItemPtr nose = m_rocket->AddChild(m_session->CreateEntity(kClassPart, "nose", UDMUID()), "parts");
  EXPECT_EQ(FailureOf([&] { nose->GetUrlPath(true); }).first, ExcSubGeneral);
  const vqString url = nose->GetUrlPath(false);
  EXPECT_EQ(url, "/" + m_repo + "/rocket~v0/parts/nose~v0/");
  EXPECT_FALSE(m_session->FindItemByUrl(url, false)) << "stored links only, until the URL is made";
  nose->CreateUrlPath(false);
  EXPECT_EQ(m_session->FindItemByUrl(url, false).get(), nose.get());

  EXPECT_EQ(m_session->GetDisplayUrl(m_fin), m_fin->GetUID().ToString()) << "database mode shows identifiers";
  m_session->GetSessionConfig()->SetMode(UDMSessionConfig::ModeVersionedUrl);
  EXPECT_EQ(m_session->GetDisplayUrl(m_fin), m_fin->GetUrlPath(true));
  m_session->GetSessionConfig()->SetMode(UDMSessionConfig::ModeDatabase);
}

TEST_P(UrlTest, MalformedUrlsAreRefusedSayingWhy) {
  const struct {
    const char* url;
    const char* message;
  } projectVersion[] = {
      {"a/P~v/b", "Unable to determine bounds for revision string for root entity from URL a/P~v/b during where used query on entity "},
      {"a/P~vx/b", "Unable to extract revision from x for root entity from URL a/P~vx/b during where used query on entity "},
      {"a/P~v12", "Unable to obtain end of project version from URL a/P~v12 during where used query on entity "},
      {"a/P~x/b", "Unable to obtain project version from URL a/P~x/b during where used query on entity"},
  };
  for (const auto& c : projectVersion) {
    const auto [sub, message] = FailureOf([&] { m_session->FindItemByUrl(c.url, false); });
    EXPECT_EQ(sub, ExcSubGeneral) << c.url;
    EXPECT_EQ(message, c.message);
  }
  for (const char* url : {"a/P~v12/b", "/repo/rocket~v0/parts/", "/repo/rocket~v0//fin~v0/",
                          "/repo/rocket~v0/parts/fin~vone/", "/repo/rocket~v0/parts/fin/"}) {
    const auto [sub, message] = FailureOf([&] { m_session->FindItemByUrl(url, false); });
    EXPECT_EQ(sub, ExcSubSyntax) << url;
    EXPECT_NE(message.find(url), std::string::npos) << message;
  }
}

UDM_ON_EVERY_BACKEND(UrlTest);
