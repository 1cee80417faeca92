#ifndef BW_CHECK_BEFORE_RUN_CONDITIONS_H
#define BW_CHECK_BEFORE_RUN_CONDITIONS_H

#include <string>

#include "check/report/finding.h"
#include "check/staging/destination.h"
#include "odbc/connection.h"

/// What a run will meet. All functions throw odbc::Error when the destination cannot be asked.
namespace check {

/// What a session as the migrator's has set.
struct RunSettings {
  bool waitsForDisk = true;      ///< A commit does.
  std::string lockTimeout;       ///< As the server writes it; "0" is none.
  std::string statementTimeout;  ///< The same.
};

/// Asks what the session has set, and adds it to the facts. To be asked before the check sets values of its own.
RunSettings ReadRunSettings(const odbc::DBConnection& destination, Report& report);

/// Looks for sessions that a run would meet: another run, and what holds locks on the tables that it empties or waits
/// for them.
void LookAtSessions(const odbc::DBConnection& destination, const staging::Destination& model,
                    const RunSettings& settings, Report& report);

}  // namespace check

#endif  // BW_CHECK_BEFORE_RUN_CONDITIONS_H
