#ifndef BW_CHECK_RULES_ROW_RULES_H
#define BW_CHECK_RULES_ROW_RULES_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/rules/rules.h"
#include "check/rules/source_reader.h"
#include "db/table_description.h"

namespace check::rules {

/// What became of the numbers of one table's rows: 8 bytes for each row.
class NumberMap {
 public:
  /// Of a row that arrived, in reading order.
  void Add(std::int32_t source, std::int32_t assigned) { arrived_.push_back({source, assigned}); }

  /// Of a row that does not arrive.
  void AddLost(std::int32_t source) { lost_.push_back(source); }

  /// To be called before AssignedTo, when all rows are added. Of equal numbers the first one counts, as for the
  /// migrator.
  void SortByNumber();

  /// What the destination assigned to the row of this number; nothing for one that did not arrive.
  std::optional<std::int32_t> AssignedTo(std::int32_t source) const;

  /// The source's number of the arrived row at a position from 1. Not after SortByNumber.
  std::optional<std::int32_t> SourceAt(std::int32_t position) const;

  /// Whether a row of this number, or at this position, did not arrive.
  bool IsLost(std::int32_t source) const;
  bool IsPositionLost(std::int32_t position) const;

 private:
  struct Entry {
    std::int32_t source;
    std::int32_t assigned;
  };

  std::deque<Entry> arrived_;
  std::deque<std::int32_t> lost_;
};

/// By table, of those that other tables' rows follow.
using NumberMaps = std::map<std::string_view, NumberMap>;

/// What happens to a row of the source before it is sent.
enum class Fate : std::uint8_t { IsSent, EndsTable, EndsRun };

/// How a value is sent as another one.
enum class ChangeKind : std::uint8_t {
  NullReplaced,  ///< By a number or an empty text.
  NullRepeats,   ///< It keeps what the previous row left in the field.
  Cut,
  CutAtZeroByte,
  OtherValue,
};

struct Change {
  std::size_t column;  ///< Position in the table's columns.
  ChangeKind kind;
  std::string arrives;  ///< What is sent, as a person reads it.
};

struct Outcome {
  Fate fate = Fate::IsSent;
  std::size_t column = 0;       ///< The column at which the table or the run ends.
  bool unreadable = false;      ///< Its value does not convert; otherwise it is NULL or names no migrated row.
  bool inSource = false;        ///< The row that it refers to is in the source but does not arrive.
  std::vector<Change> changes;  ///< Of a row that is sent.
};

/// Passes the rows of one table through the migrator's rules, into an image of its row buffer: a field that a row
/// leaves as it was keeps the bytes of the previous row.
class RowRules {
 public:
  /// All arguments must outlive the object. `numbers` holds the tables that were read earlier.
  RowRules(const db::TableDescription& table, const NumberMaps& numbers, const NullReadings& nulls);

  /// Passes the next row through.
  const Outcome& Apply(const SourceRow& row);

  /// The row buffer as it is sent; see db::TableDescription::rowSize.
  const char* image() const noexcept { return image_.data(); }

  /// A field of an image as a person reads it, texts in quotes. `position` is that of the column.
  std::string Shown(const char* image, std::size_t position) const;

 private:
  bool Read(const SourceRow& row, std::size_t column);
  bool ReadNull(std::size_t column);
  bool Translate(std::size_t column);
  void Store(std::size_t column, const void* bytes, std::size_t size);
  void NoteChanges(const SourceRow& row);
  void Note(std::size_t column, ChangeKind kind);
  void End(Fate fate, std::size_t column);

  const db::TableDescription& table_;
  const TableRules& rules_;
  const NumberMaps& numbers_;
  const NullReadings& nulls_;
  std::vector<ColumnRule> columnRules_;
  std::vector<bool> isSent_;         ///< The destination assigns the other columns.
  std::vector<SQLSMALLINT> sentAs_;  ///< The C type of each column's parameter.
  std::vector<char> image_;          ///< With room after it for what is read beyond the last field.
  Outcome outcome_;
};

/// A field that is a text, up to its first zero byte. `size` is in bytes.
std::string_view TextAt(const char* bytes, std::size_t size);

/// What is sent of a column, as a text. `asNumber`: its text is sent as a number, see IsSentAsNumber.
std::string SentValue(const char* image, const db::ColumnDescription& column, bool asNumber);

/// A value as a person reads it.
std::string Shown(std::string_view text);
std::string Shown(double real);

}  // namespace check::rules

#endif  // BW_CHECK_RULES_ROW_RULES_H
