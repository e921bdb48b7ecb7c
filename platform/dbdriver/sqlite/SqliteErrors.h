#pragma once

#include <vqlmidbdriver/DbStatus.h>

struct sqlite3;

namespace vqlm::sqlite {

// The one place where SQLite return codes become driver errors. `context`
// says what was being done ("prepare", "commit", the statement text, …).
DbStatus ToStatus(sqlite3* db, int rc, const vqString& context);

}  // namespace vqlm::sqlite
