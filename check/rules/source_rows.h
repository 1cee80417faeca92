#ifndef BW_CHECK_RULES_SOURCE_ROWS_H
#define BW_CHECK_RULES_SOURCE_ROWS_H

#include <sql.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check/rules/table_rules.h"
#include "check/sql/query.h"
#include "db/table_description.h"
#include "odbc/connection.h"
#include "odbc/statement.h"

namespace check {

/// Whether the source's driver leaves a field as it was when a NULL is read without an indicator, as FreeTDS does.
/// Others refuse the read.
///
/// \throws std::runtime_error when the driver does not give its name.
bool DriverRepeatsNulls(const odbc::DBConnection& source);

/// Reads a source table with the migrator's own query, so in its order, and with buffers of the same sizes, so with the
/// same cuts; but with indicators, so that a NULL is a NULL.
class SourceRows {
 public:
  enum class Result {
    Row,
    Unreadable,  ///< A value does not convert to the column's type: the migrator ends the table here.
    End,
  };

  /// \throws std::runtime_error with the diagnostics.
  SourceRows(const odbc::DBConnection& source, const db::TableDescription& table);

  /// \throws std::runtime_error with the diagnostics when the server or the connection fails.
  Result Next();

  /// Of the row read last, by the column's position from 0.
  bool IsNull(std::size_t column) const { return fields_[column].indicator == SQL_NULL_DATA; }
  std::int32_t Number(std::size_t column) const;
  double Real(std::size_t column) const;

  /// The bytes that arrive in a field of the column's size; zero bytes among them are kept.
  std::string_view Text(std::size_t column) const;

  /// Bytes of the whole text, also of those that were cut.
  std::size_t TextLength(std::size_t column) const { return static_cast<std::size_t>(fields_[column].indicator); }

  /// What was wrong with an unreadable row.
  const std::string& diagnostics() const noexcept { return diagnostics_; }

 private:
  struct Field {
    std::vector<char> buffer;
    SQLLEN indicator = 0;
  };

  odbc::Statement statement_;
  std::vector<Field> fields_;
  std::string diagnostics_;
};

}  // namespace check

#endif  // BW_CHECK_RULES_SOURCE_ROWS_H
