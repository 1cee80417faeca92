#ifndef BW_DB_TABLES_NEG_ORDERS_H
#define BW_DB_TABLES_NEG_ORDERS_H

#include <cstdint>
#include <span>

#include "db/column_reader_source.h"
#include "db/table_description.h"
#include "db/table_destination.h"

namespace db {

/// A single negotiated order. GroupOrderID deliberately stays the source's.
struct DBRowNegOrders {
  std::int32_t OrderId;
  std::int32_t GroupOrderID;
  std::int32_t TradeDate;
  std::int32_t TradeTime;
  char Buy[2];
  char ClassCode[13];
  char SecCode[13];
  char ClientCode[13];
  char TrdAcc[13];
  char CPFirmId[13];
  char SettleCode[13];
  char MatchRef[11];
  double Price;
  double Vozm;
  double Qty;
  double OrderNum;
  char Status[2];
  char Result[2];
  double RepoValue;
  double Discount;
  double DiscountUpper;
  double DiscountLower;
  double RepoRate;
  std::int32_t RepoTerm;
  std::int32_t Flags;
  std::int32_t BWUserID;
  char BWSessionID[41];
  std::int32_t BWCounter;
};

std::span<const Column<DBRowNegOrders>> ColumnsOf(const DBRowNegOrders& row);

class DBTableNegOrdersSrc final : public DBTableColumnReaderSrc<DBRowNegOrders> {
 public:
  static TableDescription Description();

  explicit DBTableNegOrdersSrc(const odbc::DBConnection& source);
};

class DBTableNegOrdersDst final : public DBTableDst<DBRowNegOrders> {
 public:
  explicit DBTableNegOrdersDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_NEG_ORDERS_H
