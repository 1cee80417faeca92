#ifndef BW_CHECK_AFTER_ROW_COMPARISON_H
#define BW_CHECK_AFTER_ROW_COMPARISON_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/sql/query.h"
#include "odbc/connection.h"

/// The destination compares its tables with their copies, which hold what a run has to bring. Rows are equal when the
/// same bytes are stored of them, whatever their types take for equal.
namespace check {

/// A column that holds the number which the destination assigned to a row of another table.
struct FollowedReference {
  std::string column;
  std::string table;  ///< Compared earlier.
};

/// A table and its copy in the destination's session.
struct ComparedTable {
  std::string name;
  std::string path;                  ///< As it is written in SQL.
  std::string copy;                  ///< The same of the copy.
  std::vector<std::string> columns;  ///< Those that the migrator fills.
  std::vector<std::string> key;      ///< Those that name a row.
  std::vector<std::string> copyKey;  ///< The copy's columns with what the source has in these.
  std::string assigned;              ///< The column that the destination numbers; empty when there is none.
  bool numbersGoOn = false;          ///< Whether no truncate restarts its numbers: where they begin is unknown.
  std::vector<FollowedReference> references;
};

/// What became of the rows of one table.
struct RowDifferences {
  std::uint64_t present = 0;     ///< Rows of the table.
  std::uint64_t missing = 0;     ///< Rows of the copy that are not there.
  std::uint64_t unexpected = 0;  ///< Rows of the table that the copy does not have.
  std::uint64_t different = 0;   ///< Rows that are there with other values.
  /// Rows that refer to another row than in the copy, to one of the same content.
  std::uint64_t ambiguous = 0;
  bool missingAtEnd = false;           ///< The missing rows are the last ones of the copy.
  std::vector<std::string> differing;  ///< Columns in which rows are different.
};

/// A value of a row as a person reads it.
struct ShownValue {
  std::string column;
  std::optional<std::string> text;  ///< The beginning of a long one; nothing for NULL.
  std::size_t bytes = 0;            ///< Of the whole text.
  bool isText = false;              ///< Whether its type is one of texts.
};

/// What names a row.
using RowKey = std::vector<ShownValue>;

/// A value that is not the one that a run brings.
struct DifferentValue {
  ShownValue found;
  ShownValue expected;
};

/// A row with other values than a run brings.
struct DifferentRow {
  RowKey key;
  std::vector<DifferentValue> values;
};

/// All members throw odbc::Error when the destination cannot be asked.
class RowComparison {
 public:
  /// Rows of one kind that are shown.
  static constexpr std::size_t kShown = 5;

  /// The arguments must outlive the object. Each table comes after those that it refers to.
  RowComparison(const odbc::DBConnection& destination, const std::vector<ComparedTable>& tables);

  /// Creates the tables in which the comparison takes notes, in the session. The copies must exist, rows are not
  /// needed.
  void CreateTables() const;

  /// Makes the session show all values to their last digit.
  void Begin() const;

  /// Compares one table, after those that it refers to. A reference is compared by the row that it leads to.
  RowDifferences Compare(const ComparedTable& table);

  /// The first rows of each kind, by their position in reading order or, of unexpected ones, in the table. The keys are
  /// those of the copy for missing rows, else those of the table.
  std::vector<RowKey> FirstMissing(const ComparedTable& table) const;
  std::vector<RowKey> FirstUnexpected(const ComparedTable& table) const;
  std::vector<RowKey> FirstAmbiguous(const ComparedTable& table) const;
  std::vector<DifferentRow> FirstDifferent(const ComparedTable& table, const std::vector<std::string>& differing) const;

  /// A query for the rows of a numbered table as (number, copied): the number that a row has, and the one that the same
  /// row has in the copy; NULL for a row that the copy does not have.
  static std::string Numbers(const ComparedTable& table);

  /// The key of a row t of the table as a query's output columns, to be read with TakeKey; and for ORDER BY.
  static std::string KeyList(const ComparedTable& table);
  static std::string KeyOrder(const ComparedTable& table);

  /// Reads a key from the field of a row on, and moves on to the field after it.
  RowKey TakeKey(const ComparedTable& table, const TextRow& row, std::size_t& field) const;

  /// A number in the type of a column, which takes it as it takes what the migrator sends.
  std::string AsColumn(const std::string& number, const ComparedTable& table, std::string_view column) const;

  /// Whether all rows have the numbers that they have in the copy, and none is missing, unexpected or different.
  bool NumbersAreTheCopys(const ComparedTable& table) const { return numbers_.at(table.name).sameAsCopy; }

 private:
  /// What is known of a numbered table that was compared.
  struct NumbersState {
    bool sameAsCopy = true;
    bool grouped = false;  ///< Equal rows were looked for.
    bool hasEqualRows = false;
  };

  struct Type {
    std::string name;
    bool isText = false;
  };
  using Types = std::map<std::string, Type>;  ///< By column.

  /// How references are compared.
  enum class Level {
    Number,   ///< By the row that they lead to.
    Content,  ///< By what that row holds.
  };

  const ComparedTable& Named(std::string_view name) const;
  Types TypesOf(const ComparedTable& table) const;
  bool IsUnique(const ComparedTable& table, const std::vector<std::string>& columns) const;
  std::string TableSide(const ComparedTable& table, Level level) const;
  std::string CopySide(const ComparedTable& table, Level level) const;
  std::string DifferingColumns(const ComparedTable& table) const;
  void NoteByKey(const ComparedTable& table, const std::vector<std::string>& key, bool inPairs) const;
  void NoteAll(const ComparedTable& table) const;
  void MatchByContent(const ComparedTable& table, Level level) const;
  void PairByKey(const ComparedTable& table, const std::vector<std::string>& key) const;
  void PairByKeys(const ComparedTable& table, const std::vector<std::string>& copyKey,
                  const std::vector<std::string>& tableKey) const;
  void RemoveHalves(const ComparedTable& table) const;
  bool HasHalves(const ComparedTable& table) const;
  void RecordNumbers(const ComparedTable& table);
  bool FindEqualRows(const ComparedTable& table);
  RowDifferences Count(const ComparedTable& table) const;
  static std::string FirstNotes(const ComparedTable& table, std::string_view kind, const std::string& condition,
                                const std::string& order);
  std::vector<RowKey> TakeKeys(const ComparedTable& table, const std::string& key, const std::string& from) const;

  const odbc::DBConnection& destination_;
  const std::vector<ComparedTable>& tables_;
  std::map<std::string, NumbersState, std::less<>> numbers_;
  std::map<std::string, Types, std::less<>> types_;  ///< By table.
};

}  // namespace check

#endif  // BW_CHECK_AFTER_ROW_COMPARISON_H
