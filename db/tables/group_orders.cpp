#include "db/tables/group_orders.h"

#include <array>
#include <stdexcept>
#include <string_view>

#include "db/identifier_maps.h"

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct GroupOrders {
  using Row = DBRowGroupOrders;

  static constexpr std::string_view name = "GroupOrders";

  static constexpr std::array columns = {
      Int32<&Row::ID>,         Int32<&Row::GroupID>,   Int32<&Row::TradeDate>,   Int32<&Row::TradeTime>,
      Char<&Row::Buy>,         Char<&Row::ML>,         Char<&Row::SecCode>,      Char<&Row::ClassCode>,
      Double<&Row::Price>,     Double<&Row::Qty>,      Double<&Row::RealQty>,    Double<&Row::BalanceQty>,
      Double<&Row::KilledQty>, Char<&Row::Status>,     Char<&Row::Result>,       Int32<&Row::OrdersCount>,
      Char<&Row::Flags>,       Int32<&Row::PoolID>,    Double<&Row::Value>,      Int32<&Row::BWUserID>,
      Char<&Row::BWSessionID>, Int32<&Row::BWCounter>, Double<&Row::VisibleQty>,
  };
  static constexpr std::string_view select =
      "SELECT [ID], [GroupID], [TradeDate], [TradeTime], [Buy], [ML], [SecCode], [ClassCode], [Price], [Qty], "
      "[RealQty], [BalanceQty], [KilledQty], [Status], [Result], [OrdersCount], [Flags], [PoolID], [Value], "
      "[BWUserID], [BWSessionID], [BWCounter], [VisibleQty] FROM {schema}[GroupOrders]";

  static constexpr std::array parameters =
      Parameters(columns, {Input("GroupID"),     Input("TradeDate"), Input("TradeTime"),   Input("Buy"),
                           Input("ML"),          Input("SecCode"),   Input("ClassCode"),   Input("Price"),
                           Input("Qty"),         Input("RealQty"),   Input("BalanceQty"),  Input("KilledQty"),
                           Input("Status"),      Input("Result"),    Input("OrdersCount"), Input("Flags"),
                           Input("PoolID"),      Input("Value"),     Input("VisibleQty"),  Input("BWUserID"),
                           Input("BWSessionID"), OutInt32("ID"),     OutInt32("BWCounter")});
  static constexpr std::string_view write =
      R"(CALL {schema}"BW_CreateGroupOrder"(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , )"
      R"(? , ? , ? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Cascade;
};

}  // namespace

std::span<const Column<DBRowGroupOrders>> ColumnsOf(const DBRowGroupOrders& /*row*/) {
  return GroupOrders::columns;
}

TableDescription DBTableGroupOrdersSrc::Description() {
  return Describe<GroupOrders>();
}

DBTableGroupOrdersSrc::DBTableGroupOrdersSrc(const odbc::DBConnection& source) : DBTableSrc(source, GroupOrders{}) {}

void DBTableGroupOrdersSrc::Open() {
  if (!TryOpen()) {
    throw std::runtime_error("");
  }
}

DBTableGroupOrdersDst::DBTableGroupOrdersDst(const odbc::DBConnection& destination)
    : DBTableProcedureDst(destination, GroupOrders{}, logger) {}

bool DBTableGroupOrdersDst::Write(const DBRowGroupOrders& row) {
  PrepareCall();
  DBRowGroupOrders mapped = row;
  mapped.GroupID = LookUp(GroupIdMap, row.GroupID);
  ExecuteCall(mapped);
  Record(GroupOrderIdMap, row.ID, row_.ID);
  return true;
}

}  // namespace db
