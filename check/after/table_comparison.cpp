#include "check/after/table_comparison.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "check/after/destination_rows.h"
#include "check/rules/table_rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

constexpr std::size_t kKeysShown = 5;

std::size_t PositionOf(const std::vector<std::string_view>& columns, std::string_view name) {
  return static_cast<std::size_t>(std::find(columns.begin(), columns.end(), name) - columns.begin());
}

std::uint64_t AsKey(std::int64_t number) {
  return static_cast<std::uint64_t>(number);
}

/// The map in which other tables look up the numbers of this one's rows.
TokenMap* MapOf(TokenMaps& maps, std::string_view table) {
  return table == "GroupDesc" ? &maps.groups : table == "GroupOrders" ? &maps.groupOrders : nullptr;
}

bool IsThere(const odbc::DBConnection& destination, std::string_view table) {
  const std::string name = destination.schema() + QuotedName(Side::Destination, table);
  return QueryValue(destination, "SELECT to_regclass(" + Literal(name) + ")").has_value();
}

std::uint64_t CountSource(const odbc::DBConnection& source, std::string_view table) {
  return std::stoull(
      QueryValue(source, "SELECT COUNT(*) FROM " + source.schema() + QuotedName(Side::Source, table)).value_or("0"));
}

/// The rows of a table that is not there.
class NoRows final : public KeyedRows {
 public:
  bool Next(Values& /*values*/) override { return false; }
  std::uint64_t Key(const Values& /*values*/) const override { return 0; }
};

}  // namespace

/// What pairs a row of the one side with one of the other: the number that the destination assigned or, as far as can
/// be told, would have; else the key columns.
class TableComparer::Keys {
 public:
  Keys(const db::TableDescription& table, const Identity& assigned)
      : numbered_(!RulesFor(table.name).assigned.empty()), assigned_(assigned) {
    const std::vector<std::string_view> columns = ComparedColumns(table);
    for (const std::string_view column : KeyColumns(table.name)) {
      if (!numbered_) {
        positions_.push_back(PositionOf(columns, column));
      }
    }
  }

  std::uint64_t OfExpected(const Values& values, std::uint64_t position) const {
    return numbered_ ? AsKey(assigned_.start + (static_cast<std::int64_t>(position) - 1) * assigned_.increment)
                     : OfColumns(values);
  }

  std::uint64_t OfFound(const Values& values, std::int32_t number) const {
    return numbered_ ? AsKey(number) : OfColumns(values);
  }

 private:
  std::uint64_t OfColumns(const Values& values) const {
    Values key;
    for (const std::size_t position : positions_) {
      key.push_back(values[position]);
    }
    return HashOf(key).low;
  }

  bool numbered_;
  const Identity& assigned_;
  std::vector<std::size_t> positions_;
};

class TableComparer::ExpectedSide final : public KeyedRows {
 public:
  ExpectedSide(ExpectedRows& expected, const Keys& keys, TableComparison& result)
      : expected_(expected), keys_(keys), result_(result), rows_(expected.Open(*result.table)) {}

  bool Next(Values& values) override {
    if (rows_->Next(values)) {
      ++position_;
      return true;
    }
    result_.runEnds = expected_.runEnds();
    result_.tableEnds = expected_.tableEnds();
    if (!result_.runEnds && !result_.tableEnds && expected_.rowsRead() != result_.sourceRows) {
      throw std::runtime_error("the source counts " + std::to_string(result_.sourceRows) + " rows of " +
                               std::string(result_.table->name) + " and gives " + std::to_string(expected_.rowsRead()) +
                               ": it was changed meanwhile, or broke off");
    }
    return false;
  }

  std::uint64_t Key(const Values& values) const override { return keys_.OfExpected(values, position_); }

 private:
  ExpectedRows& expected_;
  const Keys& keys_;
  TableComparison& result_;
  std::unique_ptr<RowStream> rows_;
  std::uint64_t position_ = 0;
};

class TableComparer::FoundSide final : public KeyedRows {
 public:
  FoundSide(const TableComparer& comparer, const Keys& keys, TableComparison& result)
      : comparer_(comparer),
        keys_(keys),
        result_(result),
        rows_(comparer.destination_, *result.table, comparer.tokens_) {
    result_.ambiguous = 0;
    result_.ambiguousKeys.clear();
  }

  bool Next(Values& values) override {
    if (!rows_.Next(values)) {
      return false;
    }
    if (!comparer_.ambiguous_.empty()) {
      LookForAmbiguous(values);
    }
    return true;
  }

  std::uint64_t Key(const Values& values) const override { return keys_.OfFound(values, rows_.number()); }

 private:
  void LookForAmbiguous(const Values& values) {
    const bool ambiguous = std::any_of(values.begin(), values.end(), [this](const Value& value) {
      return value.kind == Value::Kind::Token &&
             std::binary_search(comparer_.ambiguous_.begin(), comparer_.ambiguous_.end(), value.token);
    });
    if (!ambiguous) {
      return;
    }
    ++result_.ambiguous;
    if (result_.ambiguousKeys.size() < kKeysShown) {
      result_.ambiguousKeys.push_back(KeyText(*result_.table, values, Key(values)));
    }
  }

  const TableComparer& comparer_;
  const Keys& keys_;
  TableComparison& result_;
  DestinationRows rows_;
};

TableComparer::TableComparer(const odbc::DBConnection& source, const odbc::DBConnection& destination)
    : source_(source),
      destination_(destination),
      expected_(source, [this](const db::TableDescription& table, std::uint64_t position, std::uint64_t token) {
        return AssignedNumberOf(table, position, token);
      }) {}

TableComparer::~TableComparer() = default;

TableComparison TableComparer::Compare(const db::TableDescription& table, Progress& progress) {
  TableComparison result;
  result.table = &table;
  result.sourceRows = CountSource(source_, table.name);
  result.isThere = IsThere(destination_, table.name);
  assigned_ = {};
  numbers_.clear();
  TokenMap* const map = MapOf(tokens_, table.name);
  if (result.isThere) {
    result.identities = ReadIdentities(destination_, table.name);
    const auto assigned =
        std::find_if(result.identities.begin(), result.identities.end(),
                     [&table](const Identity& each) { return each.column == RulesFor(table.name).assigned; });
    if (assigned != result.identities.end()) {
      assigned_ = *assigned;
    }
    if (map != nullptr) {
      ReadNumbers(table);
    }
  }
  const Keys keys(table, assigned_);
  result.rows = check::Compare([&] { return std::make_unique<ExpectedSide>(expected_, keys, result); },
                               [&]() -> std::unique_ptr<KeyedRows> {
                                 if (!result.isThere) {
                                   return std::make_unique<NoRows>();
                                 }
                                 return std::make_unique<FoundSide>(*this, keys, result);
                               },
                               [&progress](std::uint64_t rows) { progress.Rows(rows); });
  if (map != nullptr) {
    // What refers to a row that has changed still refers to the right one.
    for (const ChangedRow& row : result.rows.changedRows) {
      map->Replace(static_cast<std::int32_t>(row.key), row.expected.low);
    }
  }
  result.rows.changedRows = {};
  return result;
}

void TableComparer::ReadNumbers(const db::TableDescription& table) {
  TokenMap& map = *MapOf(tokens_, table.name);
  DestinationRows rows(destination_, table, tokens_);
  Values values;
  while (rows.Next(values)) {
    const std::uint64_t token = HashOf(values).low;
    map.Record(rows.number(), token);
    numbers_.emplace_back(token, rows.number());
  }
  std::sort(numbers_.begin(), numbers_.end());
  for (std::size_t i = 1; i < numbers_.size(); ++i) {
    if (numbers_[i].first == numbers_[i - 1].first) {
      ambiguous_.push_back(numbers_[i].first);
    }
  }
  std::sort(ambiguous_.begin(), ambiguous_.end());
}

std::int32_t TableComparer::AssignedNumberOf(const db::TableDescription& /*table*/, std::uint64_t position,
                                             std::uint64_t token) const {
  const auto found = std::lower_bound(numbers_.begin(), numbers_.end(), token,
                                      [](const auto& each, std::uint64_t wanted) { return each.first < wanted; });
  if (found != numbers_.end() && found->first == token) {
    return found->second;
  }
  return static_cast<std::int32_t>(assigned_.start + (static_cast<std::int64_t>(position) - 1) * assigned_.increment);
}

std::vector<std::string_view> ComparedColumns(const db::TableDescription& table) {
  std::vector<std::string_view> columns;
  for (const db::ParameterDescription& parameter : table.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      columns.push_back(parameter.column);
    }
  }
  return columns;
}

std::string KeyText(const db::TableDescription& table, const Values& values, std::uint64_t key) {
  const TableRules& rules = RulesFor(table.name);
  if (!rules.assigned.empty()) {
    return std::string(rules.assigned) + " = " + std::to_string(static_cast<std::int64_t>(key));
  }
  const std::vector<std::string_view> columns = ComparedColumns(table);
  std::string text;
  for (const std::string_view column : rules.key) {
    const Value& value = values[PositionOf(columns, column)];
    text.append(text.empty() ? "" : ", ").append(column).append(" = ");
    text.append(value.kind == Value::Kind::Text ? value.text : value.Shown());
  }
  return text;
}

}  // namespace check
