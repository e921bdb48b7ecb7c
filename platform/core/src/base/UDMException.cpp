#include <vqkudmrt/UDMException.h>

#include <chrono>

#include <boost/format.hpp>

#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMLogger.h>

namespace vqkudm {

const char* const kArgNullPattern = ": %s is Null";
const char* const kArgEmptyPattern = ": %s is Empty.";
const char* const kArgEmptyListPattern = ": %s list has size zero.";

UDMException::UDMException()
    : m_category(ExcCatState), m_subCategory(ExcSubGeneral), m_raisedAtMs(0) {}

UDMException::UDMException(const vqString& message, ExceptionCategory category, int subCategory,
                           const vqStlVector<vqString>& context,
                           const vqString& functionSignature, std::uint64_t raisedAtMs)
    : m_message(message),
      m_category(category),
      m_subCategory(subCategory),
      m_context(context),
      m_signature(functionSignature),
      m_raisedAtMs(raisedAtMs) {}

UDMException::UDMException(const UDMException& other) = default;

UDMException& UDMException::operator=(const UDMException& other) {
  if (this != &other) {
    std::exception::operator=(other);
    m_message = other.m_message;
    m_category = other.m_category;
    m_subCategory = other.m_subCategory;
    m_context = other.m_context;
    m_signature = other.m_signature;
    m_raisedAtMs = other.m_raisedAtMs;
  }
  return *this;
}

UDMException::~UDMException() = default;

namespace {

std::uint64_t NowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

// Failures are routine for callers that probe (find-or-create), so they are
// logged at debug level only; a failing logger must not mask the failure.
void LogRaise(const UDMException& e) noexcept {
  try {
    boost::shared_ptr<UDMLogger> logger = UDMFramework::GetInstance()->GetLogger();
    if (logger) {
      logger->LogMessage("UDMException " + vqString::FromInt(e.GetExceptionCategory()) + "/" +
                             vqString::FromInt(e.GetExceptionSubCategory()) + ": " + e.what() +
                             " [" + e.GetFunctionSignature() + "]",
                         UDMLogger::LevelDebug);
    }
  } catch (...) {
  }
}

}  // namespace

void ThrowUDMException(const vqString& functionSignature, const vqString& message,
                       const ExceptionCategory& category, const int& subCategory) {
  UDMException e(message, category, subCategory, vqStlVector<vqString>{functionSignature},
                 functionSignature, NowMs());
  LogRaise(e);
  throw e;
}

void ThrowInvalidArgException(const vqString& functionSignature, const vqString& message,
                              const int& subCategory) {
  ThrowUDMException(functionSignature, message, ExcCatInvalidArgument, subCategory);
}

void ThrowUnSupportedException(const vqString& functionSignature, const vqString& message,
                               const int& subCategory) {
  ThrowUDMException(functionSignature, message, ExcCatUnsupported, subCategory);
}

void ThrowStateException(const vqString& functionSignature, const vqString& message,
                         const int& subCategory) {
  ThrowUDMException(functionSignature, message, ExcCatState, subCategory);
}

void ThrowFileException(const vqString& functionSignature, const vqString& message,
                        const int& subCategory) {
  ThrowUDMException(functionSignature, message, ExcCatFile, subCategory);
}

vqString FormatArgumentMessage(const vqString& functionSignature, const char* pattern,
                               const vqString& description) {
  return boost::str(boost::format(functionSignature + pattern) % description);
}

void ThrowNullArgument(const vqString& functionSignature, const vqString& description) {
  ThrowUDMException(functionSignature,
                    FormatArgumentMessage(functionSignature, kArgNullPattern, description),
                    ExcCatInvalidArgument, ExcSubNull);
}

void ThrowEmptyArgument(const vqString& functionSignature, const vqString& description) {
  ThrowUDMException(functionSignature,
                    FormatArgumentMessage(functionSignature, kArgEmptyPattern, description),
                    ExcCatInvalidArgument, ExcSubEmpty);
}

void ThrowEmptyListArgument(const vqString& functionSignature, const vqString& description) {
  ThrowUDMException(functionSignature,
                    FormatArgumentMessage(functionSignature, kArgEmptyListPattern, description),
                    ExcCatInvalidArgument, ExcSubListEmpty);
}

}  // namespace vqkudm
