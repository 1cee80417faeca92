#ifndef BW_DB_TABLES_SYSTEM_DATA_H
#define BW_DB_TABLES_SYSTEM_DATA_H

#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A setting of the application database. The key dbver holds its schema version.
struct DBRowSystemData {
  char KeyName[21];
  char KeyValue[51];
};

std::span<const Column<DBRowSystemData>> ColumnsOf(const DBRowSystemData& row);

class DBTableSystemDataSrc final : public DBTableSrc<DBRowSystemData> {
 public:
  static TableDescription Description();

  explicit DBTableSystemDataSrc(const odbc::DBConnection& source);
};

class DBTableSystemDataDst final : public DBTableDst<DBRowSystemData> {
 public:
  explicit DBTableSystemDataDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_SYSTEM_DATA_H
