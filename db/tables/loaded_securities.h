#ifndef BW_DB_TABLES_LOADED_SECURITIES_H
#define BW_DB_TABLES_LOADED_SECURITIES_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A loaded security.
struct DBRowLoadedSecurities {
  std::int32_t SecID;
  char SecCode[13];
  char SecName[17];
  char SecStyle[17];
  char SecType[33];
  double FaceValue;
  double AccInt;
  double Price;
};

std::span<const Column<DBRowLoadedSecurities>> ColumnsOf(const DBRowLoadedSecurities& row);

class DBTableLoadedSecuritiesSrc final : public DBTableSrc<DBRowLoadedSecurities> {
 public:
  static TableDescription Description();

  explicit DBTableLoadedSecuritiesSrc(const odbc::DBConnection& source);
};

class DBTableLoadedSecuritiesDst final : public DBTableDst<DBRowLoadedSecurities> {
 public:
  explicit DBTableLoadedSecuritiesDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_LOADED_SECURITIES_H
