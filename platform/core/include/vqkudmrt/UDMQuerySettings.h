#pragma once

// How a query runs: an extra filter expression, case folding, whether
// entities of definitions excluded from search take part, and the order.

#include <cstdint>
#include <utility>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class VQKUDMRT_API UDMQuerySettings {
 public:
  // An expression of the query language, joined to the query with "and".
  void SetFilterExpression(const vqString& expression) { m_filter = expression; }
  const vqString& GetFilterExpression() const { return m_filter; }

  // Compare and sort text with ASCII letters folded to lower case.
  void SetIgnoreCase(bool ignore) { m_ignoreCase = ignore; }
  bool GetIgnoreCase() const { return m_ignoreCase; }

  // Include entities whose definition is excluded from search.
  void SearchInExcluded(bool include) { m_searchInExcluded = include; }
  bool GetSearchInExcluded() const { return m_searchInExcluded; }

  // Sort keys apply in this order: definition name, definition display name,
  // then the attributes in the order added; ties by identifier.
  void SortByCdefName(bool descending);
  void ClearSortByCdefName() { m_byCdef = false; }
  bool GetSortByCdefName() const { return m_byCdef; }
  bool GetSortByCdefNameDescending() const { return m_byCdefDescending; }

  void SortByCdefDispName(bool descending);
  void ClearSortByCdefDispName() { m_byCdefDisplay = false; }
  bool GetSortByCdefDispName() const { return m_byCdefDisplay; }
  bool GetSortByCdefDispNameDescending() const { return m_byCdefDisplayDescending; }

  // Adding an attribute already in the list moves it to the end with the new direction.
  void AddSortByMetadata(const vqString& name, bool descending);
  bool RemoveSortByMetadata(const vqString& name);
  void ClearSortByMetadata() { m_byMetadata.clear(); }
  std::uint64_t GetSortByMetadataNr() const { return m_byMetadata.size(); }
  // Raise UDMException (ExcSubOutOfRange) for an index past the list.
  vqString GetSortByMetadataName(std::uint64_t index) const;
  bool GetSortByMetadataIsDescending(std::uint64_t index) const;

 private:
  vqString m_filter;
  bool m_ignoreCase = false;
  bool m_searchInExcluded = false;
  bool m_byCdef = false, m_byCdefDescending = false;
  bool m_byCdefDisplay = false, m_byCdefDisplayDescending = false;
  vqStlVector<std::pair<vqString, bool>> m_byMetadata;
};

}  // namespace vqkudm
