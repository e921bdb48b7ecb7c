#pragma once

// One revision in an entity's version-history tree. The node that was asked
// for lists the entity's other revisions; every node lists the branches made
// from its revision, and a branched line points back at the node it was
// branched from. Nodes own each other in both directions, so a tree lives
// as long as any of its nodes is held. The tree is freed when the pointer
// GetHistory returned goes last; a node still held after it keeps the whole
// tree for the rest of the process.

#include <boost/shared_ptr.hpp>

#include <vqkudm/vqkudmApi.h>
#include <vqkudmrt/UDMUID.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class VQKUDM_API UDMHistoryNode {
 public:
  UDMHistoryNode(const UDMHistoryNode&) = default;
  UDMHistoryNode(UDMHistoryNode&&) = default;
  UDMHistoryNode& operator=(const UDMHistoryNode&) = default;
  UDMHistoryNode& operator=(UDMHistoryNode&&) = default;
  ~UDMHistoryNode();

  // The identifier without its revision.
  const vqString& GetBaseUID() const { return m_uid.GetDmUid(); }
  int GetVersion() const { return m_uid.GetRevision(); }
  const vqString& GetDisplayName() const { return m_displayName; }
  // Empty unless the session shows entities by URL.
  const vqString& GetDisplayUrl() const { return m_displayUrl; }
  const vqStlVector<boost::shared_ptr<UDMHistoryNode>>& GetVersionList() const { return m_versions; }
  const vqStlVector<boost::shared_ptr<UDMHistoryNode>>& GetBranchList() const { return m_branches; }
  boost::shared_ptr<UDMHistoryNode> GetBranchedFrom() const { return m_branchedFrom; }

 private:
  UDMHistoryNode();
  UDMHistoryNode(const UDMUID& uid, const vqString& displayName, const vqString& displayUrl);
  void AddToVersionList(boost::shared_ptr<UDMHistoryNode> node);
  void AddToBranchList(boost::shared_ptr<UDMHistoryNode> node);
  // Raises when the source is set already.
  void SetBranchSrc(boost::shared_ptr<UDMHistoryNode> node);
  // Once the tree's root is let go: unlinks the nodes that nobody outside the
  // tree holds, so the cycles between branches and their sources are freed.
  static void ReleaseUnheld(const boost::shared_ptr<UDMHistoryNode>& root);

  UDMUID m_uid;
  vqString m_displayName;
  vqString m_displayUrl;
  vqStlVector<boost::shared_ptr<UDMHistoryNode>> m_versions;
  vqStlVector<boost::shared_ptr<UDMHistoryNode>> m_branches;
  boost::shared_ptr<UDMHistoryNode> m_branchedFrom;

  friend class UDMCoreEntityHandle;
};

// One revision of a history tree, flattened.
struct UDMHistoryEntry {
  vqString uid;
  // The identifier without the revision: the item, or the branch.
  vqString line;
  int revision = 0;
  // The revision it came from: the one before it on its line, or for the
  // first revision of a branch the one it was branched from; empty at the
  // start of the history.
  vqString from;
};

// Every revision of the tree `node` belongs to, once each (a tree may list
// a line twice, when a branch was asked for from an older revision): the
// lines in the order they were made, each line's revisions in order.
VQKUDM_API vqStlVector<UDMHistoryEntry> FlattenHistory(const boost::shared_ptr<UDMHistoryNode>& node);

}  // namespace vqkudm
