#include <vqlmidbdriver/DbStatus.h>

namespace vqlm {

DbStatus DbStatus::Failure(DbErrorKind kind, const vqString& text, const vqString& sqlState,
                           int nativeCode) {
  DbStatus status;
  status.m_kind = kind == DbOk ? DbFailed : kind;
  status.m_text = text;
  status.m_sqlState = sqlState;
  status.m_nativeCode = nativeCode;
  return status;
}

}  // namespace vqlm
