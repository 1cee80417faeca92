#ifndef BW_CHECK_SQL_QUERY_H
#define BW_CHECK_SQL_QUERY_H

#include <sql.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "odbc/connection.h"

namespace check {

/// A statement that is freed with the object.
class OwnedStatement {
 public:
  /// \throws std::runtime_error with the connection's diagnostics.
  explicit OwnedStatement(const odbc::DBConnection& connection);
  ~OwnedStatement();
  OwnedStatement(const OwnedStatement&) = delete;
  OwnedStatement(OwnedStatement&&) = delete;
  OwnedStatement& operator=(const OwnedStatement&) = delete;
  OwnedStatement& operator=(OwnedStatement&&) = delete;

  SQLHSTMT handle() const noexcept { return statement_; }

  /// Executes the text.
  ///
  /// \throws std::runtime_error with the statement's diagnostics.
  void Execute(std::string_view sql) const;

 private:
  SQLHSTMT statement_ = SQL_NULL_HSTMT;
};

/// A row of a small result; nothing stands for NULL.
using TextRow = std::vector<std::optional<std::string>>;

/// All rows of a query, as texts. For small results: everything is held in memory. FreeTDS takes one query at a time on
/// a connection, so none may be open.
///
/// \throws std::runtime_error with the statement's diagnostics.
std::vector<TextRow> QueryRows(const odbc::DBConnection& connection, std::string_view sql);

/// The first value of the first row; nothing when there is no row or it is NULL.
///
/// \throws std::runtime_error with the statement's diagnostics.
std::optional<std::string> QueryValue(const odbc::DBConnection& connection, std::string_view sql);

/// Executes a statement that returns no rows.
///
/// \throws std::runtime_error with the statement's diagnostics.
void Execute(const odbc::DBConnection& connection, std::string_view sql);

}  // namespace check

#endif  // BW_CHECK_SQL_QUERY_H
