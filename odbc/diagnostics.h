#ifndef BW_ODBC_DIAGNOSTICS_H
#define BW_ODBC_DIAGNOSTICS_H

#include <sql.h>

#include <string>

namespace odbc {

/// Whether an ODBC call succeeded: SQL_SUCCESS or SQL_SUCCESS_WITH_INFO. Every other value is a failure, SQL_NO_DATA
/// included.
constexpr bool Succeeded(SQLRETURN result) noexcept {
  return (result & ~1) == 0;
}

/// All diagnostic records of a handle as one text on one line: "SQL Error: ", then for each record "State = ", the
/// state, " Code = ", the native code, " Message = " and the message, cut to 511 bytes, with nothing between two
/// records. A handle without records, a null or a freed one gives "SQL Error: " alone.
std::string GetDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle);

/// GetDiagnostics for the handle type in the name.
std::string GetStatementDiagnostics(SQLHSTMT statement);
std::string GetConnectionDiagnostics(SQLHDBC connection);
std::string GetEnvironmentDiagnostics(SQLHENV environment);

}  // namespace odbc

#endif  // BW_ODBC_DIAGNOSTICS_H
