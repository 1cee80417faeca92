#ifndef BW_DB_TABLES_GROUP_ORDERS_H
#define BW_DB_TABLES_GROUP_ORDERS_H

#include <cstdint>
#include <span>

#include "db/procedure_destination.h"
#include "db/table_description.h"
#include "db/table_source.h"

namespace db {

/// An order placed for a whole group of clients.
struct DBRowGroupOrders {
  std::int32_t ID;
  std::int32_t GroupID;
  std::int32_t TradeDate;
  std::int32_t TradeTime;
  char Buy[2];
  char ML[2];
  char SecCode[13];
  char ClassCode[13];
  double Price;
  double Qty;
  double RealQty;
  double BalanceQty;
  double KilledQty;
  char Status[2];
  char Result[2];
  std::int32_t OrdersCount;
  char Flags[11];
  std::int32_t PoolID;
  double Value;
  std::int32_t BWUserID;
  char BWSessionID[41];
  std::int32_t BWCounter;
  double VisibleQty;
};

std::span<const Column<DBRowGroupOrders>> ColumnsOf(const DBRowGroupOrders& row);

/// A failing Open deliberately throws std::runtime_error with an empty message, without the diagnostics.
class DBTableGroupOrdersSrc final : public DBTableSrc<DBRowGroupOrders> {
 public:
  static TableDescription Description();

  explicit DBTableGroupOrdersSrc(const odbc::DBConnection& source);

  void Open() override;
};

/// Write has a stored procedure create the order with the new GroupID of its group, and records the order's new ID in
/// GroupOrderIdMap.
class DBTableGroupOrdersDst final : public DBTableProcedureDst<DBRowGroupOrders> {
 public:
  explicit DBTableGroupOrdersDst(const odbc::DBConnection& destination);

  bool Write(const DBRowGroupOrders& row) override;
};

}  // namespace db

#endif  // BW_DB_TABLES_GROUP_ORDERS_H
