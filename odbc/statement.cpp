#include "odbc/statement.h"

#include <sqlext.h>

#include "odbc/diagnostics.h"
#include "odbc/text.h"

namespace odbc {

void RequireSuccess(SQLRETURN result, SQLHSTMT statement) {
  if (!Succeeded(result)) {
    throw Error(ReadDiagnostics(SQL_HANDLE_STMT, statement));
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

Statement::Statement(const DBConnection& connection) {
  if (!Succeeded(SQLAllocStmt(connection.connection(), &handle_))) {
    throw Error(ReadDiagnostics(SQL_HANDLE_DBC, connection.connection()));
  }
}

void Statement::Execute(std::string_view sql) const {
  const SQLRETURN result = ExecuteDirect(handle_, sql);
  if (result != SQL_NO_DATA) {
    Require(result);
  }
}

}  // namespace odbc
