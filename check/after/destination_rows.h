#ifndef BW_CHECK_AFTER_DESTINATION_ROWS_H
#define BW_CHECK_AFTER_DESTINATION_ROWS_H

#include <cstdint>
#include <string>
#include <vector>

#include "check/after/destination_cursor.h"
#include "check/after/identifiers.h"
#include "check/rules/row_stream.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check {

/// Reads the rows of a destination table: the columns that the migrator sends, in the order of its parameters. Numbers
/// of groups and group orders that it translated become the tokens of what those rows hold here; a number that names no
/// row stays a number.
///
/// One stream at a time, since there is one cursor at a time.
class DestinationRows final : public RowStream {
 public:
  /// The references must outlive the object.
  ///
  /// \throws std::runtime_error with the diagnostics.
  DestinationRows(const odbc::DBConnection& destination, const db::TableDescription& table, const TokenMaps& tokens);

  bool Next(Values& values) override;

  /// Of the row read last: the number that the destination assigned to it; 0 in a table where it assigns none.
  std::int32_t number() const noexcept { return number_; }

 private:
  struct Column {
    db::ValueKind kind;
    const TokenMap* referred;  ///< Where the number is looked up; null for a plain column.
  };

  static std::vector<Column> Columns(const db::TableDescription& table, const TokenMaps& tokens);
  static std::string SelectList(const db::TableDescription& table);

  bool numbered_;
  std::vector<Column> columns_;
  DestinationCursor cursor_;
  std::int32_t number_ = 0;
};

}  // namespace check

#endif  // BW_CHECK_AFTER_DESTINATION_ROWS_H
