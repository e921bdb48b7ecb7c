#pragma once

// Query settings as the profile takes them: a value that owns one core
// settings object. Copies share it.

#include <cstdint>

#include <boost/shared_ptr.hpp>

#include <vqkudm/UDMHandle.h>
#include <vqkudmrt/UDMQueryResults.h>
#include <vqkudmrt/UDMQuerySettings.h>

namespace vqkudm {

class VQKUDM_API UDMQuerySettingHandle : public UDMHandle {
 public:
  UDMQuerySettingHandle();
  ~UDMQuerySettingHandle() override;

  // A filter (docs/queries.md) applied to the results.
  void SetFilterExpression(const vqString& expression);
  const vqString& GetFilterExpression() const;
  void SetIgnoreCase(bool ignore);
  bool GetIgnoreCase() const;
  // Whether definitions marked excluded from searches take part.
  void SearchInExcluded(bool include);
  bool GetSearchInExcluded() const;
  void SortByCdefName(bool descending);
  void ClearSortByCdefName();
  bool GetSortByCdefName() const;
  bool GetSortByCdefNameDescending() const;
  void SortByCdefDispName(bool descending);
  void ClearSortByCdefDispName();
  bool GetSortByCdefDispName() const;
  bool GetSortByCdefDispNameDescending() const;
  // Sorting by attributes, in the order they are added.
  void AddSortByMetadata(const vqString& name, bool descending);
  bool RemoveSortByMetadata(const vqString& name);
  void ClearSortByMetadata();
  std::uint64_t GetSortByMetadataNr() const;
  vqString GetSortByMetadataName(std::uint64_t index) const;
  bool GetSortByMetadataIsDescending(std::uint64_t index) const;

  const boost::shared_ptr<UDMQuerySettings>& GetQuerySettingPtr() const { return m_settings; }

 private:
  boost::shared_ptr<UDMQuerySettings> m_settings;
};

class IUDMProfile;

class VQKUDM_API UDMCoreProfileUtils {
 public:
  // The item handle of a query row. With `loadContent`, the entity, when the
  // session has it, takes the row's attribute values. Raises when `profile` is null.
  static UDMItemHandle GetUDMItemHandleForQueryEntity(UDMQueryResultEntity& entity,
                                                      const boost::shared_ptr<IUDMProfile>& profile,
                                                      bool loadContent);
};

}  // namespace vqkudm
