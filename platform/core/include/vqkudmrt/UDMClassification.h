#pragma once

// A category of a classification tree. Categories hold their sub-categories
// in their child groups; items are classified under any number of them.

#include <vqkudmrt/UDMItem.h>

namespace vqkudm {

class VQKUDMRT_API UDMClassification : public UDMItem {
 public:
  ~UDMClassification() override;

  // The sub-categories, in the order they were added. `accessType` is kept
  // for callers that pass one; every category is visible to every session.
  void GetChildClassifications(vqStlVector<boost::shared_ptr<UDMClassification>>& out, int accessType);

  // The vault that holds the files of items classified here, and whether
  // this is the master classification; both are attributes of the category
  // ("vault", "master") and change only while it is checked out.
  vqString GetVault() const;
  void SetVault(const vqString& vault);
  bool IsMaster() const;
  void SetIsMaster(bool master);

 protected:
  UDMClassification(const boost::shared_ptr<UDMSession>& session,
                    const boost::shared_ptr<UDMContentDefinition>& cdef, UDMUID uid);

  friend class UDMSession;
};

}  // namespace vqkudm
