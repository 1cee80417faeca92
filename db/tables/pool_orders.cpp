#include "db/tables/pool_orders.h"

#include <array>
#include <string_view>

#include "db/identifier_maps.h"

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct PoolOrders {
  using Row = DBRowPoolOrders;

  static constexpr std::string_view name = "PoolOrders";

  static constexpr std::array columns = {
      Int32<&Row::PoolID>,     Char<&Row::BrokerPoolID>, Char<&Row::PoolName>,    Int32<&Row::LoadDate>,
      Int32<&Row::LoadTime>,   Int32<&Row::ExpireDate>,  Char<&Row::Source>,      Char<&Row::Status>,
      Int32<&Row::KillTime>,   Double<&Row::TotalQty>,   Double<&Row::SendQty>,   Double<&Row::ExecQty>,
      Double<&Row::RejectQty>, Double<&Row::KilledQty>,  Double<&Row::ActiveQty>,
  };
  static constexpr std::string_view select =
      "SELECT [PoolID], [BrokerPoolID], [PoolName], [LoadDate], [LoadTime], [ExpireDate], [Source], [Status], "
      "[KillTime], [TotalQty], [SendQty], [ExecQty], [RejectQty], [KilledQty], [ActiveQty] FROM {schema}[PoolOrders];";

  // The destination numbers the pools again.
  static constexpr std::array parameters = AllInput(WithoutFirst(columns));
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"PoolOrders"("BrokerPoolID", "PoolName", "LoadDate", "LoadTime", "ExpireDate", )"
      R"("Source", "Status", "KillTime", "TotalQty", "SendQty", "ExecQty", "RejectQty", "KilledQty", "ActiveQty") )"
      R"(VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Cascade;
};

}  // namespace

std::span<const Column<DBRowPoolOrders>> ColumnsOf(const DBRowPoolOrders& /*row*/) {
  return PoolOrders::columns;
}

TableDescription DBTablePoolOrdersSrc::Description() {
  return Describe<PoolOrders>();
}

DBTablePoolOrdersSrc::DBTablePoolOrdersSrc(const odbc::DBConnection& source) : DBTableSrc(source, PoolOrders{}) {}

std::optional<DBRowPoolOrders> DBTablePoolOrdersSrc::Next() {
  const std::optional<DBRowPoolOrders> row = DBTableSrc::Next();
  if (row) {
    Record(PoolIdMap, nextPoolId++, row->PoolID);
  }
  return row;
}

DBTablePoolOrdersDst::DBTablePoolOrdersDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, PoolOrders{}, logger) {}

}  // namespace db
