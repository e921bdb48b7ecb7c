#include <vqkudm/UDMCoreProfile.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMQuery.h>
#include <vqkudmrt/UDMSession.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

unsigned long long UDMCoreProfile::QueryEntities(vqStlVector<UDMItemHandle>& out, const vqString& query,
                                                 const UDMQuerySettingHandle& settings, bool allRevisions,
                                                 bool includeDeleted) {
  boost::shared_ptr<IUDMSession> session = Session();
  const bool searchInExcluded = settings.GetSearchInExcluded();
  boost::shared_ptr<UDMQuery> compiled = session->CreateQuery(query, searchInExcluded, 0);
  vqStlVector<boost::shared_ptr<UDMItem>> items;
  session->ExecuteQuery(compiled, allRevisions ? 2 : 1, includeDeleted, items);
  for (const boost::shared_ptr<UDMItem>& item : items) out.push_back(GetUDMItemHandle(item->GetUID().ToString()));
  return out.size();
}

unsigned long long UDMCoreProfile::QueryEntitiesPaginated(vqStlVector<UDMItemHandle>& out, const vqString& query,
                                                          int reserved, int start, int count,
                                                          const UDMQuerySettingHandle& settings, bool allRevisions,
                                                          bool cached) {
  boost::shared_ptr<IUDMSession> session = Session();
  UDMQueryResults results;
  const UDMQuerySettings& coreSettings = *settings.GetQuerySettingPtr();
  if (cached) {
    session->QueryPagedCached(results, query, reserved, static_cast<unsigned long long>(start),
                              static_cast<unsigned long long>(count), coreSettings, allRevisions, false);
  } else {
    session->QueryPaged(results, query, static_cast<unsigned long long>(start), static_cast<unsigned long long>(count),
                        coreSettings, allRevisions, false, false);
  }
  const vqStlVector<UDMQueryResultEntity> rows = results.GetEntities();
  for (const UDMQueryResultEntity& row : rows) out.push_back(GetUDMItemHandle(row.GetUID().ToString()));
  return out.size();
}

UDMItemHandle UDMCoreProfileUtils::GetUDMItemHandleForQueryEntity(UDMQueryResultEntity& entity,
                                                                  const boost::shared_ptr<IUDMProfile>& profile,
                                                                  bool loadContent) {
  const vqString id = entity.GetUID().ToString();
  const vqString cdef = entity.GetContentDefinitionType();
  if (!profile) {
    ThrowUDMException(VQ_SIG(VQ_T_ITEM, "UDMCoreProfileUtils",
                             "GetUDMItemHandleForQueryEntity(class vqkudm::UDMQueryResultEntity &,const " VQ_T_SHARED(
                                 "class vqkudm::IUDMProfile") " &,bool)"),
                      "Profile ptr NULL", ExcCatState, ExcSubNull);
  }
  boost::shared_ptr<IUDMSession> session;
  profile->GetSession(session);
  boost::shared_ptr<UDMItem> item = session->FindItemById(entity.GetUID(), true, cdef);
  if (loadContent && item) session->LoadQueryResultContent(item, entity);
  return profile->GetUDMItemHandle(id);
}

// ---- UDMQuerySettingHandle

UDMQuerySettingHandle::UDMQuerySettingHandle() : m_settings(new UDMQuerySettings()) {}
UDMQuerySettingHandle::~UDMQuerySettingHandle() = default;

void UDMQuerySettingHandle::SetFilterExpression(const vqString& expression) { m_settings->SetFilterExpression(expression); }
const vqString& UDMQuerySettingHandle::GetFilterExpression() const { return m_settings->GetFilterExpression(); }
void UDMQuerySettingHandle::SetIgnoreCase(bool ignore) { m_settings->SetIgnoreCase(ignore); }
bool UDMQuerySettingHandle::GetIgnoreCase() const { return m_settings->GetIgnoreCase(); }
void UDMQuerySettingHandle::SearchInExcluded(bool include) { m_settings->SearchInExcluded(include); }
bool UDMQuerySettingHandle::GetSearchInExcluded() const { return m_settings->GetSearchInExcluded(); }
void UDMQuerySettingHandle::SortByCdefName(bool descending) { m_settings->SortByCdefName(descending); }
void UDMQuerySettingHandle::ClearSortByCdefName() { m_settings->ClearSortByCdefName(); }
bool UDMQuerySettingHandle::GetSortByCdefName() const { return m_settings->GetSortByCdefName(); }
bool UDMQuerySettingHandle::GetSortByCdefNameDescending() const { return m_settings->GetSortByCdefNameDescending(); }
void UDMQuerySettingHandle::SortByCdefDispName(bool descending) { m_settings->SortByCdefDispName(descending); }
void UDMQuerySettingHandle::ClearSortByCdefDispName() { m_settings->ClearSortByCdefDispName(); }
bool UDMQuerySettingHandle::GetSortByCdefDispName() const { return m_settings->GetSortByCdefDispName(); }
bool UDMQuerySettingHandle::GetSortByCdefDispNameDescending() const {
  return m_settings->GetSortByCdefDispNameDescending();
}
void UDMQuerySettingHandle::AddSortByMetadata(const vqString& name, bool descending) {
  m_settings->AddSortByMetadata(name, descending);
}
bool UDMQuerySettingHandle::RemoveSortByMetadata(const vqString& name) { return m_settings->RemoveSortByMetadata(name); }
void UDMQuerySettingHandle::ClearSortByMetadata() { m_settings->ClearSortByMetadata(); }
std::uint64_t UDMQuerySettingHandle::GetSortByMetadataNr() const { return m_settings->GetSortByMetadataNr(); }
vqString UDMQuerySettingHandle::GetSortByMetadataName(std::uint64_t index) const {
  return m_settings->GetSortByMetadataName(index);
}
bool UDMQuerySettingHandle::GetSortByMetadataIsDescending(std::uint64_t index) const {
  return m_settings->GetSortByMetadataIsDescending(index);
}

}  // namespace vqkudm
