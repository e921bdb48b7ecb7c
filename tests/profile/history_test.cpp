#include "profile_fixture.h"

using namespace vqkudm;

namespace {

using NodePtr = boost::shared_ptr<UDMHistoryNode>;

std::vector<int> Versions(const vqStlVector<NodePtr>& nodes) {
  std::vector<int> versions;
  for (const NodePtr& node : nodes) versions.push_back(node->GetVersion());
  return versions;
}

}  // namespace

class HistoryTest : public ProfileTest {
 protected:
  // A part at revision 2, and two branches started from its revision 1.
  void SetUp() override {
    ProfileTest::SetUp();
    m_part = StoredPart("bracket");
    CheckIn(m_part, "one");
    m_revisionOne = m_part.GetUID();
    CheckIn(m_part, "two");
    m_firstBranch = Branch("first branch");
    m_secondBranch = Branch("second branch");
  }

  UDMItemHandle Branch(const std::string& description) {
    UDMItemHandle origin = m_profile->GetUDMItemHandle(m_revisionOne);
    CheckIn(origin, description);
    return origin;
  }

  UDMItemHandle m_part, m_firstBranch, m_secondBranch;
  vqString m_revisionOne;
};

TEST_F(HistoryTest, ALoneEntityIsOneNode) {
  NodePtr node = m_profile->GetHistory(StoredPart("bolt"));
  EXPECT_TRUE(node->GetVersionList().empty());
  EXPECT_TRUE(node->GetBranchList().empty());
  EXPECT_FALSE(node->GetBranchedFrom());
  EXPECT_EQ(node->GetVersion(), 0);
  EXPECT_EQ(node->GetDisplayName(), "bolt");
}

TEST_F(HistoryTest, TheLatestRevisionListsTheOthersAndTheBranchesHangOffTheirOrigin) {
  NodePtr latest = m_profile->GetHistory(m_part);
  EXPECT_EQ(latest->GetVersion(), 2);
  EXPECT_EQ(latest->GetBaseUID(), UDMUID(m_part.GetUID()).GetDmUid());
  ASSERT_EQ(Versions(latest->GetVersionList()), (std::vector<int>{0, 1}));
  const NodePtr& one = latest->GetVersionList()[1];
  EXPECT_TRUE(one->GetVersionList().empty()) << "only the node asked for lists revisions";
  ASSERT_EQ(one->GetBranchList().size(), 2u);
  EXPECT_EQ(one->GetBranchList()[0]->GetBaseUID(), UDMUID(m_firstBranch.GetUID()).GetDmUid());
  EXPECT_EQ(one->GetBranchList()[1]->GetBaseUID(), UDMUID(m_secondBranch.GetUID()).GetDmUid());
  for (const NodePtr& branch : one->GetBranchList()) EXPECT_EQ(branch->GetBranchedFrom(), one);
  EXPECT_TRUE(latest->GetDisplayUrl().empty()) << "database mode shows no URLs";
}

TEST_F(HistoryTest, ABranchPointsAtItsSourceWhichListsItFirstAndBuildsItOnce) {
  NodePtr second = m_profile->GetHistory(m_secondBranch);
  NodePtr source = second->GetBranchedFrom();
  ASSERT_TRUE(source);
  EXPECT_EQ(source->GetVersion(), 1);
  EXPECT_EQ(source->GetBaseUID(), UDMUID(m_part.GetUID()).GetDmUid());
  ASSERT_EQ(source->GetBranchList().size(), 2u) << "the asking branch is not built a second time";
  EXPECT_EQ(source->GetBranchList()[0], second);
  EXPECT_EQ(source->GetBranchList()[1]->GetBaseUID(), UDMUID(m_firstBranch.GetUID()).GetDmUid());
  EXPECT_EQ(Versions(source->GetVersionList()), (std::vector<int>{0, 2}));
  for (const NodePtr& revision : source->GetVersionList()) EXPECT_FALSE(revision->GetBranchedFrom());
}

TEST_F(HistoryTest, TheTreeIsFreedWithItsRootDespiteTheLinksBetweenBranchesAndSources) {
  NodePtr latest = m_profile->GetHistory(m_part);
  boost::weak_ptr<UDMHistoryNode> one = latest->GetVersionList()[1];
  boost::weak_ptr<UDMHistoryNode> branch = latest->GetVersionList()[1]->GetBranchList()[0];
  ASSERT_EQ(branch.lock()->GetBranchedFrom(), one.lock());
  latest.reset();
  EXPECT_TRUE(one.expired());
  EXPECT_TRUE(branch.expired());
}
