#include "db/tables/rating_agencies.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct RatingAgencies {
  using Row = DBRowRatingAgencies;

  static constexpr std::string_view name = "RatingAgencies";

  static constexpr std::array columns = {
      Int32<&Row::AgencyID>,
      VarChar<&Row::AgencyCode>,
      VarChar<&Row::AgencyName>,
  };
  static constexpr std::string_view select =
      "SELECT [AgencyID], [AgencyCode], [AgencyName] FROM {schema}[RatingAgencies];";

  // The destination numbers the agencies again.
  static constexpr std::array parameters = AllInput(WithoutFirst(columns));
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"RatingAgencies"("AgencyCode", "AgencyName") VALUES (?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowRatingAgencies>> ColumnsOf(const DBRowRatingAgencies& /*row*/) {
  return RatingAgencies::columns;
}

TableDescription DBTableRatingAgenciesSrc::Description() {
  return Describe<RatingAgencies>();
}

DBTableRatingAgenciesSrc::DBTableRatingAgenciesSrc(const odbc::DBConnection& source)
    : DBTableSrc(source, RatingAgencies{}) {}

DBTableRatingAgenciesDst::DBTableRatingAgenciesDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, RatingAgencies{}, logger) {}

}  // namespace db
