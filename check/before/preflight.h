#ifndef BW_CHECK_BEFORE_PREFLIGHT_H
#define BW_CHECK_BEFORE_PREFLIGHT_H

#include <map>
#include <string>
#include <string_view>

#include "check/report/finding.h"
#include "check/staging/destination.h"
#include "check/staging/procedures.h"
#include "check/staging/session.h"
#include "check/staging/staging.h"
#include "odbc/connection.h"

namespace check {

/// What ends a run whatever the rows hold, and what its truncates do.
struct Preflight {
  staging::Obstacles obstacles;
  /// Tables whose migrated rows a later table's truncate empties again, and that table.
  std::map<std::string_view, std::string_view> emptiedAgain;
  /// Why a table's figures are not known, besides what the copies leave open.
  std::map<std::string_view, std::string> unforeseen;
};

/// Looks at the session, the tables, what their truncates reach, rights and procedures, and has the destination parse
/// every statement. Adds its findings to the tables of the report and to its general part.
///
/// \throws odbc::Error when the destination cannot be asked.
Preflight LookAtDestination(const odbc::DBConnection& destination, const staging::Destination& model,
                            const std::map<std::string_view, staging::ProcedureCall>& calls,
                            const staging::Writability& writability, Report& report);

/// What the destination makes of the configured schema when its catalogues cannot be read with it: every table is an
/// obstacle then.
///
/// \throws odbc::Error when the connection is lost.
Preflight RefusedSchema(const odbc::DBConnection& destination, Report& report);

}  // namespace check

#endif  // BW_CHECK_BEFORE_PREFLIGHT_H
