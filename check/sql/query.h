#ifndef BW_CHECK_SQL_QUERY_H
#define BW_CHECK_SQL_QUERY_H

#include <sql.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "odbc/connection.h"

/// Queries with small results: everything is held in memory. FreeTDS takes one query at a time on a connection, so none
/// may be open. All functions throw odbc::Error with the statement's diagnostics, unless they say otherwise.
namespace check {

/// A row of a small result; nothing stands for NULL.
using TextRow = std::vector<std::optional<std::string>>;

/// A value of the row, empty for NULL.
inline std::string Text(const TextRow& row, std::size_t column) {
  return row.at(column).value_or("");
}

/// A value of the row that is a number, 0 for NULL.
inline std::uint64_t Number(const TextRow& row, std::size_t column) {
  return std::stoull(row.at(column).value_or("0"));
}

/// What a query's "?" markers stand for: sent as bound parameters, as texts whose type the server chooses.
using Parameters = std::vector<std::string>;

/// All rows of a query, as texts.
std::vector<TextRow> QueryRows(const odbc::DBConnection& connection, std::string_view sql,
                               const Parameters& parameters = {});

/// The first value of the first row; nothing when there is no row or it is NULL.
std::optional<std::string> QueryValue(const odbc::DBConnection& connection, std::string_view sql,
                                      const Parameters& parameters = {});

/// The number that a query gives, such as a count; 0 for NULL.
std::uint64_t QueryNumber(const odbc::DBConnection& connection, std::string_view sql,
                          const Parameters& parameters = {});

/// The first row of a query that the server may not have an answer to, or not for this login; nothing then.
std::optional<TextRow> OptionalRow(const odbc::DBConnection& connection, std::string_view sql);

/// What the driver says of the connection, asked with SQLGetInfo; nothing when it does not say.
std::optional<std::string> DriverInfo(const odbc::DBConnection& connection, SQLUSMALLINT type);

/// Executes a statement that returns no rows.
void Execute(const odbc::DBConnection& connection, std::string_view sql, const Parameters& parameters = {});

}  // namespace check

#endif  // BW_CHECK_SQL_QUERY_H
