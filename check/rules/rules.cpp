#include "check/rules/rules.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>

namespace check::rules {

namespace {

constexpr auto kDouble = NullValue::Double1e50;
constexpr auto kInt32 = NullValue::Int32Minimum;

ColumnRule Null(std::string_view column, NullValue value) {
  return {.column = column, .onNull = value};
}

ColumnRule Follows(std::string_view column, std::string_view table) {
  return {.column = column, .reference = Reference{.table = table, .kind = ReferenceKind::FollowsNumber}};
}

ColumnRule Keeps(std::string_view column, std::string_view table) {
  return {.column = column, .reference = Reference{.table = table, .kind = ReferenceKind::KeepsNumber}};
}

std::vector<TableRules> MakeRules() {
  return {
      {.table = "SystemData", .key = {"KeyName"}},
      {.table = "GroupDesc", .key = {"GroupID"}, .assigned = "GroupID"},
      {.table = "Clients", .key = {"GroupID", "ClientCode"}, .columns = {Follows("GroupID", "GroupDesc")}},
      {.table = "GroupOrders",
       .key = {"ID"},
       .assigned = "ID",
       .columns = {Follows("GroupID", "GroupDesc"), Keeps("PoolID", "PoolOrders")}},
      {.table = "Orders",
       .key = {"OrderID"},
       .assigned = "OrderID",
       .columns = {Follows("GroupOrderID", "GroupOrders"), Keeps("OrderInPoolID", "OrdersInPool")}},
      {.table = "SecGroups", .key = {"ID"}, .assigned = "ID", .knownOutside = true},
      {.table = "SecGrMemb",
       .key = {"GroupID", "MembType", "MembCode", "MembClass", "MembID"},
       .columns = {Keeps("GroupID", "SecGroups")}},
      {.table = "SecMinQt", .key = {"ClassCode", "SecCode"}},
      {.table = "ImportLog", .key = {"ID"}, .assigned = "ID"},
      {.table = "LoadedPositions", .key = {"PosID"}},
      {.table = "RatingAgencies", .key = {"AgencyID"}, .assigned = "AgencyID", .knownOutside = true},
      {.table = "RatingScales",
       .key = {"RatingID"},
       .assigned = "RatingID",
       .columns = {Keeps("AgencyID", "RatingAgencies")}},
      {.table = "LoadedSecurities", .key = {"SecID"}},
      {.table = "LoadedSecuritiesClientPrices",
       .key = {"ClientID", "SecID"},
       .columns = {Keeps("SecID", "LoadedSecurities")}},
      {.table = "Restrictions",
       .key = {"ID"},
       .columns = {Keeps("SecGroupID", "SecGroups"), Keeps("CoSecGroupID", "SecGroups")}},
      {.table = "PoolOrders", .key = {"PoolID"}, .assigned = "PoolID"},
      {.table = "OrdersInPool",
       .key = {"OrderID"},
       .assigned = "OrderID",
       .columns = {{.column = "PoolID",
                    .reference = Reference{.table = "PoolOrders", .kind = ReferenceKind::ByPosition}}}},
      {.table = "GroupStopOrders", .key = {"ID"}, .columns = {Keeps("GroupID", "GroupDesc")}},
      {.table = "StopOrders", .key = {"OrderID"}, .columns = {Keeps("GroupOrderID", "GroupOrders")}},
      {.table = "GroupNegOrders",
       .key = {"ID"},
       .columnByColumn = true,
       .columns = {Follows("GroupID", "GroupDesc"), Null("Price", kDouble), Null("Vozm", kDouble), Null("Qty", kDouble),
                   Null("RealQty", kDouble), Null("KilledQty", kDouble), Null("RepoValue", kDouble),
                   Null("RealRepoValue", kDouble), Null("Discount", kDouble), Null("DiscountUpper", kDouble),
                   Null("DiscountLower", kDouble), Null("RepoRate", kDouble), Null("RepoTerm", kInt32),
                   Null("OrderType", kInt32), Null("Flags", kInt32), Null("BWCounter", kInt32)}},
      {.table = "NegOrders",
       .key = {"OrderId"},
       .columnByColumn = true,
       .columns = {Keeps("GroupOrderID", "GroupOrders"),
                   Null("Price", kDouble),
                   Null("Vozm", kDouble),
                   Null("Qty", kDouble),
                   Null("RepoValue", kDouble),
                   Null("Discount", kDouble),
                   Null("DiscountUpper", kDouble),
                   Null("DiscountLower", kDouble),
                   Null("RepoRate", kDouble),
                   {.column = "RepoTerm", .reading = Reading::DoubleIntoInt32, .onNull = kInt32},
                   {.column = "Flags", .reading = Reading::DoubleIntoInt32, .onNull = kInt32},
                   Null("BWCounter", kInt32)}},
      {.table = "ExportOrder",
       .key = {"ID"},
       .columnByColumn = true,
       .columns = {Keeps("OrderID", "Orders"),
                   Keeps("GroupOrderID", "GroupOrders"),
                   Keeps("UserGroupID", "GroupDesc"),
                   {.column = "PoolID",
                    .onNull = NullValue::MinusOne,
                    .reference = Reference{.table = "PoolOrders", .kind = ReferenceKind::KeepsNumber}},
                   {.column = "BrokerPoolID", .reading = Reading::Int32IntoText, .onNull = NullValue::EmptyText}}},
  };
}

const std::vector<TableRules>& AllRules() {
  static const std::vector<TableRules> rules = MakeRules();
  return rules;
}

template <class Condition>
bool IsReferred(std::string_view table, Condition condition) {
  const auto refers = [table, condition](const ColumnRule& rule) {
    return rule.reference && rule.reference->table == table && std::invoke(condition, rule);
  };
  return std::ranges::any_of(AllRules(),
                             [&refers](const TableRules& rules) { return std::ranges::any_of(rules.columns, refers); });
}

}  // namespace

const TableRules& RulesOf(std::string_view table) {
  const auto& rules = AllRules();
  const auto found = std::ranges::find(rules, table, &TableRules::table);
  if (found == rules.end()) {
    throw std::out_of_range("there are no rules for " + std::string(table));
  }
  return *found;
}

ColumnRule RuleOf(const TableRules& rules, std::string_view column) {
  const auto found = std::ranges::find(rules.columns, column, &ColumnRule::column);
  return found == rules.columns.end() ? ColumnRule{.column = column} : *found;
}

std::size_t ColumnPosition(const db::TableDescription& table, std::string_view column) {
  const auto found = std::ranges::find(table.columns, column, &db::ColumnDescription::name);
  if (found == table.columns.end()) {
    throw std::out_of_range(std::string(table.name) + " has no column " + std::string(column));
  }
  return static_cast<std::size_t>(found - table.columns.begin());
}

bool IsSent(const db::TableDescription& table, std::string_view column) {
  return std::ranges::any_of(table.parameters, [column](const auto& parameter) {
    return parameter.column == column && parameter.direction == SQL_PARAM_INPUT;
  });
}

bool IsSentAsNumber(const db::TableDescription& table, std::string_view column) {
  const auto parameter = std::ranges::find(table.parameters, column, &db::ParameterDescription::column);
  return parameter != table.parameters.end() && parameter->cType == SQL_C_LONG;
}

std::string_view NumberOf(std::string_view table) {
  const TableRules& rules = RulesOf(table);
  const bool isReferred = IsReferred(table, [](const ColumnRule&) { return true; });
  return rules.assigned.empty() && isReferred ? rules.key.front() : rules.assigned;
}

bool IsFollowedByNumber(std::string_view table) {
  return IsReferred(table, &ColumnRule::FollowsNumber);
}

bool IsFollowed(std::string_view table) {
  return IsReferred(table, &ColumnRule::FollowsNumberOrPosition);
}

}  // namespace check::rules
