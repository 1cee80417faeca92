#ifndef BW_CHECK_STAGING_PROCEDURES_H
#define BW_CHECK_STAGING_PROCEDURES_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/staging/destination.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check::staging {

/// What the destination has for the CALL of a table.
struct ProcedureCall {
  std::vector<std::string> parameterTypes;  ///< By the place of the parameter; empty where it cannot be foreseen.
  std::optional<std::string> unforeseen;    ///< Why it is not known what becomes of the values.
  std::optional<std::string> refused;       ///< Why the call fails.
};

/// Reads the procedures that the tables' statements call, by table. Tables with an INSERT are left out. Bodies are not
/// looked at: each procedure is taken to insert what it is given.
///
/// \throws odbc::Error when the destination cannot be asked.
std::map<std::string_view, ProcedureCall> ReadCalls(const odbc::DBConnection& destination, const Destination& model);

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_PROCEDURES_H
