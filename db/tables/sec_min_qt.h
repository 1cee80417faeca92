#ifndef BW_DB_TABLES_SEC_MIN_QT_H
#define BW_DB_TABLES_SEC_MIN_QT_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// The minimum quantity of a security.
struct DBRowSecMinQt {
  char ClassCode[13];
  char SecCode[13];
  std::int32_t MinQty;
};

std::span<const Column<DBRowSecMinQt>> ColumnsOf(const DBRowSecMinQt& row);

class DBTableSecMinQtSrc final : public DBTableSrc<DBRowSecMinQt> {
 public:
  static TableDescription Description();

  explicit DBTableSecMinQtSrc(const odbc::DBConnection& source);
};

class DBTableSecMinQtDst final : public DBTableDst<DBRowSecMinQt> {
 public:
  explicit DBTableSecMinQtDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_SEC_MIN_QT_H
