#ifndef BW_DB_TABLES_GROUP_STOP_ORDERS_H
#define BW_DB_TABLES_GROUP_STOP_ORDERS_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A stop order of a group of clients. GroupID deliberately stays the source's, although the groups are created again.
struct DBRowGroupStopOrders {
  std::int32_t ID;
  std::int32_t GroupID;
  std::int32_t StopStyle;
  std::int32_t TradeDate;
  std::int32_t TradeTime;
  char Buy[2];
  char ML[2];
  char SecCode[13];
  char ClassCode[13];
  char ASecCode[13];
  char AClassCode[13];
  std::int32_t StopCond;
  std::int32_t TransFlags;
  double StopPrice;
  double Price;
  double LinkedPrice;
  double Offset;
  double Spread;
  double Qty;
  double RealQty;
  double BalanceQty;
  double KilledQty;
  double BaseOrderNum;
  char Status[2];
  char Result[2];
  std::int32_t OrdersCount;
  std::int32_t LinkedGrOrder;
  double CoOrderNum;
  std::int32_t Expire;
  double StopPrice2;
  std::int32_t ActiveFromTime;
  std::int32_t ActiveToTime;
};

std::span<const Column<DBRowGroupStopOrders>> ColumnsOf(const DBRowGroupStopOrders& row);

class DBTableGroupStopOrdersSrc final : public DBTableSrc<DBRowGroupStopOrders> {
 public:
  static TableDescription Description();

  explicit DBTableGroupStopOrdersSrc(const odbc::DBConnection& source);
};

class DBTableGroupStopOrdersDst final : public DBTableDst<DBRowGroupStopOrders> {
 public:
  explicit DBTableGroupStopOrdersDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_GROUP_STOP_ORDERS_H
