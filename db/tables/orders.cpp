#include "db/tables/orders.h"

#include <array>
#include <string_view>

#include "db/identifier_maps.h"

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct Orders {
  using Row = DBRowOrders;

  static constexpr std::string_view name = "Orders";

  static constexpr std::array columns = {
      Int32<&Row::OrderID>,       Int32<&Row::GroupOrderID>, Char<&Row::Buy>,          Char<&Row::ML>,
      Int32<&Row::TradeDate>,     Int32<&Row::TradeTime>,    Char<&Row::SecCode>,      Char<&Row::ClassCode>,
      Char<&Row::ClientCode>,     Char<&Row::TrdAcc>,        Double<&Row::Price>,      Double<&Row::Qty>,
      Double<&Row::BalanceQty>,   Double<&Row::OrderNum>,    Char<&Row::Status>,       Char<&Row::Result>,
      Int32<&Row::OrderInPoolID>, Double<&Row::Value>,       Double<&Row::VisibleQty>, Int32<&Row::BWUserID>,
      Char<&Row::BWSessionID>,    Int32<&Row::BWCounter>,
  };
  static constexpr std::string_view select =
      "SELECT [OrderID], [GroupOrderID], [Buy], [ML], [TradeDate], [TradeTime], [SecCode], [ClassCode], [ClientCode], "
      "[TrdAcc], [Price], [Qty], [BalanceQty], [OrderNum], [Status], [Result], [OrderInPoolID], [Value], "
      "[VisibleQty], [BWUserID], [BWSessionID], [BWCounter] FROM {schema}[Orders]";

  static constexpr std::array parameters =
      Parameters(columns, {Input("GroupOrderID"), Input("TradeDate"),   Input("TradeTime"), Input("Buy"),
                           Input("ML"),           Input("SecCode"),     Input("ClassCode"), Input("ClientCode"),
                           Input("TrdAcc"),       Input("Price"),       Input("Qty"),       Input("BalanceQty"),
                           Input("OrderNum"),     Input("Status"),      Input("Result"),    Input("OrderInPoolID"),
                           Input("Value"),        Input("VisibleQty"),  Input("BWUserID"),  Input("BWSessionID"),
                           OutInt32("OrderID"),   OutInt32("BWCounter")});
  static constexpr std::string_view write =
      R"(CALL {schema}"BW_CreateOrder"(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , )"
      R"(? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowOrders>> ColumnsOf(const DBRowOrders& /*row*/) {
  return Orders::columns;
}

TableDescription DBTableOrdersSrc::Description() {
  return Describe<Orders>();
}

DBTableOrdersSrc::DBTableOrdersSrc(const odbc::DBConnection& source) : DBTableSrc(source, Orders{}) {}

DBTableOrdersDst::DBTableOrdersDst(const odbc::DBConnection& destination)
    : DBTableProcedureDst(destination, Orders{}, logger) {}

bool DBTableOrdersDst::Write(const DBRowOrders& row) {
  PrepareCall();
  DBRowOrders mapped = row;
  mapped.GroupOrderID = LookUp(GroupOrderIdMap, row.GroupOrderID);
  ExecuteCall(mapped);
  return true;
}

}  // namespace db
