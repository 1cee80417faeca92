#ifndef BW_CHECK_RULES_RULES_H
#define BW_CHECK_RULES_RULES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "db/table_description.h"

/// What the migrator makes of the 22 tables beside a plain copy. This is the one place of the check that names tables
/// and columns; names, sizes, statements and parameters come from the migrator's own declarations.
namespace check::rules {

/// How a column is read where the migrator does not read it as its field's type.
enum class Reading : std::uint8_t {
  Plain,
  DoubleIntoInt32,  ///< The lower half of the double remains; the upper half falls on the next field.
  Int32IntoText,    ///< The number's bytes up to the first zero are the new text.
};

/// What is written in place of a NULL.
enum class NullValue : std::uint8_t { Double1e50, Int32Minimum, MinusOne, EmptyText };

enum class ReferenceKind : std::uint8_t {
  FollowsNumber,  ///< Replaced by the number that the destination assigned; a row that is missing ends the run.
  KeepsNumber,    ///< Stays as it is, whether or not the table that it refers to is numbered again.
  ByPosition,     ///< N is replaced by the source number of the N-th row; a row that is missing ends the run.
};

struct Reference {
  std::string_view table;
  ReferenceKind kind;
};

struct ColumnRule {
  std::string_view column;
  Reading reading = Reading::Plain;
  std::optional<NullValue> onNull{};  ///< None: a NULL ends the table, or what the driver makes of it is written.
  std::optional<Reference> reference{};

  bool FollowsNumber() const { return reference && reference->kind == ReferenceKind::FollowsNumber; }
  bool FollowsNumberOrPosition() const { return reference && reference->kind != ReferenceKind::KeepsNumber; }
};

struct TableRules {
  std::string_view table;
  std::vector<std::string_view> key;  ///< The columns that name a row to a person.
  std::string_view assigned{};        ///< The column that the destination numbers, if there is one.
  bool knownOutside = false;          ///< Lists outside the database use its numbers, which nothing here follows.
  bool columnByColumn = false;        ///< Read with SQLGetData: a NULL without a rule is what the driver makes of it.
  std::vector<ColumnRule> columns{};  ///< Those that are not plainly copied.
};

/// \throws std::out_of_range for a table that is not one of the 22.
const TableRules& RulesOf(std::string_view table);

/// The rule of a column; the plain one for a column that has none of its own.
ColumnRule RuleOf(const TableRules& rules, std::string_view column);

/// The position of a column, from 0, in the table's SELECT list.
///
/// \throws std::out_of_range when there is no such column.
std::size_t ColumnPosition(const db::TableDescription& table, std::string_view column);

/// Whether the migrator sends the column to the destination.
bool IsSent(const db::TableDescription& table, std::string_view column);

/// Whether the first four bytes of the column's field are sent as a number, whatever its kind.
bool IsSentAsNumber(const db::TableDescription& table, std::string_view column);

/// The column by whose number rows of other tables refer to a row, or that the destination numbers; empty when there is
/// none.
std::string_view NumberOf(std::string_view table);

/// Whether rows of other tables follow the numbers that the destination assigns to the rows of this one.
bool IsFollowedByNumber(std::string_view table);

/// The same, or their positions.
bool IsFollowed(std::string_view table);

}  // namespace check::rules

#endif  // BW_CHECK_RULES_RULES_H
