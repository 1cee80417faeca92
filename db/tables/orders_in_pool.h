#ifndef BW_DB_TABLES_ORDERS_IN_POOL_H
#define BW_DB_TABLES_ORDERS_IN_POOL_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// An order that belongs to a pool.
struct DBRowOrdersInPool {
  std::int32_t OrderID;
  std::int32_t PoolID;
  char OrderType[2];
  char ClientCode[13];
  char ClassCode[13];
  char SecCode[13];
  double Price;
  double Qty;
  char Buy[2];
  char ML[2];
  double SendQty;
  double ExecQty;
  double RejectQty;
  double KillQty;
  double ActiveQty;
  char Comment[21];
};

std::span<const Column<DBRowOrdersInPool>> ColumnsOf(const DBRowOrdersInPool& row);

class DBTableOrdersInPoolSrc final : public DBTableSrc<DBRowOrdersInPool> {
 public:
  static TableDescription Description();

  explicit DBTableOrdersInPoolSrc(const odbc::DBConnection& source);
};

/// Write puts what PoolIdMap has for the PoolID into the row.
class DBTableOrdersInPoolDst final : public DBTableDst<DBRowOrdersInPool> {
 public:
  explicit DBTableOrdersInPoolDst(const odbc::DBConnection& destination);

  bool Write(const DBRowOrdersInPool& row) override;
};

}  // namespace db

#endif  // BW_DB_TABLES_ORDERS_IN_POOL_H
