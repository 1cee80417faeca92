#ifndef BW_DB_TABLES_POOL_ORDERS_H
#define BW_DB_TABLES_POOL_ORDERS_H

#include <cstdint>
#include <optional>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A pool of orders.
struct DBRowPoolOrders {
  std::int32_t PoolID;
  char BrokerPoolID[33];
  char PoolName[129];
  std::int32_t LoadDate;
  std::int32_t LoadTime;
  std::int32_t ExpireDate;
  char Source[251];
  char Status[51];
  std::int32_t KillTime;
  double TotalQty;
  double SendQty;
  double ExecQty;
  double RejectQty;
  double KilledQty;
  double ActiveQty;
};

std::span<const Column<DBRowPoolOrders>> ColumnsOf(const DBRowPoolOrders& row);

/// Next records each row that it reads in PoolIdMap, whether its write succeeds or not.
class DBTablePoolOrdersSrc final : public DBTableSrc<DBRowPoolOrders> {
 public:
  static TableDescription Description();

  explicit DBTablePoolOrdersSrc(const odbc::DBConnection& source);

  std::optional<DBRowPoolOrders> Next() override;
};

class DBTablePoolOrdersDst final : public DBTableDst<DBRowPoolOrders> {
 public:
  explicit DBTablePoolOrdersDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_POOL_ORDERS_H
