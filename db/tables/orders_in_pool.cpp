#include "db/tables/orders_in_pool.h"

#include <array>
#include <string_view>

#include "db/identifier_maps.h"

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct OrdersInPool {
  using Row = DBRowOrdersInPool;

  static constexpr std::string_view name = "OrdersInPool";

  static constexpr std::array columns = {
      Int32<&Row::OrderID>,    Int32<&Row::PoolID>,   Char<&Row::OrderType>,   Char<&Row::ClientCode>,
      Char<&Row::ClassCode>,   Char<&Row::SecCode>,   Double<&Row::Price>,     Double<&Row::Qty>,
      Char<&Row::Buy>,         Char<&Row::ML>,        Double<&Row::SendQty>,   Double<&Row::ExecQty>,
      Double<&Row::RejectQty>, Double<&Row::KillQty>, Double<&Row::ActiveQty>, Char<&Row::Comment>,
  };
  static constexpr std::string_view select =
      "SELECT [OrderID], [PoolID], [OrderType], [ClientCode], [ClassCode], [SecCode], [Price], [Qty], [Buy], [ML], "
      "[SendQty], [ExecQty], [RejectQty], [KillQty], [ActiveQty], [Comment] FROM {schema}[OrdersInPool]";

  // The destination numbers the orders again.
  static constexpr std::array parameters = AllInput(WithoutFirst(columns));
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"OrdersInPool"("PoolID", "OrderType", "ClientCode", "ClassCode", "SecCode", "Price", )"
      R"("Qty", "Buy", "ML", "SendQty", "ExecQty", "RejectQty", "KillQty", "ActiveQty", "Comment") )"
      R"(VALUES(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowOrdersInPool>> ColumnsOf(const DBRowOrdersInPool& /*row*/) {
  return OrdersInPool::columns;
}

TableDescription DBTableOrdersInPoolSrc::Description() {
  return Describe<OrdersInPool>();
}

DBTableOrdersInPoolSrc::DBTableOrdersInPoolSrc(const odbc::DBConnection& source) : DBTableSrc(source, OrdersInPool{}) {}

DBTableOrdersInPoolDst::DBTableOrdersInPoolDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, OrdersInPool{}, logger) {}

bool DBTableOrdersInPoolDst::Write(const DBRowOrdersInPool& row) {
  DBRowOrdersInPool mapped = row;
  mapped.PoolID = LookUp(PoolIdMap, row.PoolID);
  return DBTableDst::Write(mapped);
}

}  // namespace db
