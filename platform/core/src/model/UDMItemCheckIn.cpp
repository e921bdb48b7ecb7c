// Check-out, saving, check-in and undoing a check-out.

#include <vqkudmrt/UDMItem.h>

#include <algorithm>
#include <map>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMChildGroup.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>

#include "../store/EntityStore.h"
#include "../vault/ContentVault.h"
#include "EntityColumns.h"
#include "FileRecords.h"
#include "SessionOf.h"

namespace vqkudm {

using model::SessionOf;

namespace {

vqString HolderText(const store::LockRecord& lock) {
  return lock.holder + " (session " + lock.sessionId + ", since " + lock.time + ")";
}

void RequireRevision(const char* signature, const vqString& what, const UDMItem& item, int revision) {
  if (revision != -1 && revision != item.GetRevision()) {
    ThrowInvalidArgException(signature,
                             "cannot " + what + " revision " + vqString::FromInt(revision) + " of " +
                                 item.ToString("") + ": only its current revision can be",
                             ExcSubOutOfRange);
  }
}

// Mandatory use attributes need values, as mandatory attributes do.
void RequireUseAttributes(const UDMItem& item, const vqString& group,
                          const vqStlMap<vqString, vqVariant>& attributes) {
  boost::shared_ptr<UDMChildGroup> definition = item.GetContentDefinition()->GetUDMChildGroup(group);
  if (!definition) return;
  for (const auto& attribute : definition->GetUseAttributeDefinitions()) {
    auto value = attributes.find(attribute->GetName());
    if (attribute->IsMandatory() && (value == attributes.end() || value->second.ToString().empty())) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "cannot persist " + item.ToString("") + ": a use in group \"" + group +
                                   "\" has no value for the mandatory use attribute \"" + attribute->GetName() +
                                   "\"",
                               ExcSubEmpty);
    }
  }
}

}  // namespace

void UDMItem::CheckOut(const vqString& comment) {
  if (m_checkedOut) return;
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  if (m_deleted) {
    ThrowStateException(UDM_FUNCSIG, "cannot check out " + ToString("") + ": it is deleted", ExcSubGeneral);
  }
  UDMItemPtr self = boost::static_pointer_cast<UDMItem>(shared_from_this());
  const int latest = GetLatestRevision();
  if (GetRevision() != latest) {
    if (!m_cdef->CanBranch()) {
      ThrowStateException(UDM_FUNCSIG,
                          "cannot check out " + ToString("") + ": revision " + vqString::FromInt(GetRevision()) +
                              " is not the latest (" + vqString::FromInt(latest) +
                              ") and its definition does not allow branching",
                          ExcSubGeneral);
    }
    // A branch is new work: it takes no lock on the line it starts from.
    m_branchSource = m_uid;
  } else {
    const store::LockRecord wanted{session->GetUserName(), session->GetSessionId(), UDMSession::Now(), comment};
    store::LockRecord held;
    bool stale = false;
    session->Store().InTransaction("checking out " + ToString(""), [&] {
      held = session->Store().TakeLock(m_uid.GetDmUid(), wanted);
      int now = latest;
      session->Store().GetLatestRevision(m_uid.GetDmUid(), now);
      const bool won = held.sessionId == wanted.sessionId;
      stale = won && now != GetRevision();
      if (stale) session->Store().ReleaseLock(m_uid.GetDmUid());
      if (won && !stale) session->LogChange(SIGNAL_CHECKED_OUT, m_uid);
    });
    if (stale) {
      ThrowStateException(UDM_FUNCSIG,
                          "cannot check out " + ToString("") + ": another session checked in a newer revision; "
                              "load the latest revision first",
                          ExcSubConflict);
    }
    if (held.sessionId != wanted.sessionId) {
      ThrowStateException(UDM_FUNCSIG,
                          "cannot check out " + ToString("") + ": it is checked out by " + HolderText(held),
                          ExcSubConflict);
    }
  }
  m_checkedOut = true;
  session->Retain(self);
  session->Notify(SIGNAL_CHECKED_OUT, self);
}

void UDMItem::CollectForPersist(const vqString& what, GDMRecurseOption recursion, std::vector<UDMItemPtr>& batch,
                                std::set<const UDMItem*>& inBatch) {
  batch.push_back(boost::static_pointer_cast<UDMItem>(shared_from_this()));
  inBatch.insert(this);
  LoadLinks();
  for (const ChildLink& link : m_childLinks) {
    UDMItemPtr child = Resolve(link.childDmid);
    if (!child || inBatch.count(child.get())) continue;
    if (recursion == GDM_RECURSE_ALL && (child->m_isNew || child->m_checkedOut)) {
      child->CollectForPersist(what, recursion, batch, inBatch);
    } else if (child->m_isNew) {
      ThrowStateException(UDM_FUNCSIG,
                          "cannot " + what + " " + ToString("") + ": its child " + child->ToString("") +
                              " is not persisted; " + what + " it first or " + what + " recursively",
                          ExcSubGeneral);
    }
  }
}

void UDMItem::CollectBatch(const char* signature, const vqString& what, GDMRecurseOption recursion, int revision,
                           std::vector<UDMItemPtr>& batch, std::set<const UDMItem*>& inBatch) {
  RequireEditable(signature, what);
  RequireRevision(signature, what, *this, revision);
  CollectForPersist(what, recursion, batch, inBatch);
}

void UDMItem::Save(const vqString& comment, GDMRecurseOption recursion, int revision) {
  std::vector<UDMItemPtr> batch;
  std::set<const UDMItem*> inBatch;
  CollectBatch(UDM_FUNCSIG, "save", recursion, revision, batch, inBatch);
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  std::vector<store::DraftRecord> drafts;
  for (const UDMItemPtr& item : batch) {
    // A draft replaces the whole working state when it is taken up again.
    item->LoadFiles();
    item->LoadTargets();
    drafts.push_back({item->m_uid, item->m_cdefType, comment, item->EncodeDraft()});
  }
  const vqString now = UDMSession::Now();
  session->Vault().SyncStaged();
  session->Store().InTransaction("saving " + ToString(""), [&] {
    PublishContents(*session, batch);
    for (const store::DraftRecord& draft : drafts) {
      session->Store().SaveDraft(draft, session->GetUserName(), session->GetSessionId(), now);
    }
  });
  for (const UDMItemPtr& item : batch) item->m_modified = false;
  boost::shared_ptr<const UDMChangeRecord> root = session->Notify(SIGNAL_SAVED, batch.front());
  for (std::size_t i = 1; i < batch.size(); ++i) {
    session->Notify(SIGNAL_SAVED, batch[i], vqString(), vqVariant(), nullptr, root);
  }
}

void UDMItem::Persist(const vqString& comment, GDMRecurseOption recursion, int revision, bool keepCheckedOut,
                      bool notify) {
  std::vector<UDMItemPtr> batch;
  std::set<const UDMItem*> inBatch;
  CollectBatch(UDM_FUNCSIG, "persist", recursion, revision, batch, inBatch);
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  for (const UDMItemPtr& item : batch) {
    for (const NamedTarget& r : item->m_references) {
      UDMItemPtr target = Resolve(r.dmid);
      if (target && target->m_isNew && !inBatch.count(target.get())) {
        ThrowStateException(UDM_FUNCSIG,
                            "cannot persist " + item->ToString("") + ": the item it references as \"" + r.name +
                                "\", " + target->ToString("") + ", is not persisted",
                            ExcSubGeneral);
      }
    }
  }

  // Categories not stored yet (and not stored now) wait in the session; those
  // that went away are dropped.
  std::vector<std::vector<vqString>> categories(batch.size()), waiting(batch.size());
  for (std::size_t i = 0; i < batch.size(); ++i) {
    UDMItem& item = *batch[i];
    item.LoadTargets();
    std::vector<vqString> later, present;
    for (const vqString& dmid : item.m_categories) {
      UDMItemPtr category = Resolve(dmid);
      if (!category) continue;
      present.push_back(dmid);
      (category->m_isNew && !inBatch.count(category.get()) ? later : categories[i]).push_back(dmid);
    }
    item.m_categories.swap(present);
    waiting[i].swap(later);
    for (const ChildLink& link : item.m_childLinks) RequireUseAttributes(item, link.group, link.attributes);
  }

  // Each item becomes a new entity (new items and branches) or the next
  // revision of its own (checked-out items).
  const vqString now = UDMSession::Now();
  std::vector<store::RevisionRecord> records(batch.size());
  // A branch's attributes with those recording where it came from; empty for
  // the others, which store their own.
  std::vector<UDMAttributeMap> branchAttributes(batch.size());
  std::vector<const store::RevisionRecord*> fresh, revised;
  model::BatchDefinitions definitions;
  for (std::size_t i = 0; i < batch.size(); ++i) {
    UDMItem& item = *batch[i];
    model::CheckMandatoryAttributes(item, definitions.Of(item));
    item.LoadFiles();
    std::size_t files = 0;
    for (const UDMGenericDocument& d : item.m_files) files += d.IsPreviewImage() ? 0 : 1;
    item.CheckFileNumbers(UDM_FUNCSIG, files);
    store::RevisionRecord& r = records[i];
    const bool branch = item.m_branchSource.IsValid();
    if (item.m_isNew) {
      r.uid = item.m_uid;
    } else if (branch) {
      r.uid = UDMUID::Generate(0);
      r.branchFrom = item.m_branchSource.ToString();
      UDMAttributeMap& extended = branchAttributes[i] = item.m_attributes;
      extended[kSmdBranchfrom] = vqVariant(item.m_branchSource.GetDmUid());
      extended[kSmdBranchfromver] = vqVariant(static_cast<std::int64_t>(item.m_branchSource.GetRevision()));
      extended[kSmdBranchedtime] = vqVariant(now);
    } else {
      r.uid = item.m_uid.WithRevision(item.GetRevision() + 1);
    }
    const bool newEntity = item.m_isNew || branch;
    r.cdef = item.m_cdefType;
    r.className = item.m_cdef->GetUDMClassName();
    r.name = item.GetName();
    r.createdBy = newEntity ? session->GetUserName() : item.GetCreatedBy();
    r.createdTime = newEntity ? now : item.GetCreationTime();
    r.modifiedBy = session->GetUserName();
    r.modifiedTime = now;
    r.comment = comment;
    model::SplitColumnAttributes(branch ? branchAttributes[i] : item.m_attributes, r.attributes);
    (newEntity ? fresh : revised).push_back(&r);
  }

  store::EntityStore& db = session->Store();
  // File contents are durable before any record of them commits.
  session->Vault().SyncStaged();
  UDMSession::PendingLinks stillWaiting;
  session->Store().InTransaction("persisting " + ToString(""), [&] {
    std::map<std::pair<vqString, vqString>, const UDMAbstractBaseEntity*> uniqueValues;
    for (const UDMItemPtr& item : batch) {
      model::CheckUniqueAttributes(*item, definitions.Of(*item), db, uniqueValues);
    }
    for (std::size_t i = 0; i < batch.size(); ++i) {
      const UDMItem& item = *batch[i];
      if (item.m_isNew || item.m_branchSource.IsValid()) continue;
      store::LockRecord lock;
      if (!db.GetLock(item.m_uid.GetDmUid(), lock) || lock.sessionId != session->GetSessionId()) {
        ThrowStateException(UDM_FUNCSIG,
                            "cannot persist " + item.ToString("") + ": this session does not hold its check-out" +
                                (lock.holder.empty() ? vqString() : "; it is held by " + HolderText(lock)),
                            ExcSubConflict);
      }
      if (!db.AdvanceLatestRevision(item.m_uid.GetDmUid(), item.GetRevision(), item.GetRevision() + 1)) {
        ThrowStateException(UDM_FUNCSIG,
                            "cannot persist " + item.ToString("") + ": another session stored a newer revision",
                            ExcSubConflict);
      }
    }
    db.InsertNewEntities(fresh);
    db.InsertRevisions(revised);
    PublishContents(*session, batch);
    for (std::size_t i = 0; i < batch.size(); ++i) {
      const UDMItem& item = *batch[i];
      const vqString dmid = records[i].uid.GetDmUid();
      const int rev = records[i].uid.GetRevision();
      std::vector<store::LinkRecord> links;
      for (const ChildLink& link : item.m_childLinks) {
        links.push_back({dmid, link.group, link.childDmid, link.position, link.useId, link.attributes});
      }
      std::vector<store::TargetRecord> references, classifications;
      for (const NamedTarget& r : item.m_references) references.push_back({r.name, r.dmid});
      for (const vqString& c : categories[i]) classifications.push_back({vqString(), c});
      db.InsertFiles(records[i].uid, model::FileRecordsOf(item.m_files));
      if (rev == 0) {
        db.InsertLinks(links, 0);
        db.InsertReferences(dmid, references, 0);
        db.InsertClassifications(dmid, classifications, 0);
      } else {
        db.ReplaceLinks(dmid, links, rev);
        db.ReplaceReferences(dmid, references, rev);
        db.ReplaceClassifications(dmid, classifications, rev);
      }
      const bool keep = keepCheckedOut && &item == this;
      if (keep) {
        db.TakeLock(dmid, {session->GetUserName(), session->GetSessionId(), now, comment});
      } else if (rev > 0) {
        db.ReleaseLock(dmid);
      }
    }
    std::vector<const UDMUID*> stored, previous;
    for (std::size_t i = 0; i < batch.size(); ++i) {
      stored.push_back(&records[i].uid);
      previous.push_back(&batch[i]->m_uid);
    }
    session->LogChanges(SIGNAL_PERSISTED, stored);
    db.DeleteDrafts(previous);
    // Branches wait under their new identifiers.
    std::map<vqString, std::vector<vqString>> waitingNow;
    for (std::size_t i = 0; i < batch.size(); ++i) {
      waitingNow[records[i].uid.GetDmUid()] = std::move(waiting[i]);
    }
    stillWaiting = session->StorePending(waitingNow);
  });
  session->SettlePending(std::move(stillWaiting));

  // Stored: update the objects only now, so a failure above changes nothing.
  for (std::size_t i = 0; i < batch.size(); ++i) {
    UDMItem& item = *batch[i];
    const UDMUID previous = std::move(item.m_uid);
    item.m_uid = std::move(records[i].uid);
    if (!branchAttributes[i].empty()) item.m_attributes = std::move(branchAttributes[i]);
    model::ApplyColumnAttributes(std::move(records[i]), item.m_attributes);
    if (!(previous == item.m_uid)) session->Rekey(previous, batch[i]);
    item.m_isNew = false;
    item.m_modified = false;
    item.m_branchSource = UDMUID();
    item.m_checkedOut = keepCheckedOut && &item == this;
    item.m_latestRevision = item.GetRevision();
    item.m_linksLoaded = true;
    item.m_targetsLoaded = true;
  }
  for (const UDMItemPtr& item : batch) {
    auto& parents = item->m_pendingParents;
    parents.erase(std::remove_if(parents.begin(), parents.end(),
                                 [](const boost::weak_ptr<UDMItem>& p) {
                                   UDMItemPtr parent = p.lock();
                                   return !parent || (!parent->m_isNew && !parent->m_checkedOut);
                                 }),
                  parents.end());
    if (!item->m_checkedOut) session->Release(*item);
  }
  if (!notify) return;
  // The persist of this item is the parent change of its descendants' persists.
  boost::shared_ptr<const UDMChangeRecord> root = session->Notify(SIGNAL_PERSISTED, batch.front());
  for (std::size_t i = 1; i < batch.size(); ++i) {
    session->Notify(SIGNAL_PERSISTED, batch[i], vqString(), vqVariant(), nullptr, root);
  }
}

void UDMItem::UndoCheckOut(int revision, GDMRecurseOption recursion) {
  if (!m_checkedOut) {
    ThrowStateException(UDM_FUNCSIG, "cannot undo the check-out of " + ToString("") + ": it is not checked out",
                        ExcSubGeneral);
  }
  RequireRevision(UDM_FUNCSIG, "undo the check-out of", *this, revision);
  if (m_isNew) {
    Discard(recursion);
    return;
  }
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  std::vector<UDMItemPtr> batch{boost::static_pointer_cast<UDMItem>(shared_from_this())};
  for (std::size_t next = 0; recursion == GDM_RECURSE_ALL && next < batch.size(); ++next) {
    batch[next]->LoadLinks();
    for (const ChildLink& link : batch[next]->m_childLinks) {
      UDMItemPtr child = batch[next]->Resolve(link.childDmid);
      if (child && child->m_checkedOut && !child->m_isNew &&
          std::find(batch.begin(), batch.end(), child) == batch.end()) {
        batch.push_back(child);
      }
    }
  }
  store::EntityStore& db = session->Store();
  std::vector<const UDMUID*> uids;
  for (const UDMItemPtr& item : batch) uids.push_back(&item->m_uid);
  db.InTransaction("undoing the check-out of " + ToString(""), [&] {
    for (const UDMItemPtr& item : batch) {
      store::LockRecord lock;
      if (db.GetLock(item->m_uid.GetDmUid(), lock) && lock.sessionId == session->GetSessionId()) {
        db.ReleaseLock(item->m_uid.GetDmUid());
        // Readers of the log would otherwise see a check-out that never ends.
        session->LogChange(SIGNAL_CHECKOUT_UNDONE, item->m_uid);
      }
    }
    db.DeleteDrafts(uids);
  });
  for (const UDMItemPtr& item : batch) {
    item->ReloadStoredState();
    session->Release(*item);
    session->Notify(SIGNAL_CHECKOUT_UNDONE, item);
  }
}

void UDMItem::Discard(GDMRecurseOption recursion) {
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  std::vector<UDMItemPtr> batch{boost::static_pointer_cast<UDMItem>(shared_from_this())};
  auto inBatch = [&](const UDMItem* item) {
    return std::any_of(batch.begin(), batch.end(), [&](const UDMItemPtr& b) { return b.get() == item; });
  };
  // New items below that nothing outside the batch holds go with it.
  for (std::size_t next = 0; recursion == GDM_RECURSE_ALL && next < batch.size(); ++next) {
    for (const ChildLink& link : batch[next]->m_childLinks) {
      UDMItemPtr child = batch[next]->Resolve(link.childDmid);
      if (!child || !child->m_isNew || inBatch(child.get())) continue;
      const bool heldElsewhere = std::any_of(child->m_pendingParents.begin(), child->m_pendingParents.end(),
                                             [&](const boost::weak_ptr<UDMItem>& p) {
                                               UDMItemPtr parent = p.lock();
                                               return parent && !inBatch(parent.get());
                                             });
      if (!heldElsewhere) batch.push_back(child);
    }
  }
  for (const UDMItemPtr& item : batch) {
    // Parents outside the batch lose their uses of it.
    std::vector<UDMItemPtr> parents;
    for (const auto& weak : item->m_pendingParents) {
      UDMItemPtr parent = weak.lock();
      if (parent && !inBatch(parent.get())) parents.push_back(parent);
    }
    for (const UDMItemPtr& parent : parents) {
      for (auto use = parent->m_childLinks.begin(); use != parent->m_childLinks.end();) {
        if (use->childDmid != item->m_uid.GetDmUid()) {
          ++use;
          continue;
        }
        const auto at = use - parent->m_childLinks.begin();
        parent->DropUse(use, item);
        use = parent->m_childLinks.begin() + at;
      }
    }
    // Children outside the batch lose it as a parent.
    for (const ChildLink& link : item->m_childLinks) {
      UDMItemPtr child = item->Resolve(link.childDmid);
      if (child && !inBatch(child.get())) item->LeavePendingParentOf(*child);
    }
  }
  std::vector<const UDMUID*> uids;
  for (const UDMItemPtr& item : batch) uids.push_back(&item->m_uid);
  session->Store().InTransaction("discarding " + ToString(""), [&] { session->Store().DeleteDrafts(uids); });
  for (const UDMItemPtr& item : batch) {
    session->Forget(item->m_uid.GetDmUid());
    item->m_checkedOut = false;
    item->m_modified = false;
    session->Notify(SIGNAL_CHECKOUT_UNDONE, item);
  }
}

void UDMItem::ReloadStoredState() {
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  store::RevisionRecord record;
  if (!session->Store().LoadRevision(m_uid, record)) {
    ThrowStateException(UDM_FUNCSIG, ToString("") + " is no longer in the repository", ExcSubNotFound);
  }
  // Children added while checked out no longer have this item as a parent.
  for (const ChildLink& link : m_childLinks) {
    if (UDMItemPtr child = Resolve(link.childDmid)) LeavePendingParentOf(*child);
  }
  model::TakeRecordAttributes(std::move(record), m_attributes);
  m_childLinks.clear();
  m_useCounts.clear();
  m_nextPosition = 0;
  m_childNames.clear();
  m_linksLoaded = false;
  m_references.clear();
  m_categories.clear();
  m_targetsLoaded = false;
  m_files.clear();
  m_filesLoaded = false;
  m_latestRevision = record.latestRevision;
  m_branchSource = UDMUID();
  m_modified = false;
  m_checkedOut = false;
}

}  // namespace vqkudm
