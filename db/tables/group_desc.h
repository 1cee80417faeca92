#ifndef BW_DB_TABLES_GROUP_DESC_H
#define BW_DB_TABLES_GROUP_DESC_H

#include <cstdint>
#include <span>

#include "db/procedure_destination.h"
#include "db/table_description.h"
#include "db/table_source.h"

namespace db {

/// A group of clients.
struct DBRowGroupDesc {
  std::int32_t GroupID;
  char GroupCode[65];
  char GroupName[256];
  char disabled[2];
  char Mode[11];
  double DefWeight;
  std::int32_t SplitOrders;
};

std::span<const Column<DBRowGroupDesc>> ColumnsOf(const DBRowGroupDesc& row);

class DBTableGroupDescSrc final : public DBTableSrc<DBRowGroupDesc> {
 public:
  static TableDescription Description();

  explicit DBTableGroupDescSrc(const odbc::DBConnection& source);
};

/// Write has a stored procedure create the group and records its new GroupID in GroupIdMap.
class DBTableGroupDescDst final : public DBTableProcedureDst<DBRowGroupDesc> {
 public:
  explicit DBTableGroupDescDst(const odbc::DBConnection& destination);

  bool Write(const DBRowGroupDesc& row) override;
};

}  // namespace db

#endif  // BW_DB_TABLES_GROUP_DESC_H
