#include "check/rules/table_rules.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace check {

namespace {

constexpr auto kDouble = NullValue::Double1e50;
constexpr auto kInt32 = NullValue::Int32Minimum;

ColumnRule Null(std::string_view column, NullValue value) {
  return {.column = column, .onNull = value};
}

ColumnRule Treated(std::string_view column, Treatment treatment) {
  return {.column = column, .treatment = treatment};
}

ColumnRule Kept(std::string_view column, std::string_view refersTo) {
  return {.column = column, .refersTo = refersTo};
}

std::vector<TableRules> MakeRules() {
  return {
      {.table = "SystemData", .key = {"KeyName"}},
      {.table = "GroupDesc", .key = {"GroupID"}, .assigned = "GroupID"},
      {.table = "Clients", .key = {"GroupID", "ClientCode"}, .columns = {Treated("GroupID", Treatment::GroupNumber)}},
      {.table = "GroupOrders",
       .key = {"ID"},
       .assigned = "ID",
       .columns = {Treated("GroupID", Treatment::GroupNumber)}},
      {.table = "Orders",
       .key = {"OrderID"},
       .assigned = "OrderID",
       .columns = {Treated("GroupOrderID", Treatment::GroupOrderNumber)}},
      {.table = "SecGroups", .key = {"ID"}, .assigned = "ID"},
      {.table = "SecGrMemb",
       .key = {"GroupID", "MembType", "MembCode", "MembClass", "MembID"},
       .columns = {Kept("GroupID", "SecGroups")}},
      {.table = "SecMinQt", .key = {"ClassCode", "SecCode"}},
      {.table = "ImportLog", .key = {"ID"}, .assigned = "ID"},
      {.table = "LoadedPositions", .key = {"PosID"}},
      {.table = "RatingAgencies", .key = {"AgencyID"}, .assigned = "AgencyID"},
      {.table = "RatingScales",
       .key = {"RatingID"},
       .assigned = "RatingID",
       .columns = {Kept("AgencyID", "RatingAgencies")}},
      {.table = "LoadedSecurities", .key = {"SecID"}},
      {.table = "LoadedSecuritiesClientPrices", .key = {"ClientID", "SecID"}},
      {.table = "Restrictions",
       .key = {"ID"},
       .columns = {Treated("Mode", Treatment::NumberOfBytes), Kept("SecGroupID", "SecGroups"),
                   Kept("CoSecGroupID", "SecGroups")}},
      {.table = "PoolOrders", .key = {"PoolID"}, .assigned = "PoolID"},
      {.table = "OrdersInPool",
       .key = {"OrderID"},
       .assigned = "OrderID",
       .columns = {Treated("PoolID", Treatment::PoolAtPosition)}},
      {.table = "GroupStopOrders", .key = {"ID"}, .columns = {Kept("GroupID", "GroupDesc")}},
      {.table = "StopOrders", .key = {"OrderID"}, .columns = {Kept("GroupOrderID", "GroupOrders")}},
      {.table = "GroupNegOrders",
       .key = {"ID"},
       .columnByColumn = true,
       .columns = {Treated("GroupID", Treatment::GroupNumber), Null("Price", kDouble), Null("Vozm", kDouble),
                   Null("Qty", kDouble), Null("RealQty", kDouble), Null("KilledQty", kDouble),
                   Null("RepoValue", kDouble), Null("RealRepoValue", kDouble), Null("Discount", kDouble),
                   Null("DiscountUpper", kDouble), Null("DiscountLower", kDouble), Null("RepoRate", kDouble),
                   Null("RepoTerm", kInt32), Null("OrderType", kInt32), Null("Flags", kInt32),
                   Null("BWCounter", kInt32)}},
      {.table = "NegOrders",
       .key = {"OrderId"},
       .columnByColumn = true,
       .columns = {Kept("GroupOrderID", "GroupOrders"),
                   Null("Price", kDouble),
                   Null("Vozm", kDouble),
                   Null("Qty", kDouble),
                   Null("RepoValue", kDouble),
                   Null("Discount", kDouble),
                   Null("DiscountUpper", kDouble),
                   Null("DiscountLower", kDouble),
                   Null("RepoRate", kDouble),
                   {.column = "RepoTerm", .treatment = Treatment::LowHalfOfDouble, .onNull = kInt32},
                   {.column = "Flags", .treatment = Treatment::LowHalfOfDouble, .onNull = kInt32},
                   Null("BWCounter", kInt32)}},
      {.table = "ExportOrder",
       .key = {"ID"},
       .columnByColumn = true,
       .columns = {Kept("OrderID", "Orders"),
                   Kept("GroupOrderID", "GroupOrders"),
                   Kept("UserGroupID", "GroupDesc"),
                   {.column = "PoolID", .onNull = NullValue::MinusOne, .refersTo = "PoolOrders"},
                   {.column = "BrokerPoolID",
                    .treatment = Treatment::BytesOfNumber,
                    .onNull = NullValue::EmptyFirstByte}}},
  };
}

}  // namespace

const TableRules& RulesFor(std::string_view table) {
  static const std::vector<TableRules> rules = MakeRules();
  const auto found =
      std::find_if(rules.begin(), rules.end(), [table](const TableRules& each) { return each.table == table; });
  if (found == rules.end()) {
    throw std::out_of_range("there are no rules for " + std::string(table));
  }
  return *found;
}

ColumnRule RuleOf(const TableRules& rules, std::string_view column) {
  const auto found = std::find_if(rules.columns.begin(), rules.columns.end(),
                                  [column](const ColumnRule& rule) { return rule.column == column; });
  return found == rules.columns.end() ? ColumnRule{.column = column} : *found;
}

const std::vector<std::string_view>& KeyColumns(std::string_view table) {
  return RulesFor(table).key;
}

}  // namespace check
