#ifndef BW_ODBC_STATEMENT_H
#define BW_ODBC_STATEMENT_H

#include <sql.h>

#include <string_view>

#include "odbc/connection.h"

namespace odbc {

/// Throws Error with the statement's diagnostics unless the call on it succeeded.
void RequireSuccess(SQLRETURN result, SQLHSTMT statement);

/// Allocates a statement on the connection with SQLAllocStmt. The caller frees it.
///
/// \throws Error on failure. The diagnostics are deliberately asked of the statement, which the failed
/// call left null, and not of the connection: the message is "SQL Error: " alone.
SQLHSTMT AllocateStatement(SQLHDBC connection);

/// Frees the statement, if there is one, and sets it to null. Failures are ignored.
void FreeStatement(SQLHSTMT& statement) noexcept;

/// Executes the text with SQLExecDirect, passed with its length. Returns what that returns.
SQLRETURN ExecuteDirect(SQLHSTMT statement, std::string_view text);

/// A statement that is freed with the object. The connection must outlive it.
class Statement {
 public:
  /// \throws Error with the connection's diagnostics.
  explicit Statement(const DBConnection& connection);
  ~Statement() { FreeStatement(handle_); }
  Statement(const Statement&) = delete;
  Statement(Statement&&) = delete;
  Statement& operator=(const Statement&) = delete;
  Statement& operator=(Statement&&) = delete;

  SQLHSTMT handle() const noexcept { return handle_; }

  /// Throws Error with the statement's diagnostics unless the call on it succeeded.
  void Require(SQLRETURN result) const { RequireSuccess(result, handle_); }

  /// Executes the text. That it changes no row is no failure.
  ///
  /// \throws Error with the statement's diagnostics.
  void Execute(std::string_view sql) const;

 private:
  SQLHSTMT handle_ = SQL_NULL_HSTMT;
};

}  // namespace odbc

#endif  // BW_ODBC_STATEMENT_H
