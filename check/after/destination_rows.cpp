#include "check/after/destination_rows.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "check/rules/table_rules.h"

namespace check {

namespace {

std::string Quoted(std::string_view name) {
  return "\"" + std::string(name) + "\"";
}

db::ValueKind KindOf(const db::TableDescription& table, std::string_view name) {
  const auto found =
      std::find_if(table.columns.begin(), table.columns.end(), [name](const auto& each) { return each.name == name; });
  if (found == table.columns.end()) {
    throw std::out_of_range(std::string(table.name) + " has no column " + std::string(name));
  }
  return found->kind;
}

const TokenMap* ReferredMap(const TokenMaps& tokens, Treatment treatment) {
  switch (treatment) {
    case Treatment::GroupNumber:
      return &tokens.groups;
    case Treatment::GroupOrderNumber:
      return &tokens.groupOrders;
    default:
      return nullptr;
  }
}

template <class Number>
std::optional<Number> NumberIn(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// A column's value; one that is not of the column's kind, as in a table of other types, is the text that it shows.
void SetValue(Value& value, db::ValueKind kind, const TokenMap* referred, std::string_view text) {
  if (kind == db::ValueKind::Int32) {
    if (const auto number = NumberIn<std::int32_t>(text)) {
      const auto token = referred == nullptr ? std::nullopt : referred->Find(*number);
      value.kind = token ? Value::Kind::Token : Value::Kind::Int32;
      value.number = *number;
      value.token = token.value_or(0);
      return;
    }
  } else if (kind == db::ValueKind::Double) {
    if (const auto real = NumberIn<double>(text)) {
      value.kind = Value::Kind::Double;
      value.real = *real;
      return;
    }
  }
  value.kind = Value::Kind::Text;
  value.text.assign(text);
}

}  // namespace

DestinationRows::DestinationRows(const odbc::DBConnection& destination, const db::TableDescription& table,
                                 const TokenMaps& tokens)
    : numbered_(!RulesFor(table.name).assigned.empty()),
      columns_(Columns(table, tokens)),
      cursor_(destination, SelectList(table), "FROM " + destination.schema() + Quoted(table.name)) {}

bool DestinationRows::Next(Values& values) {
  if (!cursor_.Fetch()) {
    return false;
  }
  if (numbered_) {
    const std::optional<std::string_view> text = cursor_.NextField();
    number_ = text ? NumberIn<std::int32_t>(*text).value_or(0) : 0;
  }
  values.resize(columns_.size());
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (const std::optional<std::string_view> text = cursor_.NextField()) {
      SetValue(values[i], columns_[i].kind, columns_[i].referred, *text);
    } else {
      values[i].kind = Value::Kind::Null;
    }
  }
  return true;
}

std::vector<DestinationRows::Column> DestinationRows::Columns(const db::TableDescription& table,
                                                              const TokenMaps& tokens) {
  const TableRules& rules = RulesFor(table.name);
  std::vector<Column> columns;
  for (const db::ParameterDescription& parameter : table.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      columns.push_back({.kind = KindOf(table, parameter.column),
                         .referred = ReferredMap(tokens, RuleOf(rules, parameter.column).treatment)});
    }
  }
  return columns;
}

std::string DestinationRows::SelectList(const db::TableDescription& table) {
  std::string list;
  const auto add = [&list](std::string_view column) { list.append(list.empty() ? "" : ", ").append(Quoted(column)); };
  if (const std::string_view assigned = RulesFor(table.name).assigned; !assigned.empty()) {
    add(assigned);
  }
  for (const db::ParameterDescription& parameter : table.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      add(parameter.column);
    }
  }
  return list;
}

}  // namespace check
