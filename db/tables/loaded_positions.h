#ifndef BW_DB_TABLES_LOADED_POSITIONS_H
#define BW_DB_TABLES_LOADED_POSITIONS_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A loaded position of a client.
struct DBRowLoadedPositions {
  std::int32_t PosID;
  std::int32_t PosType;
  char FirmID[13];
  char ActiveCode[13];
  char ClientCode[13];
  std::int32_t LimitKind;
  double OpenBalance;
};

std::span<const Column<DBRowLoadedPositions>> ColumnsOf(const DBRowLoadedPositions& row);

class DBTableLoadedPositionsSrc final : public DBTableSrc<DBRowLoadedPositions> {
 public:
  static TableDescription Description();

  explicit DBTableLoadedPositionsSrc(const odbc::DBConnection& source);
};

class DBTableLoadedPositionsDst final : public DBTableDst<DBRowLoadedPositions> {
 public:
  explicit DBTableLoadedPositionsDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_LOADED_POSITIONS_H
