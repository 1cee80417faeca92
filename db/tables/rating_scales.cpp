#include "db/tables/rating_scales.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct RatingScales {
  using Row = DBRowRatingScales;

  static constexpr std::string_view name = "RatingScales";

  static constexpr std::array columns = {
      Int32<&Row::RatingID>, Int32<&Row::AgencyID>, Int32<&Row::National>, Char<&Row::Rating>, Int32<&Row::Position>,
  };
  static constexpr std::string_view select =
      "SELECT [RatingID], [AgencyID], [National], [Rating], [Position] FROM {schema}[RatingScales]";

  // The destination numbers the ratings again. AgencyID deliberately stays the source's although the agencies are
  // renumbered: it names the same agency only if those ran 1, 2, 3 ... in reading order.
  static constexpr std::array parameters = AllInput(WithoutFirst(columns));
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"RatingScales"("AgencyID", "National", "Rating", "Position") VALUES (?, ?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowRatingScales>> ColumnsOf(const DBRowRatingScales& /*row*/) {
  return RatingScales::columns;
}

TableDescription DBTableRatingScalesSrc::Description() {
  return Describe<RatingScales>();
}

DBTableRatingScalesSrc::DBTableRatingScalesSrc(const odbc::DBConnection& source) : DBTableSrc(source, RatingScales{}) {}

DBTableRatingScalesDst::DBTableRatingScalesDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, RatingScales{}, logger) {}

}  // namespace db
