#include "check/rules/simulation.h"

#include <sql.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace check {

namespace {

constexpr double kNullDouble = 1e50;
constexpr std::int32_t kNullInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kNoPool = -1;

std::size_t PositionOf(const db::TableDescription& table, std::string_view name) {
  const auto found =
      std::find_if(table.columns.begin(), table.columns.end(), [name](const auto& each) { return each.name == name; });
  if (found == table.columns.end()) {
    throw std::out_of_range(std::string(table.name) + " has no column " + std::string(name));
  }
  return static_cast<std::size_t>(found - table.columns.begin());
}

bool IsTranslated(Treatment treatment) {
  return treatment == Treatment::GroupNumber || treatment == Treatment::GroupOrderNumber ||
         treatment == Treatment::PoolAtPosition;
}

}  // namespace

std::optional<std::int32_t> NumberOfText(std::string_view text) {
  const auto skip = [&text](auto isSkipped) {
    const auto end = std::find_if_not(text.begin(), text.end(), isSkipped);
    const std::string_view skipped = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(skipped.size());
    return skipped;
  };
  const auto isBlank = [](char letter) { return letter == ' '; };
  const auto isDigit = [](char letter) { return letter >= '0' && letter <= '9'; };

  skip(isBlank);
  if (text.empty()) {
    return 0;
  }
  const bool negative = text.front() == '-';
  if (negative || text.front() == '+') {
    text.remove_prefix(1);
    skip(isBlank);
  }
  const std::string_view whole = skip(isDigit);
  std::string_view fraction;
  if (text.starts_with('.')) {
    text.remove_prefix(1);
    fraction = skip(isDigit);
  }
  skip(isBlank);
  if (!text.empty() || (whole.empty() && fraction.empty())) {
    return std::nullopt;
  }
  std::int64_t number = 0;
  if (!whole.empty() && std::from_chars(whole.begin(), whole.end(), number).ec != std::errc()) {
    return std::nullopt;
  }
  number = negative ? -number : number;
  const bool fits =
      number >= std::numeric_limits<std::int32_t>::min() && number <= std::numeric_limits<std::int32_t>::max();
  return fits ? std::optional(static_cast<std::int32_t>(number)) : std::nullopt;
}

Simulation::Simulation(const db::TableDescription& table, Identifiers& identifiers,
                       const AssignedNumber& assignedNumber, bool driverRepeatsNulls)
    : table_(table),
      rules_(RulesFor(table.name)),
      identifiers_(identifiers),
      assignedNumber_(assignedNumber),
      driverRepeatsNulls_(driverRepeatsNulls),
      image_(table.rowSize + sizeof(double)),
      tokens_(table.columns.size()) {
  for (const db::ColumnDescription& column : table.columns) {
    columnRules_.push_back(RuleOf(rules_, column.name));
  }
  for (const db::ParameterDescription& parameter : table.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      sent_.push_back(PositionOf(table, parameter.column));
    }
  }
  if (!rules_.assigned.empty()) {
    assignedColumn_ = PositionOf(table, rules_.assigned);
  }
  if (table.name == "PoolOrders") {
    identifiers_.pools.clear();
    identifiers_.migratedPools = 0;
  }
}

const Outcome& Simulation::Apply(const SourceRows& row) {
  outcome_.fate = Fate::Arrives;
  outcome_.unreadable = false;
  outcome_.inSource = false;
  outcome_.changes.clear();
  PassThrough(row);
  if (outcome_.fate == Fate::Arrives) {
    Collect();
    ++arrived_;
  }
  RecordNumber(row);
  return outcome_;
}

void Simulation::PassThrough(const SourceRows& row) {
  for (std::size_t i = 0; i < table_.columns.size(); ++i) {
    // A bound row is fetched as a whole before anything is looked up; a column that is read by itself is translated at
    // once.
    if (!Read(row, i) || (rules_.columnByColumn && !Translate(i))) {
      return;
    }
  }
  if (table_.name == "PoolOrders") {
    identifiers_.pools.push_back(Number(*assignedColumn_));
    identifiers_.migratedPools += arriving_ ? 1 : 0;
  }
  for (std::size_t i = 0; !rules_.columnByColumn && i < table_.columns.size(); ++i) {
    if (!Translate(i)) {
      return;
    }
  }
}

bool Simulation::Read(const SourceRows& row, std::size_t column) {
  if (row.IsNull(column)) {
    return ReadNull(column);
  }
  const Treatment treatment = columnRules_[column].treatment;
  if (treatment == Treatment::LowHalfOfDouble) {
    // All eight bytes: the upper half falls on the next field, which is read afterwards.
    const double real = row.Real(column);
    Store(column, &real, sizeof(real));
    if (static_cast<double>(Number(column)) != real) {
      Note(column, ChangeKind::OtherValue);
    }
    return true;
  }
  switch (table_.columns[column].kind) {
    case db::ValueKind::Int32: {
      const std::int32_t number = row.Number(column);
      Store(column, &number, sizeof(number));
      return true;
    }
    case db::ValueKind::Double: {
      const double real = row.Real(column);
      Store(column, &real, sizeof(real));
      return true;
    }
    case db::ValueKind::Text:
      break;
  }
  if (treatment == Treatment::BytesOfNumber) {
    ReadNumberText(row, column);
  } else {
    ReadText(row, column);
  }
  return outcome_.fate == Fate::Arrives;
}

bool Simulation::ReadNull(std::size_t column) {
  const std::optional<NullValue>& onNull = columnRules_[column].onNull;
  if (!onNull) {
    if (!rules_.columnByColumn || !driverRepeatsNulls_) {
      End(Fate::EndsTable, column);
      return false;
    }
    Note(column, ChangeKind::NullRepeats);
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
      Store(column, &kNoPool, sizeof(kNoPool));
      break;
    case NullValue::EmptyFirstByte:
      Store(column, "", 1);
      break;
  }
  Note(column, ChangeKind::NullReplaced);
  return true;
}

void Simulation::ReadText(const SourceRows& row, std::size_t column) {
  const std::string_view text = row.Text(column);
  Store(column, text.data(), text.size());
  image_[table_.columns[column].offset + text.size()] = '\0';
  if (columnRules_[column].treatment == Treatment::NumberOfBytes) {
    if (ValueOf(column).text != text) {
      Note(column, ChangeKind::OtherValue);
    }
  } else if (text.find('\0') != std::string_view::npos) {
    Note(column, ChangeKind::CutAtZeroByte);
  } else if (row.TextLength(column) > text.size()) {
    Note(column, ChangeKind::Cut);
  }
}

void Simulation::ReadNumberText(const SourceRows& row, std::size_t column) {
  const std::string_view text = row.Text(column);
  const std::optional<std::int32_t> number = NumberOfText(text);
  if (!number) {
    End(Fate::EndsTable, column);
    outcome_.unreadable = true;
    return;
  }
  Store(column, &*number, sizeof(*number));
  if (Text(column) != text) {
    Note(column, ChangeKind::OtherValue);
  }
}

bool Simulation::Translate(std::size_t column) {
  const Treatment treatment = columnRules_[column].treatment;
  if (!IsTranslated(treatment)) {
    return true;
  }
  const std::int32_t number = Number(column);
  if (treatment == Treatment::PoolAtPosition) {
    if (number < 1 || static_cast<std::size_t>(number) > identifiers_.migratedPools) {
      End(Fate::EndsRun, column);
      outcome_.inSource = number >= 1 && static_cast<std::size_t>(number) <= identifiers_.pools.size();
      return false;
    }
    const std::int32_t pool = identifiers_.pools[static_cast<std::size_t>(number) - 1];
    Store(column, &pool, sizeof(pool));
    return true;
  }
  const auto& map = treatment == Treatment::GroupNumber ? identifiers_.groups : identifiers_.groupOrders;
  const auto found = map.find(number);
  if (found == map.end() || !found->second.migrated) {
    End(Fate::EndsRun, column);
    outcome_.inSource = found != map.end();
    return false;
  }
  Store(column, &found->second.number, sizeof(found->second.number));
  tokens_[column] = found->second.token;
  return true;
}

void Simulation::Collect() {
  values_.resize(sent_.size());
  for (std::size_t i = 0; i < sent_.size(); ++i) {
    const std::size_t column = sent_[i];
    Value& value = values_[i];
    const db::ColumnDescription& description = table_.columns[column];
    const Treatment treatment = columnRules_[column].treatment;
    if (treatment == Treatment::GroupNumber || treatment == Treatment::GroupOrderNumber) {
      value.kind = Value::Kind::Token;
      value.number = Number(column);
      value.token = tokens_[column];
    } else if (description.kind == db::ValueKind::Int32) {
      value.kind = Value::Kind::Int32;
      value.number = Number(column);
    } else if (description.kind == db::ValueKind::Double) {
      value.kind = Value::Kind::Double;
      std::memcpy(&value.real, image_.data() + description.offset, sizeof(value.real));
    } else if (treatment == Treatment::NumberOfBytes) {
      value = ValueOf(column);
    } else {
      value.kind = Value::Kind::Text;
      value.text.assign(Text(column));
    }
  }
  for (Change& change : outcome_.changes) {
    change.arrives = ValueOf(change.column);
  }
}

void Simulation::RecordNumber(const SourceRows& row) {
  const bool groups = table_.name == "GroupDesc";
  if ((!groups && table_.name != "GroupOrders") || row.IsNull(*assignedColumn_)) {
    return;
  }
  NewNumber number{};
  if (outcome_.fate == Fate::Arrives) {
    number.token = HashOf(values_).low;
    number.number = assignedNumber_(table_, arrived_, number.token);
    number.migrated = arriving_;
  }
  (groups ? identifiers_.groups : identifiers_.groupOrders).emplace(row.Number(*assignedColumn_), number);
}

void Simulation::Store(std::size_t column, const void* bytes, std::size_t size) {
  std::memcpy(image_.data() + table_.columns[column].offset, bytes, size);
}

std::int32_t Simulation::Number(std::size_t column) const {
  std::int32_t number = 0;
  std::memcpy(&number, image_.data() + table_.columns[column].offset, sizeof(number));
  return number;
}

std::string_view Simulation::Text(std::size_t column) const {
  const char* const start = image_.data() + table_.columns[column].offset;
  return {start, static_cast<std::size_t>(std::find(start, start + table_.columns[column].size, '\0') - start)};
}

Value Simulation::ValueOf(std::size_t column) const {
  Value value;
  switch (table_.columns[column].kind) {
    case db::ValueKind::Int32:
      value.kind = Value::Kind::Int32;
      value.number = Number(column);
      break;
    case db::ValueKind::Double:
      value.kind = Value::Kind::Double;
      std::memcpy(&value.real, image_.data() + table_.columns[column].offset, sizeof(value.real));
      break;
    case db::ValueKind::Text:
      value.kind = Value::Kind::Text;
      value.text = columnRules_[column].treatment == Treatment::NumberOfBytes ? std::to_string(Number(column))
                                                                              : std::string(Text(column));
      break;
  }
  return value;
}

void Simulation::End(Fate fate, std::size_t column) {
  outcome_.fate = fate;
  outcome_.column = column;
}

void Simulation::Note(std::size_t column, ChangeKind kind) {
  outcome_.changes.push_back({.column = column, .kind = kind, .arrives = {}});
}

}  // namespace check
