#include "check/rules/row_rules.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>

namespace check::rules {

namespace {

constexpr double kNullDouble = 1e50;
constexpr std::int32_t kNullInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMinusOne = -1;

/// Without spaces around it, a plus sign and what a fraction ends in without need.
std::string_view Plain(std::string_view number) {
  number.remove_prefix(std::min(number.find_first_not_of(' '), number.size()));
  number = number.substr(0, number.find_last_not_of(' ') + 1);
  number.remove_prefix(number.starts_with('+') ? 1 : 0);
  if (number.find('.') != std::string_view::npos) {
    number = number.substr(0, number.find_last_not_of('0') + 1);
    number.remove_suffix(number.ends_with('.') ? 1 : 0);
  }
  return number;
}

/// Whether a number that the source gives as a text is this double: one that has more digits than a double is not.
bool IsNumber(std::string_view text, double number) {
  text = Plain(text);
  double parsed = 0;
  const auto [end, error] = std::from_chars(text.begin(), text.end(), parsed);
  if (error != std::errc() || end != text.end() || parsed != number) {
    return false;
  }
  std::array<char, 512> shortest{};
  const char* const last = std::to_chars(shortest.begin(), shortest.end(), number, std::chars_format::fixed).ptr;
  return text.find_first_of("eE") != std::string_view::npos || Plain(text) == Plain({shortest.data(), last}) ||
         std::ranges::count_if(text, [](char c) { return c >= '0' && c <= '9'; }) <=
             std::numeric_limits<double>::digits10;
}

}  // namespace

std::string_view TextAt(const char* bytes, std::size_t size) {
  return {bytes, static_cast<std::size_t>(std::find(bytes, bytes + size, '\0') - bytes)};
}

std::string Shown(std::string_view text) {
  return "'" + std::string(text) + "'";
}

std::string Shown(double real) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.begin(), text.end(), real).ptr};
}

std::string SentValue(const char* image, const db::ColumnDescription& column, bool asNumber) {
  const char* const field = image + column.offset;
  if (column.kind == db::ValueKind::Double) {
    return Shown(ValueAt<double>(field));
  }
  return column.kind == db::ValueKind::Int32 || asNumber ? std::to_string(ValueAt<std::int32_t>(field))
                                                         : std::string(TextAt(field, column.size));
}

void NumberMap::SortByNumber() {
  std::stable_sort(arrived_.begin(), arrived_.end(),
                   [](const Entry& left, const Entry& right) { return left.source < right.source; });
  std::ranges::sort(lost_);
}

std::optional<std::int32_t> NumberMap::AssignedTo(std::int32_t source) const {
  const auto found = std::ranges::lower_bound(arrived_, source, {}, &Entry::source);
  return found == arrived_.end() || found->source != source ? std::nullopt : std::optional(found->assigned);
}

std::optional<std::int32_t> NumberMap::SourceAt(std::int32_t position) const {
  if (position < 1 || static_cast<std::size_t>(position) > arrived_.size()) {
    return std::nullopt;
  }
  return arrived_[static_cast<std::size_t>(position) - 1].source;
}

bool NumberMap::IsLost(std::int32_t source) const {
  return std::ranges::binary_search(lost_, source);
}

bool NumberMap::IsPositionLost(std::int32_t position) const {
  return position > static_cast<std::int64_t>(arrived_.size()) &&
         position <= static_cast<std::int64_t>(arrived_.size() + lost_.size());
}

RowRules::RowRules(const db::TableDescription& table, const NumberMaps& numbers, const NullReadings& nulls)
    : table_(table),
      rules_(RulesOf(table.name)),
      numbers_(numbers),
      nulls_(nulls),
      sentAs_(table.columns.size(), SQL_C_CHAR),
      image_(table.rowSize + sizeof(double)) {
  for (const db::ColumnDescription& column : table.columns) {
    columnRules_.push_back(RuleOf(rules_, column.name));
    isSent_.push_back(IsSent(table, column.name));
  }
  for (const db::ParameterDescription& parameter : table.parameters) {
    sentAs_[ColumnPosition(table, parameter.column)] = parameter.cType;
  }
}

const Outcome& RowRules::Apply(const SourceRow& row) {
  outcome_.fate = Fate::IsSent;
  outcome_.unreadable = false;
  outcome_.inSource = false;
  outcome_.changes.clear();
  // A bound row is fetched as a whole before anything is looked up; a column that is read by itself is translated at
  // once, so that a later column falls on the translated number.
  bool goesOn = true;
  for (std::size_t i = 0; goesOn && i < table_.columns.size(); ++i) {
    goesOn = Read(row, i) && (!rules_.columnByColumn || Translate(i));
  }
  for (std::size_t i = 0; goesOn && !rules_.columnByColumn && i < table_.columns.size(); ++i) {
    goesOn = Translate(i);
  }
  if (goesOn) {
    NoteChanges(row);
  }
  return outcome_;
}

bool RowRules::Read(const SourceRow& row, std::size_t column) {
  if (row.IsUnreadable(column)) {
    End(Fate::EndsTable, column);
    outcome_.unreadable = true;
    return false;
  }
  if (row.IsNull(column)) {
    return ReadNull(column);
  }
  const db::ColumnDescription& description = table_.columns[column];
  const Reading reading = columnRules_[column].reading;
  if (reading == Reading::DoubleIntoInt32 || description.kind == db::ValueKind::Double) {
    // Eight bytes also into an Int32: the upper half falls on the next field, which is read afterwards.
    const double real = row.Real(column);
    Store(column, &real, sizeof(real));
  } else if (reading == Reading::Int32IntoText || description.kind == db::ValueKind::Int32) {
    const std::int32_t number = row.Number(column);
    Store(column, &number, sizeof(number));
  } else {
    const std::string_view text = row.Text(column);
    Store(column, text.data(), text.size());
    image_[description.offset + text.size()] = '\0';
  }
  return true;
}

bool RowRules::ReadNull(std::size_t column) {
  const std::optional<NullValue>& onNull = columnRules_[column].onNull;
  if (!onNull) {
    const NullReading reading = nulls_[static_cast<std::size_t>(table_.columns[column].kind)];
    if (!rules_.columnByColumn || reading == NullReading::Fails) {
      End(Fate::EndsTable, column);
      return false;
    }
    if (reading == NullReading::Clears) {
      const double zero = 0;
      Store(column, &zero, std::min(sizeof(zero), table_.columns[column].size));
    }
    return true;
  }
  switch (*onNull) {
    case NullValue::Double1e50:
      Store(column, &kNullDouble, sizeof(kNullDouble));
      break;
    case NullValue::Int32Minimum:
      Store(column, &kNullInt32, sizeof(kNullInt32));
      break;
    case NullValue::MinusOne:
      Store(column, &kMinusOne, sizeof(kMinusOne));
      break;
    case NullValue::EmptyText:
      Store(column, "", 1);
      break;
  }
  return true;
}

bool RowRules::Translate(std::size_t column) {
  const std::optional<Reference>& reference = columnRules_[column].reference;
  if (!columnRules_[column].FollowsNumberOrPosition()) {
    return true;
  }
  const bool byPosition = reference->kind == ReferenceKind::ByPosition;
  const NumberMap& map = numbers_.at(reference->table);
  const auto number = ValueAt<std::int32_t>(image_.data() + table_.columns[column].offset);
  const std::optional<std::int32_t> translated = byPosition ? map.SourceAt(number) : map.AssignedTo(number);
  if (!translated) {
    outcome_.inSource = byPosition ? map.IsPositionLost(number) : map.IsLost(number);
    End(Fate::EndsRun, column);
    return false;
  }
  Store(column, &*translated, sizeof(*translated));
  return true;
}

void RowRules::NoteChanges(const SourceRow& row) {
  for (std::size_t i = 0; i < table_.columns.size(); ++i) {
    const db::ColumnDescription& column = table_.columns[i];
    const char* const field = image_.data() + column.offset;
    if (!isSent_[i]) {
      continue;
    }
    if (row.IsNull(i)) {
      const bool repeats =
          !columnRules_[i].onNull && nulls_[static_cast<std::size_t>(column.kind)] == NullReading::Keeps;
      Note(i, repeats ? ChangeKind::NullRepeats : ChangeKind::NullReplaced);
      continue;
    }
    const std::optional<std::string_view> original = row.Original(i);
    switch (column.kind) {
      case db::ValueKind::Int32: {
        if (columnRules_[i].reading == Reading::DoubleIntoInt32
                ? row.Real(i) != static_cast<double>(ValueAt<std::int32_t>(field))
                : original && !IsNumber(*original, static_cast<double>(row.Number(i)))) {
          Note(i, ChangeKind::OtherValue);
        }
        break;
      }
      case db::ValueKind::Double:
        if (original && !IsNumber(*original, row.Real(i))) {
          Note(i, ChangeKind::OtherValue);
        }
        break;
      case db::ValueKind::Text:
        if (columnRules_[i].reading == Reading::Int32IntoText) {
          if (TextAt(field, column.size) != original.value_or("")) {
            Note(i, ChangeKind::OtherValue);
          }
        } else if (sentAs_[i] != SQL_C_CHAR) {
          if (Shown(image_.data(), i) != rules::Shown(row.Text(i))) {
            Note(i, ChangeKind::OtherValue);
          }
        } else if (row.Text(i).find('\0') != std::string_view::npos) {
          Note(i, ChangeKind::CutAtZeroByte);
        } else if (row.IsCut(i)) {
          Note(i, ChangeKind::Cut);
        }
        break;
    }
  }
}

std::string RowRules::Shown(const char* image, std::size_t position) const {
  const db::ColumnDescription& column = table_.columns[position];
  const std::string value = SentValue(image, column, sentAs_[position] == SQL_C_LONG);
  return column.kind == db::ValueKind::Text ? rules::Shown(value) : value;
}

void RowRules::Store(std::size_t column, const void* bytes, std::size_t size) {
  std::memcpy(image_.data() + table_.columns[column].offset, bytes, size);
}

void RowRules::Note(std::size_t column, ChangeKind kind) {
  outcome_.changes.push_back({.column = column, .kind = kind, .arrives = Shown(image_.data(), column)});
}

void RowRules::End(Fate fate, std::size_t column) {
  outcome_.fate = fate;
  outcome_.column = column;
}

}  // namespace check::rules
