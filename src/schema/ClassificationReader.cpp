#include <vqkudm/UDMCoreProfile.h>
#include <vqkudm/UDMProfileUtils.h>

#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMException.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

namespace {
const char* const kReaderName = "ClassificationReader";
}

ClassificationReader::ClassificationReader() : EntityReader(UDMItemHandle(), kReaderName) {}
ClassificationReader::ClassificationReader(const UDMItemHandle& entity) : EntityReader(entity, kReaderName) {}
ClassificationReader::~ClassificationReader() = default;

vqString ClassificationReader::GetName() { return m_readerName; }

boost::shared_ptr<UDMClassification> ClassificationReader::_GetClassification() const {
  static const char* const kSignature =
      VQ_SIG(VQ_T_SHARED("class vqkudm::UDMClassification"), "ClassificationReader", "_GetClassification(void) const");
  boost::shared_ptr<UDMCoreProfile> profile = boost::dynamic_pointer_cast<UDMCoreProfile>(m_entity.GetProfilePtr());
  if (!profile) ThrowUDMException(kSignature, "Null profile ptr", ExcCatState, ExcSubNull);
  boost::shared_ptr<UDMClassification> category =
      boost::dynamic_pointer_cast<UDMClassification>(profile->_GetUDMItem(m_entity));
  if (!category) ThrowUDMException(kSignature, "Classification Ptr NULL in reader", ExcCatState, ExcSubNull);
  return category;
}

bool ClassificationReader::IsSupported() const { return static_cast<bool>(_GetClassification()); }

void ClassificationReader::GetChildClassification(vqStlVector<UDMItemHandle>& out) const {
  boost::shared_ptr<UDMClassification> category = _GetClassification();
  vqStlVector<boost::shared_ptr<UDMClassification>> children;
  category->GetChildClassifications(children, 5);
  boost::shared_ptr<IUDMProfile> profile = m_entity.GetProfilePtr();
  for (const auto& child : children) out.push_back(profile->GetUDMItemHandle(child->GetUID().ToString()));
}

vqString ClassificationReader::GetVault() { return _GetClassification()->GetVault(); }

bool ClassificationReader::IsMaster() const { return _GetClassification()->IsMaster(); }

}  // namespace vqkudm
