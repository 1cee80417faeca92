#include "db/tables/stop_orders.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct StopOrders {
  using Row = DBRowStopOrders;

  static constexpr std::string_view name = "StopOrders";

  static constexpr std::array columns = {
      Int32<&Row::OrderID>,
      Int32<&Row::GroupOrderID>,
      Int32<&Row::StopStyle>,
      Char<&Row::Buy>,
      Char<&Row::ML>,
      Int32<&Row::TradeDate>,
      Int32<&Row::TradeTime>,
      Char<&Row::SecCode>,
      Char<&Row::ClassCode>,
      Char<&Row::ASecCode>,
      Char<&Row::AClassCode>,
      Int32<&Row::StopCond>,
      Int32<&Row::TransFlags>,
      Char<&Row::ClientCode>,
      Double<&Row::StopPrice>,
      Double<&Row::Price>,
      Double<&Row::LinkedPrice>,
      Double<&Row::Offset>,
      Double<&Row::Spread>,
      Double<&Row::Qty>,
      Double<&Row::Balance>,
      Double<&Row::StopOrderNum>,
      Double<&Row::LinkedOrderNum>,
      Double<&Row::BaseOrderNum>,
      Double<&Row::CoOrderNum>,
      Char<&Row::Status>,
      Char<&Row::Result>,
      Int32<&Row::Expire>,
      Double<&Row::StopPrice2>,
      Int32<&Row::ActiveFromTime>,
      Int32<&Row::ActiveToTime>,
      Char<&Row::TrdAcc>,
  };
  static constexpr std::string_view select =
      "SELECT [OrderID], [GroupOrderID], [StopStyle], [Buy], [ML], [TradeDate], [TradeTime], [SecCode], [ClassCode], "
      "[ASecCode], [AClassCode], [StopCond], [TransFlags], [ClientCode], [StopPrice], [Price], [LinkedPrice], "
      "[Offset], [Spread], [Qty], [Balance], [StopOrderNum], [LinkedOrderNum], [BaseOrderNum], [CoOrderNum], "
      "[Status], [Result], [Expire], [StopPrice2], [ActiveFromTime], [ActiveToTime], [TrdAcc] "
      "FROM {schema}[StopOrders];";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"StopOrders"("OrderID", "GroupOrderID", "StopStyle", "Buy", "ML", "TradeDate", )"
      R"("TradeTime", "SecCode", "ClassCode", "ASecCode", "AClassCode", "StopCond", "TransFlags", "ClientCode", )"
      R"("StopPrice", "Price", "LinkedPrice", "Offset", "Spread", "Qty", "Balance", "StopOrderNum", )"
      R"("LinkedOrderNum", "BaseOrderNum", "CoOrderNum", "Status", "Result", "Expire", "StopPrice2", )"
      R"("ActiveFromTime", "ActiveToTime", "TrdAcc") )"
      R"(VALUES(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , )"
      R"(? , ? , ? , ? , ? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowStopOrders>> ColumnsOf(const DBRowStopOrders& /*row*/) {
  return StopOrders::columns;
}

TableDescription DBTableStopOrdersSrc::Description() {
  return Describe<StopOrders>();
}

DBTableStopOrdersSrc::DBTableStopOrdersSrc(const odbc::DBConnection& source) : DBTableSrc(source, StopOrders{}) {}

DBTableStopOrdersDst::DBTableStopOrdersDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, StopOrders{}, logger) {}

}  // namespace db
