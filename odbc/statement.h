#ifndef BW_ODBC_STATEMENT_H
#define BW_ODBC_STATEMENT_H

#include <sql.h>

#include <string_view>

namespace odbc {

/// Throws std::runtime_error with the statement's diagnostics unless the call on it succeeded.
void RequireSuccess(SQLRETURN result, SQLHSTMT statement);

/// Allocates a statement on the connection with SQLAllocStmt. The caller frees it.
///
/// \throws std::runtime_error on failure. The diagnostics are deliberately asked of the statement, which the failed
/// call left null, and not of the connection: the message is "SQL Error: " alone.
SQLHSTMT AllocateStatement(SQLHDBC connection);

/// Frees the statement, if there is one, and sets it to null. Failures are ignored.
void FreeStatement(SQLHSTMT& statement) noexcept;

/// Executes the text with SQLExecDirect, passed with its length. Returns what that returns.
SQLRETURN ExecuteDirect(SQLHSTMT statement, std::string_view text);

}  // namespace odbc

#endif  // BW_ODBC_STATEMENT_H
