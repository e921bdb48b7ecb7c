#pragma once

// A typed relation between two items: an entity of its own (with its
// definition and attributes) that names a left and a right end. A relation
// follows the revisions of its ends: its end identifiers are the ends'
// current ones, and UpdateLeftItem/UpdateRightItem record the ends' latest
// revisions in the repository.

#include <vqkudmrt/UDMAbstractBaseEntity.h>

namespace vqkudm {

class UDMItem;

// Which relations of an item to list: those where it is the right end, the
// left end, or either. Other values are accepted and mean either.
enum RelationDirection { RelationIncoming = 1, RelationOutgoing = 2, RelationBoth = 3 };

// GetRelationType(): how a relation reads.
enum UDMRelationKind { RelationDirected = 0, RelationBidirectional = 1 };

class VQKUDMRT_API UDMRelation : public UDMAbstractBaseEntity {
 public:
  ~UDMRelation() override;

  int GetRelationType() const { return m_kind; }
  UDMUID GetLeftEntityId() const;
  UDMUID GetRightEntityId() const;
  vqString GetLeftEntityType() const { return m_leftType; }
  vqString GetRightEntityType() const { return m_rightType; }
  // The ends' data-model ids.
  const vqString& GetLeftDmUid() const { return m_leftDmid; }
  const vqString& GetRightDmUid() const { return m_rightDmid; }
  int GetLeftRevision() const { return m_leftRevision; }
  int GetRightRevision() const { return m_rightRevision; }

  // Records the end's latest revision as the one the relation points at.
  void UpdateLeftItem();
  void UpdateRightItem();

 protected:
  UDMRelation(const boost::shared_ptr<UDMSession>& session, const boost::shared_ptr<UDMContentDefinition>& cdef,
              UDMUID uid);

 private:
  UDMUID CurrentEnd(const vqString& dmid, int revision) const;
  void UpdateEnd(bool left);

  int m_kind = RelationDirected;
  vqString m_leftDmid, m_rightDmid;
  vqString m_leftType, m_rightType;
  int m_leftRevision = 0, m_rightRevision = 0;

  friend class UDMSession;
};

}  // namespace vqkudm
