#ifndef BW_CHECK_CONNECTIONS_CONNECTIONS_H
#define BW_CHECK_CONNECTIONS_CONNECTIONS_H

#include <functional>
#include <set>
#include <string>

#include "check/report/finding.h"
#include "odbc/connection.h"

namespace check {

/// Looks at the two connections: products and versions, the schema version, the destination's encodings, encryption,
/// and the login's right to read the 22 tables of the source. Adds facts and general findings.
///
/// \returns the tables that cannot be read: the run ends where it is their turn.
/// \throws std::runtime_error with the diagnostics when a side cannot be asked at all.
std::set<std::string, std::less<>> CheckConnections(odbc::DBConnection& source, const odbc::DBConnection& destination,
                                                    Report& report);

}  // namespace check

#endif  // BW_CHECK_CONNECTIONS_CONNECTIONS_H
