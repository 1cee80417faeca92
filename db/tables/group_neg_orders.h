#ifndef BW_DB_TABLES_GROUP_NEG_ORDERS_H
#define BW_DB_TABLES_GROUP_NEG_ORDERS_H

#include <cstdint>
#include <optional>
#include <span>

#include "db/column_reader_source.h"
#include "db/table_description.h"
#include "db/table_destination.h"

namespace db {

/// A negotiated order of a group of clients.
struct DBRowGroupNegOrders {
  std::int32_t ID;
  std::int32_t GroupID;
  std::int32_t TradeDate;
  std::int32_t TradeTime;
  char Buy[2];
  char SecCode[13];
  char ClassCode[13];
  char CPFirmID[13];
  char SettleCode[13];
  char MatchRef[11];
  double Price;
  double Vozm;
  double Qty;
  double RealQty;
  double KilledQty;
  char Status[2];
  char Result[2];
  std::int32_t OrdersCount;
  double RepoValue;
  double RealRepoValue;
  double Discount;
  double DiscountUpper;
  double DiscountLower;
  double RepoRate;
  std::int32_t RepoTerm;
  std::int32_t OrderType;
  std::int32_t Flags;
  std::int32_t BWUserID;
  char BWSessionID[41];
  std::int32_t BWCounter;
};

std::span<const Column<DBRowGroupNegOrders>> ColumnsOf(const DBRowGroupNegOrders& row);

/// Next puts the new GroupID of the group into the row while it reads it.
class DBTableGroupNegOrdersSrc final : public DBTableColumnReaderSrc<DBRowGroupNegOrders> {
 public:
  static TableDescription Description();

  explicit DBTableGroupNegOrdersSrc(const odbc::DBConnection& source);

  std::optional<DBRowGroupNegOrders> Next() override;
};

class DBTableGroupNegOrdersDst final : public DBTableDst<DBRowGroupNegOrders> {
 public:
  explicit DBTableGroupNegOrdersDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_GROUP_NEG_ORDERS_H
