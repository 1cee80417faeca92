#ifndef BW_CHECK_AFTER_EXPECTED_ROWS_H
#define BW_CHECK_AFTER_EXPECTED_ROWS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/rules/row_stream.h"
#include "check/rules/simulation.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check {

/// What a migration of the source has to bring, table by table in the order of the catalogue: every row of the source
/// passed through the migrator's rules, in a statement of its own and not by the migrator's code.
class ExpectedRows {
 public:
  ExpectedRows(const odbc::DBConnection& source, AssignedNumber assignedNumber);
  ~ExpectedRows();
  ExpectedRows(const ExpectedRows&) = delete;
  ExpectedRows(ExpectedRows&&) = delete;
  ExpectedRows& operator=(const ExpectedRows&) = delete;
  ExpectedRows& operator=(ExpectedRows&&) = delete;

  /// The rows that arrive in a table, in reading order; the columns are those of the table's input parameters. A table
  /// may be read several times, and each of GroupDesc, GroupOrders and PoolOrders must have been read once before the
  /// tables that follow them. One stream at a time.
  std::unique_ptr<RowStream> Open(const db::TableDescription& table);

  /// Of the table read last: rows read until its end, those that do not arrive included.
  std::uint64_t rowsRead() const;

  /// Of the table read last: why the run ends in it, in a sentence; nothing when it goes on.
  const std::optional<std::string>& runEnds() const;

  /// Of the table read last: why it ends before the source does, in a sentence; nothing when all rows are read.
  const std::optional<std::string>& tableEnds() const;

 private:
  struct State;
  friend class ExpectedStream;
  std::unique_ptr<State> state_;
};

}  // namespace check

#endif  // BW_CHECK_AFTER_EXPECTED_ROWS_H
