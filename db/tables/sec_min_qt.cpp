#include "db/tables/sec_min_qt.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct SecMinQt {
  using Row = DBRowSecMinQt;

  static constexpr std::string_view name = "SecMinQt";

  static constexpr std::array columns = {
      VarChar<&Row::ClassCode>,
      VarChar<&Row::SecCode>,
      Int32<&Row::MinQty>,
  };
  static constexpr std::string_view select = "SELECT [ClassCode], [SecCode], [MinQty] FROM {schema}[SecMinQt]";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"SecMinQt"("ClassCode", "SecCode", "MinQty") VALUES (?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowSecMinQt>> ColumnsOf(const DBRowSecMinQt& /*row*/) {
  return SecMinQt::columns;
}

TableDescription DBTableSecMinQtSrc::Description() {
  return Describe<SecMinQt>();
}

DBTableSecMinQtSrc::DBTableSecMinQtSrc(const odbc::DBConnection& source) : DBTableSrc(source, SecMinQt{}) {}

DBTableSecMinQtDst::DBTableSecMinQtDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, SecMinQt{}, logger) {}

}  // namespace db
