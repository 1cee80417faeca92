#include "db/tables/group_stop_orders.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct GroupStopOrders {
  using Row = DBRowGroupStopOrders;

  static constexpr std::string_view name = "GroupStopOrders";

  static constexpr std::array columns = {
      Int32<&Row::ID>,
      Int32<&Row::GroupID>,
      Int32<&Row::StopStyle>,
      Int32<&Row::TradeDate>,
      Int32<&Row::TradeTime>,
      Char<&Row::Buy>,
      Char<&Row::ML>,
      Char<&Row::SecCode>,
      Char<&Row::ClassCode>,
      Char<&Row::ASecCode>,
      Char<&Row::AClassCode>,
      Int32<&Row::StopCond>,
      Int32<&Row::TransFlags>,
      Double<&Row::StopPrice>,
      Double<&Row::Price>,
      Double<&Row::LinkedPrice>,
      Double<&Row::Offset>,
      Double<&Row::Spread>,
      Double<&Row::Qty>,
      Double<&Row::RealQty>,
      Double<&Row::BalanceQty>,
      Double<&Row::KilledQty>,
      Double<&Row::BaseOrderNum>,
      Char<&Row::Status>,
      Char<&Row::Result>,
      Int32<&Row::OrdersCount>,
      Int32<&Row::LinkedGrOrder>,
      Double<&Row::CoOrderNum>,
      Int32<&Row::Expire>,
      Double<&Row::StopPrice2>,
      Int32<&Row::ActiveFromTime>,
      Int32<&Row::ActiveToTime>,
  };
  static constexpr std::string_view select =
      "SELECT [ID], [GroupID], [StopStyle], [TradeDate], [TradeTime], [Buy], [ML], [SecCode], [ClassCode], "
      "[ASecCode], [AClassCode], [StopCond], [TransFlags], [StopPrice], [Price], [LinkedPrice], [Offset], [Spread], "
      "[Qty], [RealQty], [BalanceQty], [KilledQty], [BaseOrderNum], [Status], [Result], [OrdersCount], "
      "[LinkedGrOrder], [CoOrderNum], [Expire], [StopPrice2], [ActiveFromTime], [ActiveToTime] "
      "FROM {schema}[GroupStopOrders];";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"GroupStopOrders"("ID", "GroupID", "StopStyle", "TradeDate", "TradeTime", "Buy", "ML", )"
      R"("SecCode", "ClassCode", "ASecCode", "AClassCode", "StopCond", "TransFlags", "StopPrice", "Price", )"
      R"("LinkedPrice", "Offset", "Spread", "Qty", "RealQty", "BalanceQty", "KilledQty", "BaseOrderNum", "Status", )"
      R"("Result", "OrdersCount", "LinkedGrOrder", "CoOrderNum", "Expire", "StopPrice2", "ActiveFromTime", )"
      R"("ActiveToTime") )"
      R"(VALUES(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , )"
      R"(? , ? , ? , ? , ? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowGroupStopOrders>> ColumnsOf(const DBRowGroupStopOrders& /*row*/) {
  return GroupStopOrders::columns;
}

TableDescription DBTableGroupStopOrdersSrc::Description() {
  return Describe<GroupStopOrders>();
}

DBTableGroupStopOrdersSrc::DBTableGroupStopOrdersSrc(const odbc::DBConnection& source)
    : DBTableSrc(source, GroupStopOrders{}) {}

DBTableGroupStopOrdersDst::DBTableGroupStopOrdersDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, GroupStopOrders{}, logger) {}

}  // namespace db
