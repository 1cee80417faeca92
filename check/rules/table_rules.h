#ifndef BW_CHECK_RULES_TABLE_RULES_H
#define BW_CHECK_RULES_TABLE_RULES_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

/// What the migrator makes of the 22 tables beside a plain copy, stated once more and on its own: the two statements
/// are held against each other by running both.
namespace check {

/// How a column's value is changed on its way.
enum class Treatment : std::uint8_t {
  Plain,
  GroupNumber,       ///< Replaced by the group's new number; a missing group ends the run.
  GroupOrderNumber,  ///< Replaced by the group order's new number; a missing one ends the run.
  PoolAtPosition,    ///< Replaced by the number of the pool that was read at that position; a missing one ends the run.
  LowHalfOfDouble,   ///< Read as a double over four bytes: the lower half stays, the upper one falls on the next field.
  BytesOfNumber,     ///< A text read as a number, whose bytes up to the first zero are the new text.
  NumberOfBytes,     ///< A text whose first four bytes, with what earlier rows left there, are sent as a number.
};

/// What stands in place of a NULL.
enum class NullValue : std::uint8_t { Double1e50, Int32Minimum, MinusOne, EmptyFirstByte };

struct ColumnRule {
  std::string_view column;
  Treatment treatment = Treatment::Plain;
  std::optional<NullValue> onNull{};  ///< None: a NULL ends the table, or repeats the row before.
  std::string_view refersTo{};        ///< The table whose old number the column keeps, though it gets new ones.
};

struct TableRules {
  std::string_view table;
  std::vector<std::string_view> key;  ///< The columns that name a row to a person.
  std::string_view assigned{};        ///< The column whose number the destination assigns anew, if there is one.
  bool columnByColumn = false;        ///< Read without an indicator where no NULL is expected: see FreeTDS.
  std::vector<ColumnRule> columns{};  ///< Those that are not plainly copied.
};

/// \throws std::out_of_range for a table that is not one of the 22.
const TableRules& RulesFor(std::string_view table);

/// The rule of a column; the plain one for a column that has none of its own.
ColumnRule RuleOf(const TableRules& rules, std::string_view column);

/// The columns that name a row of the table to a person.
const std::vector<std::string_view>& KeyColumns(std::string_view table);

}  // namespace check

#endif  // BW_CHECK_RULES_TABLE_RULES_H
