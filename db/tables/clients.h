#ifndef BW_DB_TABLES_CLIENTS_H
#define BW_DB_TABLES_CLIENTS_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A client and the group that it belongs to.
struct DBRowClients {
  char ClientCode[21];
  std::int32_t GroupID;
  std::int32_t Num;
  double Weight;
  char Comment[51];
};

std::span<const Column<DBRowClients>> ColumnsOf(const DBRowClients& row);

class DBTableClientsSrc final : public DBTableSrc<DBRowClients> {
 public:
  static TableDescription Description();

  explicit DBTableClientsSrc(const odbc::DBConnection& source);
};

/// Write puts the new GroupID of the client's group into the row.
class DBTableClientsDst final : public DBTableDst<DBRowClients> {
 public:
  explicit DBTableClientsDst(const odbc::DBConnection& destination);

  bool Write(const DBRowClients& row) override;
};

}  // namespace db

#endif  // BW_DB_TABLES_CLIENTS_H
