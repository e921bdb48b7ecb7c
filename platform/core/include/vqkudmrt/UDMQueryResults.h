#pragma once

// One page of query results.

#include <cstdint>

#include <vqkudmrt/UDMUID.h>
#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {

// A row of a query: the entity revision, its definition and name, whether
// it is deleted, and its stored attributes (its content).
class VQKUDMRT_API UDMQueryResultEntity {
 public:
  UDMQueryResultEntity() = default;
  UDMQueryResultEntity(const UDMUID& uid, const vqString& cdef, const vqString& name, bool deleted)
      : m_uid(uid), m_cdef(cdef), m_name(name), m_deleted(deleted) {}

  const UDMUID& GetUID() const { return m_uid; }
  const vqString& GetContentDefinitionType() const { return m_cdef; }
  const vqString& GetName() const { return m_name; }
  bool IsDeleted() const { return m_deleted; }
  const vqStlMap<vqString, vqVariant>& GetContent() const { return m_content; }
  vqStlMap<vqString, vqVariant>& Content() { return m_content; }

 private:
  UDMUID m_uid;
  vqString m_cdef;
  vqString m_name;
  bool m_deleted = false;
  vqStlMap<vqString, vqVariant> m_content;
};

class VQKUDMRT_API UDMQueryResults {
 public:
  // Index of the first row of the page in the whole result (from 0).
  std::uint64_t GetStart() const { return m_start; }
  // Index after the page's last row.
  std::uint64_t GetEnd() const { return m_end; }
  // Rows in the whole result.
  std::uint64_t GetTotal() const { return m_total; }
  // Whether the page came from the ordered result kept in the session.
  bool IsCached() const { return m_cached; }
  const vqStlVector<UDMQueryResultEntity>& GetEntities() const { return m_entities; }

  // Runtime use.
  void SetPage(std::uint64_t start, std::uint64_t end, std::uint64_t total, bool cached) {
    m_start = start;
    m_end = end;
    m_total = total;
    m_cached = cached;
  }
  vqStlVector<UDMQueryResultEntity>& Entities() { return m_entities; }

 private:
  std::uint64_t m_start = 0, m_end = 0, m_total = 0;
  bool m_cached = false;
  vqStlVector<UDMQueryResultEntity> m_entities;
};

}  // namespace vqkudm
