#pragma once

// Change notification: every change made through a session becomes one
// change record, delivered synchronously on the caller's thread to the
// slots registered on the session, and (for changes that reach the
// repository) appended to the repository's change log.

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/UDMUID.h>
#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {

class UDMItem;

enum SignalOption {
  SIGNAL_NONE = 0,
  SIGNAL_CREATED = 1,        // a new entity exists in the session
  SIGNAL_MODIFIED = 2,       // the entity changed in a way not listed below
  SIGNAL_ATTRIBUTE_SET = 3,  // attribute name and value say which
  SIGNAL_CHILD_ADDED = 4,    // the child is given
  SIGNAL_CHILD_REMOVED = 5,  // the child is given
  SIGNAL_DELETED = 6,
  SIGNAL_UNDELETED = 7,
  SIGNAL_OBLITERATED = 8,
  SIGNAL_CHECKED_OUT = 9,
  SIGNAL_PERSISTED = 10,     // stored as a new revision; the parent change is the persist it was part of
  SIGNAL_SAVED = 11,
  SIGNAL_CHECKOUT_UNDONE = 12,
};

// Name of a change kind, for logs and messages ("created", "attribute set", ...).
VQKUDMRT_API const char* SignalOptionName(SignalOption option);

struct UDMChangeRecord {
  SignalOption op = SIGNAL_NONE;
  boost::shared_ptr<UDMItem> entity;
  UDMUID uid;
  vqString url;
  vqString sessionId;
  vqString attributeName;
  vqVariant attributeValue;
  boost::shared_ptr<UDMItem> child;
  boost::shared_ptr<const UDMChangeRecord> parent;
};

// One change, as slots receive it: a cheap copyable value that keeps its
// record alive while any copy lives.
class VQKUDMRT_API UDMUpdateWrapper {
 public:
  UDMUpdateWrapper() = default;
  explicit UDMUpdateWrapper(boost::shared_ptr<const UDMChangeRecord> record) : m_record(std::move(record)) {}

  bool IsValid() const { return m_record != nullptr; }
  SignalOption GetOpCode() const { return m_record ? m_record->op : SIGNAL_NONE; }
  boost::shared_ptr<UDMItem> GetEntity() const;
  UDMUID GetUID() const;
  vqString GetURL() const;
  vqString GetSessionId() const;
  vqString GetAttributeName() const;
  vqVariant GetAttributeValue() const;
  boost::shared_ptr<UDMItem> GetChild() const;
  // The change this one is part of; invalid when there is none.
  UDMUpdateWrapper GetParentUpdate() const;
  const boost::shared_ptr<const UDMChangeRecord>& GetRecord() const { return m_record; }

 private:
  boost::shared_ptr<const UDMChangeRecord> m_record;
};

// Receives a session's changes; override update.
class VQKUDMRT_API IUDMSlot {
 public:
  virtual ~IUDMSlot();
  virtual void update(UDMUpdateWrapper change);
};

// Passes on only the changes of one entity (any of its revisions).
class VQKUDMRT_API UDMUIDSlot : public IUDMSlot {
 public:
  UDMUIDSlot() = default;
  UDMUIDSlot(const UDMUID& uid, const boost::shared_ptr<IUDMSlot>& target) : m_uid(uid), m_target(target) {}
  UDMUIDSlot(const UDMUIDSlot&) = default;
  UDMUIDSlot& operator=(const UDMUIDSlot&) = default;
  ~UDMUIDSlot() override;
  void update(UDMUpdateWrapper change) override;

 private:
  UDMUID m_uid;
  boost::shared_ptr<IUDMSlot> m_target;
};

}  // namespace vqkudm
