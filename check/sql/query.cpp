#include "check/sql/query.h"

#include <sqlext.h>

#include <array>
#include <utility>

#include "odbc/diagnostics.h"
#include "odbc/statement.h"

namespace check {

namespace {

/// The whole text of a column, however long.
std::optional<std::string> ReadText(SQLHSTMT statement, SQLUSMALLINT column) {
  std::string text;
  std::array<char, 1024> part{};
  for (;;) {
    SQLLEN length = 0;
    const SQLRETURN result =
        SQLGetData(statement, column, SQL_C_CHAR, part.data(), static_cast<SQLLEN>(part.size()), &length);
    if (result == SQL_NO_DATA) {
      return text;
    }
    odbc::RequireSuccess(result, statement);
    if (length == SQL_NULL_DATA) {
      return std::nullopt;
    }
    if (result == SQL_SUCCESS) {
      text.append(part.data(), static_cast<std::size_t>(length));
      return text;
    }
    text.append(part.data(), part.size() - 1);
  }
}

void ExecuteWith(const odbc::Statement& statement, std::string_view sql, const Parameters& parameters) {
  SQLUSMALLINT number = 0;
  for (const std::string& parameter : parameters) {
    statement.Require(SQLBindParameter(statement.handle(), ++number, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR,
                                       parameter.size() + 1, 0, const_cast<char*>(parameter.c_str()), 0, nullptr));
  }
  statement.Execute(sql);
}

}  // namespace

std::vector<TextRow> QueryRows(const odbc::DBConnection& connection, std::string_view sql,
                               const Parameters& parameters) {
  const odbc::Statement statement(connection);
  ExecuteWith(statement, sql, parameters);
  SQLSMALLINT columns = 0;
  statement.Require(SQLNumResultCols(statement.handle(), &columns));
  std::vector<TextRow> rows;
  for (;;) {
    const SQLRETURN result = SQLFetch(statement.handle());
    if (result == SQL_NO_DATA) {
      return rows;
    }
    statement.Require(result);
    TextRow row;
    for (SQLSMALLINT column = 1; column <= columns; ++column) {
      row.push_back(ReadText(statement.handle(), static_cast<SQLUSMALLINT>(column)));
    }
    rows.push_back(std::move(row));
  }
}

std::optional<std::string> QueryValue(const odbc::DBConnection& connection, std::string_view sql,
                                      const Parameters& parameters) {
  const std::vector<TextRow> rows = QueryRows(connection, sql, parameters);
  return rows.empty() || rows.front().empty() ? std::nullopt : rows.front().front();
}

std::uint64_t QueryNumber(const odbc::DBConnection& connection, std::string_view sql, const Parameters& parameters) {
  return std::stoull(QueryValue(connection, sql, parameters).value_or("0"));
}

std::optional<TextRow> OptionalRow(const odbc::DBConnection& connection, std::string_view sql) {
  try {
    const std::vector<TextRow> rows = QueryRows(connection, sql);
    return rows.empty() ? std::nullopt : std::optional(rows.front());
  } catch (const odbc::Error&) {
    return std::nullopt;
  }
}

std::optional<std::string> DriverInfo(const odbc::DBConnection& connection, SQLUSMALLINT type) {
  std::array<char, 512> text{};
  const SQLRETURN result =
      SQLGetInfo(connection.connection(), type, text.data(), static_cast<SQLSMALLINT>(text.size()), nullptr);
  return odbc::Succeeded(result) ? std::optional<std::string>(text.data()) : std::nullopt;
}

void Execute(const odbc::DBConnection& connection, std::string_view sql, const Parameters& parameters) {
  ExecuteWith(odbc::Statement(connection), sql, parameters);
}

}  // namespace check
