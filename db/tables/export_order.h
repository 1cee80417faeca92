#ifndef BW_DB_TABLES_EXPORT_ORDER_H
#define BW_DB_TABLES_EXPORT_ORDER_H

#include <cstdint>
#include <span>

#include "db/column_reader_source.h"
#include "db/table_description.h"
#include "db/table_destination.h"

namespace db {

/// An order prepared for export. OrderID, GroupOrderID and PoolID deliberately stay the source's, although what they
/// name is created again.
struct DBRowExportOrder {
  std::int32_t ID;
  std::int32_t OrderID;
  std::int32_t GroupOrderID;
  std::int32_t OrderType;
  std::int32_t TradeDate;
  std::int32_t SendDate;
  std::int32_t SendTime;
  std::int32_t OrderTime;
  std::int32_t Status;
  std::int32_t UserGroupID;
  char UserGroupCode[65];
  std::int32_t PoolID;
  char BrokerPoolID[33];
  char ClientCode[13];
  char TrdAcc[13];
  double Price;
  double Qty;
  double Balance;
  char Buy[2];
  char ML[2];
  char ClassCode[13];
  char SecCode[13];
  double VisibleQty;
  double RepoValue;
  double Discount;
  double DiscountUpper;
  double DiscountLower;
  double RepoRate;
  std::int32_t RepoTerm;
};

std::span<const Column<DBRowExportOrder>> ColumnsOf(const DBRowExportOrder& row);

class DBTableExportOrderSrc final : public DBTableColumnReaderSrc<DBRowExportOrder> {
 public:
  static TableDescription Description();

  explicit DBTableExportOrderSrc(const odbc::DBConnection& source);
};

class DBTableExportOrderDst final : public DBTableDst<DBRowExportOrder> {
 public:
  explicit DBTableExportOrderDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_EXPORT_ORDER_H
