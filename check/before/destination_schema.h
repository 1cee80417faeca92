#ifndef BW_CHECK_BEFORE_DESTINATION_SCHEMA_H
#define BW_CHECK_BEFORE_DESTINATION_SCHEMA_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "check/report/finding.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check {

/// A primary key, a unique constraint or a unique index over plain columns.
struct UniqueKey {
  std::string table;
  std::string name;
  std::vector<std::string> columns;
};

/// A foreign key between two of the 22 tables.
struct ForeignKey {
  std::string table;
  std::string name;
  std::vector<std::string> columns;
  std::string referredTable;
  std::vector<std::string> referredColumns;
};

struct CheckConstraint {
  std::string table;
  std::string name;
  std::string expression;  ///< As PostgreSQL spells it, over the table's columns.
};

/// What the destination will make of the run, as far as its catalogues tell.
struct DestinationSchema {
  std::vector<UniqueKey> uniqueKeys;
  std::vector<ForeignKey> foreignKeys;
  std::vector<CheckConstraint> checks;

  /// By table and column, the letters that a text column holds; those without a limit are left out.
  std::map<std::string, std::map<std::string, std::size_t, std::less<>>, std::less<>> textWidths;

  /// Tables that the migrator cannot empty, and why: the run ends there, whatever the source holds.
  std::map<std::string, std::string, std::less<>> cannotEmpty;

  /// Tables whose statement the destination refuses, and why: the run ends there when the source has a row for them.
  std::map<std::string, std::string, std::less<>> cannotWrite;

  /// Tables whose migrated rows a later table's truncate empties again, and that table.
  std::map<std::string, std::string, std::less<>> emptiedAgain;

  /// Rows that a table holds now and that a truncate will delete; those that cannot be counted are left out.
  std::map<std::string, std::uint64_t, std::less<>> rowsNow;
};

/// Looks at the destination's catalogues: tables, columns, types, widths, procedures, rights, foreign keys and what the
/// truncates will empty. Adds its findings to the tables of the report, which has one entry for each of `tables`, and
/// to its general part.
///
/// \throws std::runtime_error with the diagnostics when the destination cannot be asked.
DestinationSchema CheckDestinationSchema(const odbc::DBConnection& destination,
                                         const std::vector<db::TableDescription>& tables, Report& report);

}  // namespace check

#endif  // BW_CHECK_BEFORE_DESTINATION_SCHEMA_H
