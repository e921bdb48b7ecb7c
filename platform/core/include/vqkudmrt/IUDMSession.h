#pragma once

// One user's connection to one repository. Sessions are created and owned by
// the framework (UDMFramework::CreateSession) and own their entities: new,
// modified and checked-out entities are held until they are persisted or
// undone; unchanged ones are held while anyone uses them and found again by
// identifier afterwards. A session is used from one thread at a time; Lock
// and Unlock let callers that share one across threads take turns.

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/UDMQueryResults.h>
#include <vqkudmrt/UDMUID.h>
#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class ICondition;
class IUDMSlot;
class UDMClassification;
class UDMItem;
class UDMQuery;
class UDMQuerySettings;
class UDMRelation;
class UDMConfiguration;
class UDMContentDefinition;
class UDMSessionConfig;

// Kinds of root entities a session lists.
enum UDMRootEntityKind { RootEntityItems = 0, RootEntityClassifications = 5 };

class VQKUDMRT_API IUDMSession {
 public:
  virtual ~IUDMSession();

  virtual vqString GetSessionId() const = 0;
  virtual vqString GetUserName() const = 0;
  virtual vqString GetWorkspaceDir() const = 0;
  virtual void Lock() = 0;
  virtual void Unlock() = 0;
  // A readable description of the session and the entities it holds.
  virtual vqString DumpSession() const = 0;

  // The entity of that identifier: the session's own object when it holds
  // one, else the stored revision (deleted entities included). Null when
  // there is none, or when `cdefType` is not empty and differs.
  virtual boost::shared_ptr<UDMItem> FindItemById(const UDMUID& uid, bool load,
                                                  const vqString& cdefType) = 0;
  // A new entity of the definition `cdefType` named `name`, revision 0,
  // checked out to this session's user and visible only here until persisted.
  // An invalid `uid` lets the session choose the identifier.
  // Loads the definitions of a definition file (e.g. one written by
  // vqlm::ContentDefinitionModifier), checks them against the stored data
  // (no attribute that holds values may go away or change its type, and no
  // new mandatory attribute without a default may come to a definition that
  // has entities), installs them and stores them in the repository, so that
  // every session opened on it from now on has them. Raises UDMException
  // naming the file and the reason; returns true.
  virtual bool UpdateContentDefinition(const vqString& path) = 0;

  // Queries (docs/queries.md). A query text is parsed and checked against
  // the schema; its syntax errors give the position and the token. Mode 1
  // runs it on the latest revisions, mode 2 on every stored revision; deleted
  // entities take part only with `includeDeleted`. Results are appended.
  virtual boost::shared_ptr<UDMQuery> CreateQuery(const vqString& text, bool searchInExcluded, int reserved) = 0;
  virtual void ExecuteQuery(const boost::shared_ptr<UDMQuery>& query, int mode, bool includeDeleted,
                            vqStlVector<boost::shared_ptr<UDMItem>>& out) = 0;
  // The entities meeting a condition, as ExecuteQuery.
  virtual void QueryCondition(const ICondition& condition, int mode, bool includeDeleted,
                              vqStlVector<boost::shared_ptr<UDMItem>>& out) = 0;
  // One page of a query, `count` rows (0: all) from row `start`: paged in the
  // database, or (cached) from the ordered result the session keeps of the
  // same query until it changes the repository itself. A start past the
  // results raises ExcSubOutOfRange.
  virtual void QueryPagedCached(UDMQueryResults& results, const vqString& text, int reserved,
                                unsigned long long start, unsigned long long count,
                                const UDMQuerySettings& settings, bool allRevisions, bool includeDeleted) = 0;
  virtual void QueryPaged(UDMQueryResults& results, const vqString& text, unsigned long long start,
                          unsigned long long count, const UDMQuerySettings& settings, bool allRevisions,
                          bool includeDeleted, bool reserved) = 0;
  // Gives an item the content of a query row; refused for a checked-out item.
  virtual void LoadQueryResultContent(const boost::shared_ptr<UDMItem>& item, const UDMQueryResultEntity& row) = 0;

  // The entity revision a versioned URL names, loaded when needed; null when
  // there is none, and for deleted entities unless `includeDeleted`. Raises
  // UDMException when the URL does not parse.
  virtual boost::shared_ptr<UDMItem> FindItemByUrl(const vqString& url, bool includeDeleted) = 0;
  // How the session shows an entity to users: its versioned URL when the
  // session works with URLs (mode or mode subtype 1), its identifier otherwise.
  virtual vqString GetDisplayUrl(const boost::shared_ptr<UDMItem>& item) = 0;
  virtual boost::shared_ptr<UDMItem> CreateEntity(const vqString& cdefType, const vqString& name,
                                                  const UDMUID& uid) = 0;
  // Marks the entity deleted; it stays restorable and listed among the
  // deleted contents.
  virtual void DeleteEntity(const UDMUID& uid) = 0;
  virtual void UndeleteEntity(const UDMUID& uid) = 0;
  // Removes every revision of the entity and every link to or from it.
  // With `recursive`, its children that have no other parent go too.
  virtual void ObliterateEntity(const UDMUID& uid, bool recursive) = 0;
  // Obliterates a category (with `recursive` its sub-categories that have no
  // other parent); the items classified under it are no longer. Raises for a
  // null category.
  virtual void ObliterateClassification(const boost::shared_ptr<UDMClassification>& category, bool recursive) = 0;
  virtual unsigned long long GetDeletedContentsSize() = 0;
  // The latest revision of each deleted entity, oldest entity first, appended.
  virtual void GetDeletedContents(vqStlVector<UDMQueryResultEntity>& out) = 0;
  virtual void GetRootEntities(int kind, vqStlVector<boost::shared_ptr<UDMItem>>& out) = 0;

  // A relation of the relation definition `relationType` from `source` (left)
  // to `target` (right), stored at once. Null when it cannot be made: an
  // end missing or not yet persisted, the same item at both ends, or a type
  // that is not a concrete relation definition (the reason is logged).
  virtual boost::shared_ptr<UDMRelation> CreateRelation(const boost::shared_ptr<UDMItem>& source,
                                                        const boost::shared_ptr<UDMItem>& target,
                                                        const vqString& relationType, bool bidirectional) = 0;

  // Every change made through this session is delivered to each registered
  // slot, synchronously and in order, on the thread that made it. A slot
  // registered or unregistered during a delivery takes effect with the next
  // change. The session holds the slot while it is registered.
  virtual void RegisterSlot(const boost::shared_ptr<IUDMSlot>& slot) = 0;
  virtual void UnregisterSlot(const boost::shared_ptr<IUDMSlot>& slot) = 0;

  virtual boost::shared_ptr<UDMSessionConfig> GetSessionConfig() const = 0;
  virtual boost::shared_ptr<UDMConfiguration> GetConfiguration() const = 0;
  // Null for an unknown name.
  virtual boost::shared_ptr<UDMContentDefinition> GetContentDefinition(const vqString& type) const = 0;
  // Every content definition of the session's schema, in the schema's order, appended.
  virtual void GetAllContentDefinitions(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out) const = 0;
  // The session as people read it: "<user>@<repository> (<session id>)".
  virtual vqString GetSessionName() const = 0;
};

}  // namespace vqkudm
