#include <vqkudmrt/UDMClassification.h>

namespace vqkudm {

namespace {
const char* const kVaultAttribute = "vault";
const char* const kMasterAttribute = "master";
}  // namespace

UDMClassification::UDMClassification(const boost::shared_ptr<UDMSession>& session,
                                     const boost::shared_ptr<UDMContentDefinition>& cdef, UDMUID uid)
    : UDMItem(session, cdef, std::move(uid)) {}

UDMClassification::~UDMClassification() = default;

void UDMClassification::GetChildClassifications(vqStlVector<boost::shared_ptr<UDMClassification>>& out,
                                                int /*accessType*/) {
  vqStlVector<UDMItemPtr> children;
  GetChildren(children, "");
  for (const UDMItemPtr& child : children) {
    if (auto category = boost::dynamic_pointer_cast<UDMClassification>(child)) out.push_back(category);
  }
}

vqString UDMClassification::GetVault() const {
  auto it = m_attributes.find(kVaultAttribute);
  return it == m_attributes.end() ? vqString() : it->second.ToString();
}

void UDMClassification::SetVault(const vqString& vault) { SetAttribute(kVaultAttribute, vqVariant(vault)); }

bool UDMClassification::IsMaster() const {
  auto it = m_attributes.find(kMasterAttribute);
  bool master = false;
  if (it != m_attributes.end()) it->second.ToBool(master);
  return master;
}

void UDMClassification::SetIsMaster(bool master) { SetAttribute(kMasterAttribute, vqVariant(master)); }

}  // namespace vqkudm
