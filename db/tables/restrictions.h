#ifndef BW_DB_TABLES_RESTRICTIONS_H
#define BW_DB_TABLES_RESTRICTIONS_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A trading limit of a client and a group of securities. SecGroupID and CoSecGroupID deliberately stay the source's,
/// although the groups are created again.
struct DBRowRestrictions {
  std::int32_t ID;
  char RestType[2];
  char Client[21];
  char Mode[11];
  double Limit;
  std::int32_t SecGroupID;
  std::int32_t CoSecGroupID;
  char disabled[2];
  double Value;
  std::int32_t NoCheck;
  std::int32_t BWUserID;
  char BWSessionID[41];
  std::int32_t BWCounter;
  std::int32_t LimitKind;
  char RestrCode[13];
  char RestrName[51];
};

std::span<const Column<DBRowRestrictions>> ColumnsOf(const DBRowRestrictions& row);

class DBTableRestrictionsSrc final : public DBTableSrc<DBRowRestrictions> {
 public:
  static TableDescription Description();

  explicit DBTableRestrictionsSrc(const odbc::DBConnection& source);
};

class DBTableRestrictionsDst final : public DBTableDst<DBRowRestrictions> {
 public:
  explicit DBTableRestrictionsDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_RESTRICTIONS_H
