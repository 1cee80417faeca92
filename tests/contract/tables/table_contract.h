#ifndef BW_TESTS_CONTRACT_TABLES_TABLE_CONTRACT_H
#define BW_TESTS_CONTRACT_TABLES_TABLE_CONTRACT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "contract/contract_test.h"
#include "db/identifier_maps.h"
#include "db/migrate_table.h"
#include "db/table_pair.h"
#include "logging/logger.h"
#include "odbc_double/odbc_double.h"
#include "support/scratch_directory.h"

namespace contract {

using odbc_double::ResultRow;
using odbc_double::Value;

inline constexpr std::monostate kNull;

/// The message of the failing call that MigrateUntilFailureOf scripts.
inline constexpr const char* kRefused = "SQL Error: State = P0001 Code = 7 Message = refused";

inline constexpr const char* kMissingKey = "invalid map<K, T> key";

/// The row with another value in a column, counted from 1.
inline ResultRow With(ResultRow row, std::size_t column, Value value) {
  row.at(column - 1) = std::move(value);
  return row;
}

/// The row with NULL in the columns, counted from 1.
inline ResultRow WithNulls(ResultRow row, const std::vector<std::size_t>& columns) {
  for (const std::size_t column : columns) {
    row.at(column - 1) = kNull;
  }
  return row;
}

/// Every recorded call on a line of its own, below an empty line, as a raw text is written.
inline std::string Calls() {
  std::string text = "\n";
  for (const std::string& call : odbc_double::Calls()) {
    text += call + "\n";
  }
  return text;
}

/// The number of recorded calls of a function.
inline std::size_t CountOf(std::string_view function) {
  const std::vector<std::string>& calls = odbc_double::Calls();
  return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [function](std::string_view call) {
    return call.starts_with(function) && call.substr(function.size()).starts_with("(");
  }));
}

/// What each SQLExecute sent, as its record shows it.
inline std::vector<std::string> SentRows() {
  constexpr std::string_view kSends = " sends ";
  std::vector<std::string> rows;
  for (const std::string& call : odbc_double::Calls()) {
    if (const std::size_t sends = call.find(kSends); call.starts_with("SQLExecute(") && sends != std::string::npos) {
      rows.push_back(call.substr(sends + kSends.size()));
    }
  }
  return rows;
}

/// What each SQLExecute sent for the input parameter at a position, from 1.
inline std::vector<std::string> Sent(std::size_t position) {
  constexpr std::string_view kSeparator = ", ";
  std::vector<std::string> values;
  for (std::string row : SentRows()) {
    for (std::size_t skipped = 1; skipped < position; ++skipped) {
      row.erase(0, row.find(kSeparator) + kSeparator.size());
    }
    values.push_back(row.substr(0, row.find(kSeparator)));
  }
  return values;
}

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
template <class Source, class Destination>
class TableContract : public TableTest {
 protected:
  using Row = typename Source::RowType;
  using Pair = db::TablePair<Source, Destination>;

  /// The identifier maps are the process's, so each test empties them: it starts as a run does.
  TableContract(std::string table, std::vector<odbc_double::FieldName> fields)
      : table_(std::move(table)), fields_(std::move(fields)) {
    db::GroupIdMap.clear();
    db::GroupOrderIdMap.clear();
    db::PoolIdMap.clear();
    db::nextPoolId = 1;
    EXPECT_TRUE(logger_.Open(directory_ / "log"));
  }

  /// What the source's table holds.
  void SetRows(std::vector<ResultRow> rows) { odbc_double::SetResult("[" + table_ + "]", std::move(rows)); }

  /// Builds the pair, in place of the one built before.
  Pair& Build() {
    pair_.reset();
    pair_.emplace(source, destination);
    odbc_double::NameFields("source", &pair_->source.row(), fields_);
    odbc_double::NameFields("destination", &pair_->destination.row(), fields_);
    return *pair_;
  }

  Pair& pair() { return *pair_; }

  void DestroyPair() { pair_.reset(); }

  void Migrate(Pair& pair) { db::MigrateTable(pair, logger_, console_); }

  /// Builds a pair and migrates it.
  void Migrate() { Migrate(Build()); }

  /// Migrates with the n-th call of a function failing; the message that the migration ends with.
  std::string MigrateUntilFailureOf(const std::string& function, std::size_t n) {
    odbc_double::OnCall(function, n, {.result = SQL_ERROR, .diagnostics = {{"P0001", 7, "refused"}}});
    return RuntimeErrorOf([this] { Migrate(); });
  }

  std::string console() const { return console_.str(); }

  /// The row entries of the log, without their time stamps.
  std::vector<std::string> LoggedRows() {
    logger_.Close();
    std::istringstream log(support::ReadFile(directory_ / "log"));
    std::vector<std::string> rows;
    for (std::string line; std::getline(log, line);) {
      if (const std::size_t row = line.find("insert row("); row != std::string::npos) {
        rows.push_back(line.substr(row));
      }
    }
    return rows;
  }

  /// Expects that of three equal rows only the first arrives when the second one holds a NULL in a column, whichever it
  /// is, and that the fetch's diagnostics are gathered although nobody sees them.
  void ExpectANullInAnyColumnEndsTheTable(const ResultRow& row) {
    for (std::size_t column = 1; column <= row.size(); ++column) {
      SCOPED_TRACE("column " + std::to_string(column));
      MigrateWithANull(row, column);
      EXPECT_EQ(SentRows().size(), 1U);
      EXPECT_EQ(CountOf("SQLFetch"), 2U);
      EXPECT_EQ(CountOf("SQLGetDiagRec"), 2U);
    }
  }

  /// Expects the same of a column that is read without indicator, but that nothing is read behind it and no diagnostics
  /// are gathered.
  void ExpectANullEndsTheTableSilently(const ResultRow& row, const std::vector<std::size_t>& columns) {
    for (const std::size_t column : columns) {
      SCOPED_TRACE("column " + std::to_string(column));
      MigrateWithANull(row, column);
      EXPECT_EQ(SentRows().size(), 1U);
      EXPECT_EQ(CountOf("SQLFetch"), 2U);
      EXPECT_EQ(CountOf("SQLGetData"), row.size() + column);
      EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
    }
  }

 private:
  void MigrateWithANull(const ResultRow& row, std::size_t column) {
    SetRows({row, With(row, column, kNull), row});
    Pair& built = Build();
    odbc_double::ClearCalls();
    Migrate(built);
  }

  std::string table_;
  std::vector<odbc_double::FieldName> fields_;
  support::ScratchDirectory directory_;
  Logger logger_;
  std::ostringstream console_;
  std::optional<Pair> pair_;
};

}  // namespace contract

#endif  // BW_TESTS_CONTRACT_TABLES_TABLE_CONTRACT_H
