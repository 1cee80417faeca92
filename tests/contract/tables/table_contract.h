#ifndef BW_TESTS_CONTRACT_TABLES_TABLE_CONTRACT_H
#define BW_TESTS_CONTRACT_TABLES_TABLE_CONTRACT_H

#include <cstddef>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "contract/contract_test.h"
#include "contract/tables/expected_table.h"
#include "contract/tables/table_pairs.h"
#include "db/identifier_maps.h"
#include "support/scratch_directory.h"

namespace contract {

using odbc_double::ResultRow;
using odbc_double::Value;

inline constexpr std::monostate kNull;

/// The message of the failing call that MigrateUntilFailureOf scripts.
inline constexpr const char* kRefused = "SQL Error: State = P0001 Code = 7 Message = refused";

inline constexpr const char* kMissingKey = "invalid map<K, T> key";

/// The row with another value in a column, counted from 1.
ResultRow With(ResultRow row, std::size_t column, Value value);

/// The row with NULL in the columns, counted from 1.
ResultRow WithNulls(ResultRow row, const std::vector<std::size_t>& columns);

/// Every recorded call on a line of its own.
std::string Calls();

/// The number of recorded calls of a function.
std::size_t CountOf(std::string_view function);

/// What each SQLExecute sent, as its record shows it.
std::vector<std::string> SentRows();

/// What each SQLExecute sent for the input parameter at a position, from 1.
std::vector<std::string> Sent(std::size_t position);

/// The message of the missing-key error that an action ends with; a text that no error has when it does not.
template <class Action>
std::string OutOfRangeOf(Action action) {
  try {
    action();
  } catch (const std::out_of_range& error) {
    return error.what();
  }
  return "(no out-of-range error)";
}

/// A test of one table: its pair on the two connections, a log of its own and a console that is a text. The fields of
/// the pair's row buffers are "source.Name" and "destination.Name" in the records.
class TableContract : public TableTest {
 protected:
  /// The identifier maps are the process's, so each test empties them: it starts as a run does.
  explicit TableContract(const std::string& table);

  const ExpectedTable& expected() const { return expected_; }
  const ResultRow& firstRow() const { return expected_.rows()[0]; }
  const ResultRow& secondRow() const { return expected_.rows()[1]; }

  /// Records what earlier tables and the procedure give for the two rows of the expectation.
  void SetWhatTheRowsNeed();

  /// What the source's table holds.
  void SetRows(std::vector<ResultRow> rows);

  /// Builds the pair, in place of the one built before.
  AnyTablePair& Build();

  AnyTablePair& pair() { return *pair_; }
  void DestroyPair() { pair_.reset(); }

  void Migrate(AnyTablePair& pair) { pair.Migrate(logger_, console_); }

  /// Builds a pair and migrates it.
  void Migrate() { Migrate(Build()); }

  /// Migrates with the n-th call of a function failing; the message that the migration ends with.
  std::string MigrateUntilFailureOf(const std::string& function, std::size_t n);

  std::string console() const { return console_.str(); }

  /// The row entries of the log, without their time stamps.
  std::vector<std::string> LoggedRows();

 private:
  std::string table_;
  ExpectedTable expected_;
  support::ScratchDirectory directory_;
  Logger logger_;
  std::ostringstream console_;
  std::unique_ptr<AnyTablePair> pair_;
};

}  // namespace contract

#endif  // BW_TESTS_CONTRACT_TABLES_TABLE_CONTRACT_H
