#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMHistoryNode.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

UDMHistoryNode::UDMHistoryNode() = default;

UDMHistoryNode::UDMHistoryNode(const UDMUID& uid, const vqString& displayName, const vqString& displayUrl)
    : m_uid(uid), m_displayName(displayName), m_displayUrl(displayUrl) {}

UDMHistoryNode::~UDMHistoryNode() = default;

void UDMHistoryNode::AddToVersionList(boost::shared_ptr<UDMHistoryNode> node) { m_versions.push_back(std::move(node)); }

void UDMHistoryNode::AddToBranchList(boost::shared_ptr<UDMHistoryNode> node) { m_branches.push_back(std::move(node)); }

void UDMHistoryNode::SetBranchSrc(boost::shared_ptr<UDMHistoryNode> node) {
  if (m_branchedFrom) {
    ThrowStateException(VQ_SIG("void", "UDMHistoryNode",
                               "SetBranchSrc(" VQ_T_SHARED("class vqkudm::UDMHistoryNode") ")"),
                        "BranchSrc has already been set.", ExcSubGeneral);
  }
  m_branchedFrom = std::move(node);
}

boost::shared_ptr<UDMHistoryNode> UDMCoreEntityHandle::GetHistory() {
  boost::shared_ptr<UDMItem> item =
      Resolve(VQ_ENTITY_SIG(VQ_T_SHARED("class vqkudm::UDMHistoryNode"), "GetHistory(void)"));
  return _PopulateHistoryTree(item, true, nullptr, nullptr);
}

// One pass over the revision graph. A branch asks for its source with itself
// as the source's branch child, and the source skips that child when it
// lists its branches, so no node is built twice.
boost::shared_ptr<UDMHistoryNode> UDMCoreEntityHandle::_PopulateHistoryTree(
    const boost::shared_ptr<UDMItem>& item, bool withRevisions, boost::shared_ptr<UDMHistoryNode> branchSource,
    boost::shared_ptr<UDMHistoryNode> branchChild) const {
  boost::shared_ptr<UDMSession> session = item->GetSession();
  const boost::shared_ptr<UDMSessionConfig> config = session ? session->GetSessionConfig() : nullptr;
  if (!config) {
    ThrowUDMException(
        VQ_ENTITY_SIG(VQ_T_SHARED("class vqkudm::UDMHistoryNode"),
                      "_PopulateHistoryTree(const " VQ_T_SHARED("class vqkudm::UDMItem") " &,bool," VQ_T_SHARED(
                          "class vqkudm::UDMHistoryNode") "," VQ_T_SHARED("class vqkudm::UDMHistoryNode") ") const"),
        "session config is NULL for session " + (session ? session->GetSessionName() : vqString()), ExcCatState,
        ExcSubNull);
  }
  const vqString displayUrl = config->GetMode() != 0 ? session->GetDisplayUrl(item) : vqString();
  boost::shared_ptr<UDMHistoryNode> node(new UDMHistoryNode(item->GetUID(), item->GetDisplayName(), displayUrl));

  if (!branchSource) {
    if (boost::shared_ptr<UDMItem> origin = item->GetBranchedFrom()) {
      branchSource = _PopulateHistoryTree(origin, true, nullptr, node);
    }
  }
  if (branchSource) node->SetBranchSrc(branchSource);

  if (withRevisions) {
    for (const boost::shared_ptr<UDMItem>& revision : item->GetAllRevisions()) {
      if (revision == item) continue;
      node->AddToVersionList(_PopulateHistoryTree(revision, false, branchSource, nullptr));
    }
  }

  const vqStlVector<boost::shared_ptr<UDMItem>> branches = item->GetBranchedTo();
  UDMUID skip;
  if (branchChild) {
    node->AddToBranchList(branchChild);
    skip = UDMUID(branchChild->GetBaseUID() + vqString::FromInt(branchChild->GetVersion()));
  }
  for (const boost::shared_ptr<UDMItem>& branch : branches) {
    if (branch->GetUID() == skip) continue;
    if (boost::shared_ptr<UDMHistoryNode> branchNode = _PopulateHistoryTree(branch, true, node, nullptr)) {
      node->AddToBranchList(branchNode);
    }
  }
  return node;
}

}  // namespace vqkudm
