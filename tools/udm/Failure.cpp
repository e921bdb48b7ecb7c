#include "Failure.h"

namespace udm {

void Refuse(const std::string& command, const std::string& message, vqkudm::ExceptionSubCategory subCategory) {
  vqkudm::ThrowStateException("udm " + command, message, subCategory);
}

std::string UserMessage(const vqkudm::UDMException& failure) {
  const std::string text = failure.what();
  const std::string prefix = failure.GetFunctionSignature().str() + ": ";
  if (!failure.GetFunctionSignature().empty() && text.compare(0, prefix.size(), prefix) == 0) {
    return text.substr(prefix.size());
  }
  return text;
}

}  // namespace udm
