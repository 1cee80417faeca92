#ifndef BW_DB_TABLES_IMPORT_LOG_H
#define BW_DB_TABLES_IMPORT_LOG_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// An import that a user ran.
struct DBRowImportLog {
  std::int32_t ID;
  char ImportType[33];
  std::int32_t BWUserID;
  char BWSessionID[41];
  std::int32_t BWCounter;
};

std::span<const Column<DBRowImportLog>> ColumnsOf(const DBRowImportLog& row);

class DBTableImportLogSrc final : public DBTableSrc<DBRowImportLog> {
 public:
  static TableDescription Description();

  explicit DBTableImportLogSrc(const odbc::DBConnection& source);
};

class DBTableImportLogDst final : public DBTableDst<DBRowImportLog> {
 public:
  explicit DBTableImportLogDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_IMPORT_LOG_H
