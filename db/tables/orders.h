#ifndef BW_DB_TABLES_ORDERS_H
#define BW_DB_TABLES_ORDERS_H

#include <cstdint>
#include <span>

#include "db/procedure_destination.h"
#include "db/table_description.h"
#include "db/table_source.h"

namespace db {

/// A single client's order, part of a group order.
struct DBRowOrders {
  std::int32_t OrderID;
  std::int32_t GroupOrderID;
  char Buy[2];
  char ML[2];
  std::int32_t TradeDate;
  std::int32_t TradeTime;
  char SecCode[13];
  char ClassCode[13];
  char ClientCode[13];
  char TrdAcc[13];
  double Price;
  double Qty;
  double BalanceQty;
  double OrderNum;
  char Status[2];
  char Result[2];
  std::int32_t OrderInPoolID;
  double Value;
  double VisibleQty;
  std::int32_t BWUserID;
  char BWSessionID[41];
  std::int32_t BWCounter;
};

std::span<const Column<DBRowOrders>> ColumnsOf(const DBRowOrders& row);

class DBTableOrdersSrc final : public DBTableSrc<DBRowOrders> {
 public:
  static TableDescription Description();

  explicit DBTableOrdersSrc(const odbc::DBConnection& source);
};

/// Write has a stored procedure create the order with the new ID of its group order. Every order must have one.
class DBTableOrdersDst final : public DBTableProcedureDst<DBRowOrders> {
 public:
  explicit DBTableOrdersDst(const odbc::DBConnection& destination);

  bool Write(const DBRowOrders& row) override;
};

}  // namespace db

#endif  // BW_DB_TABLES_ORDERS_H
