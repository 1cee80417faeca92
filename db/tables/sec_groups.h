#ifndef BW_DB_TABLES_SEC_GROUPS_H
#define BW_DB_TABLES_SEC_GROUPS_H

#include <cstdint>
#include <span>

#include "db/procedure_destination.h"
#include "db/table_description.h"
#include "db/table_source.h"

namespace db {

/// A group of securities.
struct DBRowSecGroups {
  std::int32_t ID;
  char SecGCode[65];
  char SecGName[256];
  char disabled[2];
  char Filter[11];
  char mode[11];
  std::int32_t RAgencies;
  std::int32_t ListLevel;
};

std::span<const Column<DBRowSecGroups>> ColumnsOf(const DBRowSecGroups& row);

class DBTableSecGroupsSrc final : public DBTableSrc<DBRowSecGroups> {
 public:
  static TableDescription Description();

  explicit DBTableSecGroupsSrc(const odbc::DBConnection& source);
};

/// Write has a stored procedure create the group. Its new ID is deliberately recorded nowhere: SecGrMemb keeps the
/// source's identifiers, which are right only if the procedure hands out the same numbers.
class DBTableSecGroupsDst final : public DBTableProcedureDst<DBRowSecGroups> {
 public:
  explicit DBTableSecGroupsDst(const odbc::DBConnection& destination);

  bool Write(const DBRowSecGroups& row) override;
};

}  // namespace db

#endif  // BW_DB_TABLES_SEC_GROUPS_H
