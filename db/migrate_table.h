#ifndef BW_DB_MIGRATE_TABLE_H
#define BW_DB_MIGRATE_TABLE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "db/columns.h"
#include "logging/logger.h"

namespace db {

/// Replaces the text by what the log shows of a written row: "insert row(NUMBER): ", the row and a newline.
template <class Row>
void DescribeRow(std::string& text, std::uint64_t number, const Row& row) {
  text = "insert row(";
  Append(text, number);
  Append(text, "): ");
  Append(text, row);
  Append(text, "\n");
}

/// Moves all rows of one table from the pair's source to its destination, row by row, and frees both statements.
///
/// The console and the log get a line at the start and a summary at the end, the log also a line for every row that was
/// written. Only the time from the start line to the last fetch is counted, by the wall clock.
///
/// \throws what Open, Next and Write throw; then there is no summary, the rows written so far stay, and the statements
/// are left to the pair.
template <class Pair>
void MigrateTable(Pair& pair, Logger& log, std::ostream& console) {
  using Clock = std::chrono::system_clock;
  auto& [source, destination] = pair;

  source.Open();
  destination.Open();

  const auto report = [&](const std::string& text) {
    console << text;
    log.Log(text);
  };
  report("Start migrate " + source.tableName() + " table\n");

  const Clock::time_point start = Clock::now();
  std::uint64_t rowsRead = 0;
  std::uint64_t rowsMigrated = 0;
  std::string rowText;
  for (std::optional<typename Pair::RowType> row = source.Next(); row; row = source.Next()) {
    ++rowsRead;
    // Write cannot change the row. It is logged only once it is written.
    DescribeRow(rowText, rowsRead, *row);
    if (destination.Write(*row)) {
      ++rowsMigrated;
      log.Log(rowText);
    }
  }
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);

  report("Complete migrate " + source.tableName() + " table. Total rows read = " + std::to_string(rowsRead) +
         " Total migrated rows = " + std::to_string(rowsMigrated) + ". Migration time is " +
         std::to_string(elapsed.count()) + " milliseconds\n");

  destination.ReleaseStatement();
  source.ReleaseStatement();
}

}  // namespace db

#endif  // BW_DB_MIGRATE_TABLE_H
