#ifndef BW_CHECK_RULES_SIMULATION_H
#define BW_CHECK_RULES_SIMULATION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/rules/row_stream.h"
#include "check/rules/source_rows.h"
#include "check/rules/table_rules.h"
#include "db/table_description.h"

namespace check {

/// Gives the number that the destination assigned to the row at a position (from 1) of the reading order.
using AssignedNumber =
    std::function<std::int32_t(const db::TableDescription& table, std::uint64_t position, std::uint64_t token)>;

/// What a number of the source became.
struct NewNumber {
  std::int32_t number;
  std::uint64_t token;  ///< Of what the row holds.
  bool migrated;        ///< False for a row that does not arrive: nobody may follow it.
};

/// What tables that were read leave to later ones. The maps are what grows with the groups and group orders.
struct Identifiers {
  std::map<std::int32_t, NewNumber> groups;
  std::map<std::int32_t, NewNumber> groupOrders;
  std::vector<std::int32_t> pools;  ///< Their source numbers, in reading order.
  std::size_t migratedPools = 0;    ///< The first ones of them.
};

/// What happens to a row of the source.
enum class Fate { Arrives, EndsTable, EndsRun };

/// How a value arrives as another one.
enum class ChangeKind {
  NullReplaced,  ///< By a number or an empty text.
  NullRepeats,   ///< The row before shines through.
  Cut,
  CutAtZeroByte,
  OtherValue,
};

struct Change {
  std::size_t column;  ///< Position in the table's columns.
  ChangeKind kind;
  Value arrives;
};

struct Outcome {
  Fate fate = Fate::Arrives;
  std::size_t column = 0;       ///< The column at which the table or the run ends.
  bool unreadable = false;      ///< Its value does not convert; otherwise it is NULL or names no migrated row.
  bool inSource = false;        ///< The row that it names is in the source but does not arrive.
  std::vector<Change> changes;  ///< Of a row that arrives.
};

/// Passes the rows of one table through the migrator's rules. Fields that a row leaves as they were keep the bytes of
/// the rows before, as in the migrator's row buffer.
class Simulation {
 public:
  /// The references must outlive the object. `driverRepeatsNulls`: see DriverRepeatsNulls.
  Simulation(const db::TableDescription& table, Identifiers& identifiers, const AssignedNumber& assignedNumber,
             bool driverRepeatsNulls);

  /// Passes the next row through.
  const Outcome& Apply(const SourceRows& row);

  /// From here on rows are only looked at: nobody can follow their numbers.
  void EndOfArrivals() noexcept { arriving_ = false; }

  /// What is sent of a row that arrives, in the order of the input parameters.
  const Values& values() const noexcept { return values_; }

  /// The positions, in the table's columns, of what is sent.
  const std::vector<std::size_t>& sentColumns() const noexcept { return sent_; }

 private:
  void PassThrough(const SourceRows& row);
  void RecordNumber(const SourceRows& row);
  bool Read(const SourceRows& row, std::size_t column);
  bool ReadNull(std::size_t column);
  void ReadText(const SourceRows& row, std::size_t column);
  void ReadNumberText(const SourceRows& row, std::size_t column);
  bool Translate(std::size_t column);
  void Collect();

  void Store(std::size_t column, const void* bytes, std::size_t size);
  std::int32_t Number(std::size_t column) const;
  std::string_view Text(std::size_t column) const;
  Value ValueOf(std::size_t column) const;
  void End(Fate fate, std::size_t column);
  void Note(std::size_t column, ChangeKind kind);

  const db::TableDescription& table_;
  const TableRules& rules_;
  Identifiers& identifiers_;
  const AssignedNumber& assignedNumber_;
  bool driverRepeatsNulls_;
  std::vector<ColumnRule> columnRules_;
  std::vector<std::size_t> sent_;
  std::vector<char> image_;            ///< The row buffer, with room behind it for what is read beyond the last field.
  std::vector<std::uint64_t> tokens_;  ///< By column, of translated numbers.
  std::optional<std::size_t> assignedColumn_;
  std::uint64_t arrived_ = 0;
  bool arriving_ = true;
  Outcome outcome_;
  Values values_;
};

/// The number that a text is to the driver: blanks around it, a sign, blanks behind that, digits, and a fraction, which
/// is dropped. An empty text is 0. Nothing when it is none, or one beyond 32 bits.
std::optional<std::int32_t> NumberOfText(std::string_view text);

}  // namespace check

#endif  // BW_CHECK_RULES_SIMULATION_H
