#ifndef BW_CHECK_SQL_QUERY_H
#define BW_CHECK_SQL_QUERY_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "odbc/connection.h"

namespace check {

/// A row of a small result; nothing stands for NULL.
using TextRow = std::vector<std::optional<std::string>>;

/// What a query's "?" markers stand for: sent as bound parameters, as texts whose type the server chooses.
using Parameters = std::vector<std::string>;

/// All rows of a query, as texts. For small results: everything is held in memory. FreeTDS takes one query at a time on
/// a connection, so none may be open.
///
/// \throws odbc::Error with the statement's diagnostics.
std::vector<TextRow> QueryRows(const odbc::DBConnection& connection, std::string_view sql,
                               const Parameters& parameters = {});

/// The first value of the first row; nothing when there is no row or it is NULL.
///
/// \throws odbc::Error with the statement's diagnostics.
std::optional<std::string> QueryValue(const odbc::DBConnection& connection, std::string_view sql,
                                      const Parameters& parameters = {});

/// Executes a statement that returns no rows.
///
/// \throws odbc::Error with the statement's diagnostics.
void Execute(const odbc::DBConnection& connection, std::string_view sql, const Parameters& parameters = {});

}  // namespace check

#endif  // BW_CHECK_SQL_QUERY_H
