#include "profile_fixture.h"

#include <vqkudm/UDMProfileExtensions.h>

using namespace vqkudm;

class QueryTest : public ProfileTest {
 protected:
  void SetUp() override {
    ProfileTest::SetUp();
    for (const char* name : {"alpha", "bravo", "charlie", "delta", "echo"}) StoredPart(name);
    m_byName.AddSortByMetadata("name", false);
  }
  UDMQuerySettingHandle m_byName;
};

TEST_F(QueryTest, ResultsAreAppendedAndTheCountIncludesWhatWasThere) {
  vqStlVector<UDMItemHandle> found;
  EXPECT_EQ(m_profile->QueryEntities(found, "cdef = 'UDMPart'", m_byName, false, false), 5u);
  EXPECT_EQ(m_profile->QueryEntities(found, "cdef = 'UDMPart'", m_byName, false, false), 10u);
  EXPECT_EQ(m_profile->QueryEntities(found, "name = 'nothing'", m_byName, false, false), 10u);
  EXPECT_TRUE(found[0] == found[5]);
}

TEST_F(QueryTest, PagesComeInSortOrderAndTheFirstNumberIsUnusedUnlessCached) {
  vqStlVector<UDMItemHandle> page;
  m_profile->QueryEntitiesPaginated(page, "cdef = 'UDMPart'", 0, 1, 2, m_byName, false, false);
  vqStlVector<UDMItemHandle> samePage;
  m_profile->QueryEntitiesPaginated(samePage, "cdef = 'UDMPart'", 77, 1, 2, m_byName, false, false);
  ASSERT_EQ(page.size(), 2u);
  EXPECT_EQ(page[0].GetDisplayName(), "bravo");
  EXPECT_EQ(page[1].GetDisplayName(), "charlie");
  EXPECT_TRUE(page == samePage);

  vqStlVector<UDMItemHandle> cached;
  m_profile->QueryEntitiesPaginated(cached, "cdef = 'UDMPart'", 0, 3, 2, m_byName, false, true);
  ASSERT_EQ(cached.size(), 2u);
  EXPECT_EQ(cached[1].GetDisplayName(), "echo");
}

TEST_F(QueryTest, QueryRowsBecomeHandlesOfTheProfile) {
  UDMQueryResults results;
  SessionOf(m_profile).QueryPaged(results, "name = 'delta'", 0, 0, UDMQuerySettings(), false, false, false);
  ASSERT_EQ(results.GetEntities().size(), 1u);
  UDMQueryResultEntity row = results.GetEntities().front();
  UDMItemHandle delta = UDMCoreProfileUtils::GetUDMItemHandleForQueryEntity(row, m_profile, true);
  EXPECT_EQ(delta.GetDisplayName(), "delta");
  EXPECT_EQ(std::string(RaisedBy([&] { UDMCoreProfileUtils::GetUDMItemHandleForQueryEntity(row, nullptr, true); })
                            .what()),
            "Profile ptr NULL");
}

TEST_F(QueryTest, TheCountIsOfWhatThePagesWouldHold) {
  UDMQuerySettingHandle settings;
  settings.SetIgnoreCase(true);
  settings.SetFilterExpression("name != 'echo'");
  const std::string query = "cdef = 'UDMPart' and name like 'A*' or name like '*A'";
  vqStlVector<UDMItemHandle> pages;
  m_profile->QueryEntitiesPaginated(pages, query, 0, 0, 100, settings, false, false);
  EXPECT_EQ(UDMProfileExtensions::CountQueryMatches(m_profile, query, settings, false), pages.size());
  EXPECT_EQ(pages.size(), 2u) << "alpha and delta, whatever their case";

  UDMItemHandle delta = pages[1];
  CheckIn(delta, "a second revision");
  EXPECT_EQ(UDMProfileExtensions::CountQueryMatches(m_profile, "cdef = 'UDMPart'", m_byName, false), 5u);
  EXPECT_EQ(UDMProfileExtensions::CountQueryMatches(m_profile, "cdef = 'UDMPart'", m_byName, true), 6u);
  EXPECT_THROW(UDMProfileExtensions::CountQueryMatches(m_profile, "cdef = ", m_byName, false), UDMException);
}
