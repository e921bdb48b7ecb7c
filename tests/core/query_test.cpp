#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMCondition.h>
#include <vqkudmrt/UDMQuery.h>
#include <vqkudmrt/UDMQuerySettings.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMSession.h>

#include <algorithm>
#include <set>

using namespace vqkudm;

namespace {

class QueryTest : public RepositoryTest {
 protected:
  void SetUp() override {
    RepositoryTest::SetUp();
    if (IsSkipped()) return;
    struct {
      const char* cdef;
      const char* name;
      double mass;  // < 0: none
      const char* material;
    } parts[] = {
        {"UDMPart", "Bolt-M8", 0.02, "steel"},    {"UDMPart", "bolt-m10", 0.05, "Steel"},
        {"UDMPart", "Washer", 0.005, "steel"},    {"UDMPart", "Bracket", 1.5, "aluminium"},
        {"UDMPart", "Gear wheel", 3.0, nullptr},  {"UDMPart", "Hub", -1, "titanium"},
        {"UDMPart", "Crème", 2.0, "Übermaterial"}, {"UDMProject", "Gearbox", -1, nullptr},
        {"UDMKPI", "Weight", -1, nullptr},         {"UDMPart", "it's", 7.0, "wood*"},
    };
    for (const auto& p : parts) {
      UDMItemPtr item = m_session->CreateEntity(p.cdef, p.name, UDMUID());
      if (p.mass >= 0) item->SetAttribute("mass", vqVariant(p.mass));
      if (p.material) item->SetAttribute("material", vqVariant(p.material));
      item->Persist("", GDM_RECURSE_NONE, -1, false, true);
      m_items.push_back(item);
    }
  }

  std::set<vqString> Names(const vqStlVector<UDMItemPtr>& items) {
    std::set<vqString> names;
    for (const UDMItemPtr& item : items) names.insert(item->GetName());
    return names;
  }
  std::set<vqString> Run(const vqString& text, int mode = 1, bool deleted = false) {
    vqStlVector<UDMItemPtr> found;
    m_session->ExecuteQuery(m_session->CreateQuery(text, false, 0), mode, deleted, found);
    return Names(found);
  }
  // The items that meet the condition when each is tested in memory.
  std::set<vqString> InMemory(const vqString& text, bool ignoreCase = false) {
    UDMConditionPtr condition = ConditionUtil::FromExpression(text);
    std::set<vqString> names;
    for (const UDMItemPtr& item : m_items) {
      if (item->DoesConditionMatch(condition, ignoreCase)) names.insert(item->GetName());
    }
    return names;
  }
  std::set<vqString> Paged(const vqString& text, bool ignoreCase) {
    UDMQuerySettings settings;
    settings.SetIgnoreCase(ignoreCase);
    UDMQueryResults results;
    m_session->QueryPaged(results, text, 0, 0, settings, false, false, false);
    std::set<vqString> names;
    for (const UDMQueryResultEntity& row : results.GetEntities()) names.insert(row.GetName());
    return names;
  }

  std::vector<UDMItemPtr> m_items;
};

}  // namespace

TEST_P(QueryTest, TheDatabaseAndTheItemInMemoryAgreeOnEveryCondition) {
  const struct {
    const char* query;
    std::set<vqString> expected;
  } cases[] = {
      {"mass > 1", {"Bracket", "Gear wheel", "Crème", "it's"}},
      {"mass >= 1.5 and mass < 3", {"Bracket", "Crème"}},
      {"not mass > 1 and cdef = 'UDMPart'", {"Bolt-M8", "bolt-m10", "Washer", "Hub"}},
      {"material = 'steel' or material = 'titanium'", {"Bolt-M8", "Washer", "Hub"}},
      {"material != 'steel'", {"bolt-m10", "Bracket", "Hub", "Crème", "it's"}},
      {"material in ('steel', 'wood*')", {"Bolt-M8", "Washer", "it's"}},
      {"name like 'B*'", {"Bolt-M8", "Bracket"}},
      {"name like '?ear*'", {"Gear wheel", "Gearbox"}},
      {"material like 'wood[*]' or material like 'wood*'", {"it's"}},
      {"name = 'it''s'", {"it's"}},
      {"cdef isa 'UDMItem' and not cdef = 'UDMPart'", {"Gearbox", "Weight"}},
      {"(name < 'C' or name > 'W') and revision = 0", {"Bolt-M8", "Bracket", "Washer", "Weight", "bolt-m10", "it's"}},
      {"material > 'u'", {"Crème", "it's"}},  // bytes, not letters: "Ü" sorts after "u"
      {"name = 'crème'", {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Run(c.query), c.expected) << c.query;
    EXPECT_EQ(InMemory(c.query), c.expected) << "in memory: " << c.query;
  }
  // Ignoring case folds ASCII letters only, in both places.
  for (const char* query : {"name = 'BOLT-M8'", "material = 'STEEL'", "name like 'b*'", "name = 'CRèME'",
                            "name = 'CRÈME'"}) {
    EXPECT_EQ(Paged(query, true), InMemory(query, true)) << query;
  }
  EXPECT_EQ(Paged("name like 'b*'", true), (std::set<vqString>{"Bolt-M8", "Bracket", "bolt-m10"}));
  EXPECT_EQ(Paged("name = 'CRèME'", true), (std::set<vqString>{"Crème"}));
  EXPECT_TRUE(Paged("name = 'CRÈME'", true).empty()) << "non-ASCII letters keep their case";
}

TEST_P(QueryTest, SyntaxErrorsAndUnknownNamesAreRefusedWithWhereAndWhat) {
  const struct {
    const char* query;
    const char* fragment;
  } cases[] = {
      {"mass >", "at position 7 (end of query)"},
      {"mass > 5 xor mass < 1", "at position 10 near \"xor\""},
      {"(mass > 5", "expected \")\""},
      {"name = 'open", "the string is not closed"},
      {"mass ! 3", "near \"!\""},
      {"revision = 'one'", "takes numbers"},
      {"name isa 'UDMPart'", "compares the definition"},
  };
  for (const auto& c : cases) {
    const auto [sub, message] = FailureOf([&] { m_session->CreateQuery(c.query, false, 0); });
    EXPECT_EQ(sub, ExcSubSyntax) << c.query;
    EXPECT_NE(message.find(c.fragment), std::string::npos) << message;
  }
  const auto [sub, message] = FailureOf([&] { m_session->CreateQuery("colour = 'red'", false, 0); });
  EXPECT_EQ(sub, ExcSubNotFound);
  EXPECT_NE(message.find("colour"), std::string::npos) << message;
  EXPECT_EQ(Run("").size(), m_items.size()) << "an empty query finds everything";
}

TEST_P(QueryTest, PagesComeFromTheDatabaseOrFromTheCachedOrderAndAreAppended) {
  UDMQuerySettings settings;
  settings.AddSortByMetadata("mass", true);
  settings.SetFilterExpression("cdef = 'UDMPart'");
  UDMQueryResults page;
  m_session->QueryPaged(page, "", 2, 3, settings, false, false, false);
  EXPECT_EQ(page.GetStart(), 2u);
  EXPECT_EQ(page.GetEnd(), 5u);
  EXPECT_EQ(page.GetTotal(), 8u);
  EXPECT_FALSE(page.IsCached());
  ASSERT_EQ(page.GetEntities().size(), 3u);
  // Heaviest first; parts without a mass come last.
  EXPECT_EQ(page.GetEntities()[0].GetName(), "Crème");
  EXPECT_EQ(page.GetEntities()[2].GetName(), "bolt-m10");
  EXPECT_EQ(page.GetEntities()[0].GetContent().at("mass"), vqVariant(2.0)) << "rows carry their content";
  UDMItemPtr creme = m_session->FindItemById(page.GetEntities()[0].GetUID(), true, "");
  m_session->LoadQueryResultContent(creme, page.GetEntities()[0]);
  EXPECT_EQ(creme->GetAttributeValue("mass"), vqVariant(2.0));
  EXPECT_EQ(creme->GetName(), "Crème") << "the name lives in its own column and stays";
  creme->CheckOut("");
  EXPECT_EQ(FailureOf([&] { m_session->LoadQueryResultContent(creme, page.GetEntities()[0]); }).first, ExcSubGeneral);
  creme->UndoCheckOut(-1, GDM_RECURSE_NONE);

  UDMQueryResults cached;
  m_session->QueryPagedCached(cached, "", 99, 2, 3, settings, false, false);
  EXPECT_TRUE(cached.IsCached());
  ASSERT_EQ(cached.GetEntities().size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(cached.GetEntities()[i].GetUID(), page.GetEntities()[i].GetUID());
  m_session->QueryPagedCached(cached, "", 99, 6, 5, settings, false, false);
  EXPECT_EQ(cached.GetEntities().size(), 5u) << "pages are appended";
  EXPECT_EQ(cached.GetEntities().back().GetName(), "Hub") << "the part without a mass is last";

  EXPECT_EQ(FailureOf([&] { m_session->QueryPaged(page, "", 8, 3, settings, false, false, false); }).first,
            ExcSubOutOfRange);
  EXPECT_EQ(FailureOf([&] { m_session->QueryPagedCached(cached, "", 0, 20, 3, settings, false, false); }).first,
            ExcSubOutOfRange);
}

// A page sorted first by an attribute is read as the matches with it, then
// those without it; wherever a page starts and ends, it must be that slice of
// the whole ordering.
TEST_P(QueryTest, PagesSortedByAnAttributeAreSlicesOfTheWholeOrder) {
  for (const char* text : {"", "mass > 0.01 or material = 'titanium'"}) {
    for (bool descending : {false, true}) {
      UDMQuerySettings settings;
      settings.AddSortByMetadata("mass", descending);
      settings.AddSortByMetadata("material", true);
      UDMQueryResults all;
      m_session->QueryPaged(all, text, 0, 0, settings, false, false, false);
      std::vector<vqString> whole;
      for (const auto& row : all.GetEntities()) whole.push_back(row.GetName());
      ASSERT_GT(whole.size(), 3u);
      const auto at = [&](const char* name) { return std::find(whole.begin(), whole.end(), name) - whole.begin(); };
      EXPECT_GT(at("Hub"), at("Crème")) << "those without a mass come last";
      for (std::size_t start = 0; start < whole.size(); ++start) {
        for (std::size_t count : {1, 2, 4, 0}) {
          UDMQueryResults page;
          m_session->QueryPaged(page, text, start, count, settings, false, false, false);
          std::vector<vqString> names;
          for (const auto& row : page.GetEntities()) names.push_back(row.GetName());
          const std::size_t end = count == 0 ? whole.size() : std::min(whole.size(), start + count);
          EXPECT_EQ(names, std::vector<vqString>(whole.begin() + start, whole.begin() + end))
              << text << (descending ? " descending" : "") << " from " << start << ", " << count;
          EXPECT_EQ(page.GetTotal(), whole.size());
        }
      }
    }
  }
}

TEST_P(QueryTest, SortingByTheNameUsesItsOwnColumn) {
  UDMQuerySettings settings;
  settings.SetIgnoreCase(true);
  settings.AddSortByMetadata("smd_name", true);
  UDMQueryResults page;
  m_session->QueryPaged(page, "cdef = 'UDMPart' and material like 's*'", 0, 10, settings, false, false, false);
  std::vector<vqString> names;
  for (const auto& row : page.GetEntities()) names.push_back(row.GetName());
  EXPECT_EQ(names, (std::vector<vqString>{"Washer", "Bolt-M8", "bolt-m10"}));
}

TEST_P(QueryTest, RevisionsDeletedEntitiesAndConditionObjectsFollowTheModes) {
  UDMItemPtr washer = m_items[2];
  washer->CheckOut("");
  washer->SetAttribute("mass", vqVariant(0.006));
  washer->Persist("", GDM_RECURSE_NONE, -1, false, true);
  m_session->DeleteEntity(m_items[5]->GetUID());

  vqStlVector<UDMItemPtr> latest, all;
  auto query = m_session->CreateQuery("name = 'Washer' or name = 'Hub'", false, 0);
  m_session->ExecuteQuery(query, 1, false, latest);
  ASSERT_EQ(latest.size(), 1u);
  EXPECT_EQ(latest[0]->GetRevision(), 1);
  m_session->ExecuteQuery(query, 2, true, all);
  EXPECT_EQ(all.size(), 3u) << "both revisions of the washer and the deleted hub";
  EXPECT_EQ(FailureOf([&] { m_session->ExecuteQuery(query, 3, false, all); }).first, ExcSubOutOfRange);

  // Condition objects mean what their text means.
  auto heavy = boost::make_shared<UDMAttribCondition>("mass", UDMOpGreater, vqVariant(1));
  auto items = UDMContentDefCondition::CreateAndInit(kClassItem, UDMOpIsA);
  auto both = boost::make_shared<UDMAndCondition>(heavy, items);
  EXPECT_EQ(both->GetDMExpression(), "(mass > 1 and cdef isa 'UDMItem')");
  vqStlVector<UDMItemPtr> found;
  m_session->QueryCondition(*both, 1, false, found);
  EXPECT_EQ(Names(found), Run("mass > 1 and cdef isa 'UDMItem'"));
  EXPECT_TRUE(m_items[3]->DoesConditionMatch(both));

  auto callback = boost::make_shared<UDMTclCBCondition>(
      "short names", [](const UDMItem& item) { return item.GetName().size() <= 4; });
  auto shortParts = boost::make_shared<UDMAndCondition>(
      callback, UDMClassNameCondition::CreateAndInit("udmpart", UDMOpEqual, 1));
  found.clear();
  m_session->QueryCondition(*shortParts, 1, false, found);
  EXPECT_EQ(Names(found), (std::set<vqString>{"it's"})) << "the deleted hub stays out";

  // Relations filtered by conditions on their ends.
  ASSERT_TRUE(m_session->CreateRelation(m_items[0], m_items[3], kRelGeneral, false));
  ASSERT_TRUE(m_session->CreateRelation(m_items[0], m_items[9], kRelGeneral, false));
  vqStlVector<boost::shared_ptr<UDMRelation>> relations;
  m_items[0]->GetRelations(relations, 2, nullptr, heavy, true);
  EXPECT_EQ(relations.size(), 2u);
  relations.clear();
  m_items[0]->GetRelations(relations, 2, nullptr, ConditionUtil::FromExpression("material = 'aluminium'"), true);
  ASSERT_EQ(relations.size(), 1u);
  EXPECT_EQ(relations[0]->GetRightEntityId(), m_items[3]->GetUID());
}

UDM_ON_EVERY_BACKEND(QueryTest);
