#include "db/tables/loaded_securities_client_prices.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct LoadedSecuritiesClientPrices {
  using Row = DBRowLoadedSecuritiesClientPrices;

  static constexpr std::string_view name = "LoadedSecuritiesClientPrices";

  static constexpr std::array columns = {
      Int32<&Row::ClientID>, Int32<&Row::SecID>, Char<&Row::Code>, Int32<&Row::CodeType>, Double<&Row::Price>,
  };
  static constexpr std::string_view select =
      "SELECT [ClientID], [SecID], [Code], [CodeType], [Price] FROM {schema}[LoadedSecuritiesClientPrices]";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"LoadedSecuritiesClientPrices"("ClientID", "SecID", "Code", "CodeType", "Price") )"
      R"(VALUES (?, ?, ?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowLoadedSecuritiesClientPrices>> ColumnsOf(const DBRowLoadedSecuritiesClientPrices& /*row*/) {
  return LoadedSecuritiesClientPrices::columns;
}

TableDescription DBTableLoadedSecuritiesClientPricesSrc::Description() {
  return Describe<LoadedSecuritiesClientPrices>();
}

DBTableLoadedSecuritiesClientPricesSrc::DBTableLoadedSecuritiesClientPricesSrc(const odbc::DBConnection& source)
    : DBTableSrc(source, LoadedSecuritiesClientPrices{}) {}

DBTableLoadedSecuritiesClientPricesDst::DBTableLoadedSecuritiesClientPricesDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, LoadedSecuritiesClientPrices{}, logger) {}

}  // namespace db
