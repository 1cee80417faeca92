#include "odbc/statement.h"

#include <sqlext.h>

#include <stdexcept>

#include "odbc/diagnostics.h"
#include "odbc/text.h"

namespace odbc {

void RequireSuccess(SQLRETURN result, SQLHSTMT statement) {
  if (!Succeeded(result)) {
    throw std::runtime_error(GetStatementDiagnostics(statement));
  }
}

SQLHSTMT AllocateStatement(SQLHDBC connection) {
  SQLHSTMT statement = SQL_NULL_HSTMT;
  RequireSuccess(SQLAllocStmt(connection, &statement), statement);
  return statement;
}

void FreeStatement(SQLHSTMT& statement) noexcept {
  if (statement != SQL_NULL_HSTMT) {
    SQLFreeHandle(SQL_HANDLE_STMT, statement);
    statement = SQL_NULL_HSTMT;
  }
}

SQLRETURN ExecuteDirect(SQLHSTMT statement, std::string_view text) {
  return SQLExecDirect(statement, AsSqlText(text), static_cast<SQLINTEGER>(text.size()));
}

}  // namespace odbc
