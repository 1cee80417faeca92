#ifndef BW_DB_TABLES_SEC_GR_MEMB_H
#define BW_DB_TABLES_SEC_GR_MEMB_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A member of a group of securities.
struct DBRowSecGrMemb {
  std::int32_t GroupID;
  char MembType[2];
  char MembCode[21];
  char MembClass[21];
  std::int32_t MembID;
};

std::span<const Column<DBRowSecGrMemb>> ColumnsOf(const DBRowSecGrMemb& row);

class DBTableSecGrMembSrc final : public DBTableSrc<DBRowSecGrMemb> {
 public:
  static TableDescription Description();

  explicit DBTableSecGrMembSrc(const odbc::DBConnection& source);
};

class DBTableSecGrMembDst final : public DBTableDst<DBRowSecGrMemb> {
 public:
  explicit DBTableSecGrMembDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_SEC_GR_MEMB_H
