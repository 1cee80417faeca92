#ifndef BW_DB_TABLES_STOP_ORDERS_H
#define BW_DB_TABLES_STOP_ORDERS_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A single stop order. GroupOrderID deliberately stays the source's, although the group orders are created again.
struct DBRowStopOrders {
  std::int32_t OrderID;
  std::int32_t GroupOrderID;
  std::int32_t StopStyle;
  char Buy[2];
  char ML[2];
  std::int32_t TradeDate;
  std::int32_t TradeTime;
  char SecCode[13];
  char ClassCode[13];
  char ASecCode[13];
  char AClassCode[13];
  std::int32_t StopCond;
  std::int32_t TransFlags;
  char ClientCode[13];
  double StopPrice;
  double Price;
  double LinkedPrice;
  double Offset;
  double Spread;
  double Qty;
  double Balance;
  double StopOrderNum;
  double LinkedOrderNum;
  double BaseOrderNum;
  double CoOrderNum;
  char Status[2];
  char Result[2];
  std::int32_t Expire;
  double StopPrice2;
  std::int32_t ActiveFromTime;
  std::int32_t ActiveToTime;
  char TrdAcc[13];
};

std::span<const Column<DBRowStopOrders>> ColumnsOf(const DBRowStopOrders& row);

class DBTableStopOrdersSrc final : public DBTableSrc<DBRowStopOrders> {
 public:
  static TableDescription Description();

  explicit DBTableStopOrdersSrc(const odbc::DBConnection& source);
};

class DBTableStopOrdersDst final : public DBTableDst<DBRowStopOrders> {
 public:
  explicit DBTableStopOrdersDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_STOP_ORDERS_H
