#ifndef BW_CHECK_CONNECTIONS_MIGRATOR_SESSIONS_H
#define BW_CHECK_CONNECTIONS_MIGRATOR_SESSIONS_H

#include <string>
#include <vector>

#include "odbc/connection.h"

namespace check {

/// A session of the destination whose last statement is one of the migrator's.
struct MigratorSession {
  std::string process;  ///< Its number on the server.
  std::string login;
  std::string table;
  bool waits = false;  ///< For a lock.
};

/// The sessions of the destination's database that a run has, or has left behind. That of a run which has just ended is
/// waited for, about a second. Those of other logins show their statements only to a login that may read all
/// statistics.
///
/// \throws odbc::Error when the destination cannot be asked.
std::vector<MigratorSession> FindSessionsAtWork(const odbc::DBConnection& destination);

}  // namespace check

#endif  // BW_CHECK_CONNECTIONS_MIGRATOR_SESSIONS_H
