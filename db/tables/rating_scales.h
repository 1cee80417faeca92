#ifndef BW_DB_TABLES_RATING_SCALES_H
#define BW_DB_TABLES_RATING_SCALES_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A rating on an agency's scale.
struct DBRowRatingScales {
  std::int32_t RatingID;
  std::int32_t AgencyID;
  std::int32_t National;
  char Rating[21];
  std::int32_t Position;
};

std::span<const Column<DBRowRatingScales>> ColumnsOf(const DBRowRatingScales& row);

class DBTableRatingScalesSrc final : public DBTableSrc<DBRowRatingScales> {
 public:
  static TableDescription Description();

  explicit DBTableRatingScalesSrc(const odbc::DBConnection& source);
};

class DBTableRatingScalesDst final : public DBTableDst<DBRowRatingScales> {
 public:
  explicit DBTableRatingScalesDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_RATING_SCALES_H
