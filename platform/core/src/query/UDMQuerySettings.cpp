#include <vqkudmrt/UDMQuerySettings.h>

#include <algorithm>

#include <vqkudmrt/UDMException.h>

namespace vqkudm {

void UDMQuerySettings::SortByCdefName(bool descending) {
  m_byCdef = true;
  m_byCdefDescending = descending;
}

void UDMQuerySettings::SortByCdefDispName(bool descending) {
  m_byCdefDisplay = true;
  m_byCdefDisplayDescending = descending;
}

void UDMQuerySettings::AddSortByMetadata(const vqString& name, bool descending) {
  if (name.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "sort attribute ");
  RemoveSortByMetadata(name);
  m_byMetadata.emplace_back(name, descending);
}

bool UDMQuerySettings::RemoveSortByMetadata(const vqString& name) {
  const auto it = std::find_if(m_byMetadata.begin(), m_byMetadata.end(),
                               [&](const std::pair<vqString, bool>& key) { return key.first == name; });
  if (it == m_byMetadata.end()) return false;
  m_byMetadata.erase(it);
  return true;
}

namespace {
void CheckIndex(std::uint64_t index, std::size_t size, const char* signature) {
  if (index >= size) {
    ThrowInvalidArgException(signature,
                             "there is no sort attribute " + std::to_string(index) + "; there are " +
                                 std::to_string(size),
                             ExcSubOutOfRange);
  }
}
}  // namespace

vqString UDMQuerySettings::GetSortByMetadataName(std::uint64_t index) const {
  CheckIndex(index, m_byMetadata.size(), UDM_FUNCSIG);
  return m_byMetadata[index].first;
}

bool UDMQuerySettings::GetSortByMetadataIsDescending(std::uint64_t index) const {
  CheckIndex(index, m_byMetadata.size(), UDM_FUNCSIG);
  return m_byMetadata[index].second;
}

}  // namespace vqkudm
