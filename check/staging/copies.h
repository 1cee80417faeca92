#ifndef BW_CHECK_STAGING_COPIES_H
#define BW_CHECK_STAGING_COPIES_H

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/staging/destination.h"
#include "check/staging/procedures.h"
#include "db/table_description.h"
#include "odbc/connection.h"

/// Copies of the destination's tables, in temporary tables of the check's own session. PostgreSQL makes them: types,
/// defaults, numbering, constraints and indexes are the table's own, so what a copy does to a row is what the table
/// would do.
namespace check::staging {

/// What can refuse a row, by the name that the server's message has for it.
struct CopyConstraint {
  std::string state;  ///< Of the refusal, such as "23505".
  std::string name;   ///< In the copy.
  std::string original;
  std::vector<std::string> columns;
  std::string referred{};  ///< Of a foreign key to a copy, its table and columns, see KeyTo.
};

/// A column that takes its numbers from a sequence.
struct NumberedColumn {
  std::string column;
  std::string sequence;  ///< The copy's own, as it is written in SQL.
};

struct Copy {
  const db::TableDescription* table = nullptr;
  std::string path;  ///< As it is written in SQL.
  /// The types of a procedure's parameters by the columns that they get; empty where an INSERT is sent.
  std::map<std::string, std::string, std::less<>> parameterTypes;
  /// Columns that may store a value otherwise than it is sent, by their position in the table's columns.
  std::vector<std::size_t> changing;
  std::set<std::size_t> asDoubles;  ///< Of these, numbers that are compared as doubles.
  std::vector<NumberedColumn> numbered;
  std::set<std::string, std::less<>> goingOn;  ///< Columns whose numbers no truncate restarts.
  std::vector<CopyConstraint> constraints;
  std::set<std::string, std::less<>> columns;             ///< The table's own.
  std::map<std::string, std::string, std::less<>> types;  ///< Of the columns that are sent, as SQL writes them.
  /// Characters that a text column takes at most, by column; those without a limit are left out.
  std::map<std::string, std::size_t, std::less<>> limits;
  std::vector<std::vector<std::string>> referredColumns;  ///< What foreign keys of other copies refer to.
  /// Whether a row may refer to one that the same statement inserts, which single statements do not allow.
  bool refersToItself = false;
};

/// Columns that a copy has besides the table's: the row's position in reading order, from 1, and the number that the
/// source has in a column that is replaced.
inline const std::string kPositionColumn = "bw_position";
std::string SourceNumberColumn(std::string_view column);

/// The columns of a table whose source numbers the copy keeps.
std::vector<std::string_view> ReplacedNumbers(const db::TableDescription& table);

/// The copy's column that has what the source has in a column of the table.
std::string ColumnAsInSource(const db::TableDescription& table, std::string_view column);

/// Tables beside the copies, for all of them. Names are written in SQL as they are here.
inline const std::string kChangedRows = "pg_temp.bw_changed_rows";  ///< (tab, position), with repetitions.

/// (tab, number, assigned) of rows that are left out. A refused row has got a number too, as if it had arrived: what
/// comes after it is looked at as if it had been accepted.
inline const std::string kLeftOut = "pg_temp.bw_left_out";

/// (key, content) of refused rows: what foreign keys refer to, see KeyTo.
inline const std::string kRefusedKeys = "pg_temp.bw_refused_keys";

/// Names columns of a table that a foreign key refers to.
std::string KeyTo(std::string_view table, const std::vector<std::string>& columns);

/// The tables, in the order of the migration, that a statement about the chosen ones needs: by what their rows refer to
/// and by the destination's foreign keys, transitively. All when none is chosen.
std::vector<db::TableDescription> TablesNeeded(const odbc::DBConnection& destination, const Destination& model,
                                               const std::vector<std::string>& chosen);

struct Copies {
  std::map<std::string_view, Copy> copies;
  /// Why a table has no copy, or why what it does to a row is not all that the table does.
  std::map<std::string_view, std::string> unforeseen;
};

/// Creates the copies of the tables. The session must be able to write.
///
/// \throws odbc::Error when the destination cannot be asked.
Copies CreateCopies(const odbc::DBConnection& destination, const Destination& model,
                    const std::vector<db::TableDescription>& tables,
                    const std::map<std::string_view, ProcedureCall>& calls);

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_COPIES_H
