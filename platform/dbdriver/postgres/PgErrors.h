#pragma once

#include <vqlmidbdriver/DbStatus.h>

#include <libpq-fe.h>

namespace vqlm::postgres {

// The one place where libpq outcomes become driver errors. `result` may be
// null (the connection's own message then gives the reason); `context` says
// what was being done. A result that succeeded gives an ok status.
DbStatus ToStatus(PGconn* connection, const PGresult* result, const vqString& context);

// A failed connection attempt, told apart as refused credentials or an
// unreachable or unusable server. Make connections with verbose errors
// (PQERRORS_VERBOSE) so that the server's SQLSTATE can be read.
DbStatus ConnectFailure(PGconn* connection);

}  // namespace vqlm::postgres
