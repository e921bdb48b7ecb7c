#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMHistoryNode.h>

#include <map>
#include <set>
#include <vector>

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

void UDMHistoryNode::ReleaseUnheld(const boost::shared_ptr<UDMHistoryNode>& root) {
  // Every node of the tree, with the references the tree itself holds to it.
  std::map<UDMHistoryNode*, std::pair<boost::shared_ptr<UDMHistoryNode>, long>> nodes;
  std::vector<UDMHistoryNode*> pending{root.get()};
  nodes[root.get()] = {root, 0};
  auto visit = [&](const boost::shared_ptr<UDMHistoryNode>& link) {
    if (!link) return;
    auto [entry, added] = nodes.try_emplace(link.get(), link, 0);
    ++entry->second.second;
    if (added) pending.push_back(link.get());
  };
  while (!pending.empty()) {
    UDMHistoryNode* node = pending.back();
    pending.pop_back();
    for (const auto& version : node->m_versions) visit(version);
    for (const auto& branch : node->m_branches) visit(branch);
    visit(node->m_branchedFrom);
  }
  // Held from outside: more owners than the tree's links, this map and, for
  // the root, the caller's pointer being released.
  std::vector<UDMHistoryNode*> held;
  for (const auto& [node, entry] : nodes) {
    const long owners = entry.first.use_count() - entry.second - 1 - (node == root.get() ? 1 : 0);
    if (owners > 0) held.push_back(node);
  }
  std::set<UDMHistoryNode*> kept(held.begin(), held.end());
  while (!held.empty()) {
    UDMHistoryNode* node = held.back();
    held.pop_back();
    auto keep = [&](const boost::shared_ptr<UDMHistoryNode>& link) {
      if (link && kept.insert(link.get()).second) held.push_back(link.get());
    };
    for (const auto& version : node->m_versions) keep(version);
    for (const auto& branch : node->m_branches) keep(branch);
    keep(node->m_branchedFrom);
  }
  for (const auto& [node, entry] : nodes) {
    if (kept.count(node)) continue;
    node->m_versions.clear();
    node->m_branches.clear();
    node->m_branchedFrom.reset();
  }
}

boost::shared_ptr<UDMHistoryNode> UDMCoreEntityHandle::GetHistory() {
  boost::shared_ptr<UDMItem> item =
      Resolve(VQ_ENTITY_SIG(VQ_T_SHARED("class vqkudm::UDMHistoryNode"), "GetHistory(void)"));
  boost::shared_ptr<UDMHistoryNode> root = _PopulateHistoryTree(item, true, nullptr, nullptr);
  // The caller's root pointer frees the tree when it goes, unless nodes of it are still held.
  return boost::shared_ptr<UDMHistoryNode>(root.get(), [root](UDMHistoryNode*) mutable {
    UDMHistoryNode::ReleaseUnheld(root);
    root.reset();
  });
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

vqStlVector<UDMHistoryEntry> FlattenHistory(const boost::shared_ptr<UDMHistoryNode>& node) {
  std::map<vqString, std::map<int, vqString>> lines;  // line -> revision -> id
  std::map<vqString, vqString> branchedFrom;           // line -> the id of its source revision
  std::set<const UDMHistoryNode*> seen;
  std::vector<boost::shared_ptr<UDMHistoryNode>> pending{node};
  const auto idOf = [](const UDMHistoryNode& n) { return n.GetBaseUID() + vqString::FromInt(n.GetVersion()); };
  while (!pending.empty()) {
    const boost::shared_ptr<UDMHistoryNode> next = pending.back();
    pending.pop_back();
    if (!next || !seen.insert(next.get()).second) continue;
    lines[next->GetBaseUID()][next->GetVersion()] = idOf(*next);
    if (const boost::shared_ptr<UDMHistoryNode> source = next->GetBranchedFrom()) {
      branchedFrom[next->GetBaseUID()] = idOf(*source);
      pending.push_back(source);
    }
    for (const auto& version : next->GetVersionList()) pending.push_back(version);
    for (const auto& branch : next->GetBranchList()) pending.push_back(branch);
  }
  // Identifiers grow with creation time, so the map's order is the lines'.
  vqStlVector<UDMHistoryEntry> out;
  for (const auto& [line, ids] : lines) {
    const auto source = branchedFrom.find(line);
    vqString previous = source == branchedFrom.end() ? vqString() : source->second;
    for (const auto& [revision, id] : ids) {
      out.push_back({id, line, revision, previous});
      previous = id;
    }
  }
  return out;
}

}  // namespace vqkudm
