#pragma once

// The repository's database schema, created and upgraded by the runtime:
// a version table and an ordered list of migrations, each applied in one
// transaction. Opening a repository brings it to the latest version.

#include <vqkudmrt/store/SqlDialect.h>
#include <vqkudmrt/vqkudmrtApi.h>

namespace vqlm {
class iDbDriver;
}

namespace vqkudm::store {

// The schema version this runtime writes.
VQKUDMRT_API int LatestSchemaVersion();

// The version of the open database; 0 when it has no repository schema yet.
// Raises UDMException when the version cannot be read.
VQKUDMRT_API int ReadSchemaVersion(vqlm::iDbDriver& db);

// Applies every migration the database lacks up to version `upTo` (the
// latest when 0), each in one transaction, and returns the resulting
// version. Refuses (UDMException, ExcSubDatabase) a database written by a
// newer runtime, and leaves the database at the last completed version when
// a migration fails.
VQKUDMRT_API int MigrateSchema(vqlm::iDbDriver& db, const SqlDialect& dialect, int upTo = 0);

// Removes every table of the repository schema, in one transaction: the
// repository's data is gone, the database itself stays. Raises UDMException
// (ExcSubDatabase) and leaves the tables when that fails.
VQKUDMRT_API void DropRepositorySchema(vqlm::iDbDriver& db);

}  // namespace vqkudm::store
