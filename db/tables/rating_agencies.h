#ifndef BW_DB_TABLES_RATING_AGENCIES_H
#define BW_DB_TABLES_RATING_AGENCIES_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A credit rating agency.
struct DBRowRatingAgencies {
  std::int32_t AgencyID;
  char AgencyCode[21];
  char AgencyName[129];
};

std::span<const Column<DBRowRatingAgencies>> ColumnsOf(const DBRowRatingAgencies& row);

class DBTableRatingAgenciesSrc final : public DBTableSrc<DBRowRatingAgencies> {
 public:
  static TableDescription Description();

  explicit DBTableRatingAgenciesSrc(const odbc::DBConnection& source);
};

class DBTableRatingAgenciesDst final : public DBTableDst<DBRowRatingAgencies> {
 public:
  explicit DBTableRatingAgenciesDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_RATING_AGENCIES_H
