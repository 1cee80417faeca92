#include "db/tables/loaded_securities.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct LoadedSecurities {
  using Row = DBRowLoadedSecurities;

  static constexpr std::string_view name = "LoadedSecurities";

  static constexpr std::array columns = {
      Int32<&Row::SecID>,     VarChar<&Row::SecCode>,  VarChar<&Row::SecName>, VarChar<&Row::SecStyle>,
      VarChar<&Row::SecType>, Double<&Row::FaceValue>, Double<&Row::AccInt>,   Double<&Row::Price>,
  };
  static constexpr std::string_view select =
      "SELECT [SecID], [SecCode], [SecName], [SecStyle], [SecType], [FaceValue], [AccInt], [Price] "
      "FROM {schema}[LoadedSecurities];";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"LoadedSecurities"("SecID", "SecCode", "SecName", "SecStyle", "SecType", "FaceValue", )"
      R"("AccInt", "Price") )"
      R"(VALUES(? , ? , ? , ?, ? , ? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Cascade;
};

}  // namespace

std::span<const Column<DBRowLoadedSecurities>> ColumnsOf(const DBRowLoadedSecurities& /*row*/) {
  return LoadedSecurities::columns;
}

TableDescription DBTableLoadedSecuritiesSrc::Description() {
  return Describe<LoadedSecurities>();
}

DBTableLoadedSecuritiesSrc::DBTableLoadedSecuritiesSrc(const odbc::DBConnection& source)
    : DBTableSrc(source, LoadedSecurities{}) {}

DBTableLoadedSecuritiesDst::DBTableLoadedSecuritiesDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, LoadedSecurities{}, logger) {}

}  // namespace db
