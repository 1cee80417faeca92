#include "db/tables/restrictions.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct Restrictions {
  using Row = DBRowRestrictions;

  static constexpr std::string_view name = "Restrictions";

  static constexpr std::array columns = {
      Int32<&Row::ID>,        Char<&Row::RestType>,    Char<&Row::Client>,        Char<&Row::Mode>,
      Double<&Row::Limit>,    Int32<&Row::SecGroupID>, Int32<&Row::CoSecGroupID>, Char<&Row::disabled>,
      Double<&Row::Value>,    Int32<&Row::NoCheck>,    Int32<&Row::BWUserID>,     Char<&Row::BWSessionID>,
      Int32<&Row::BWCounter>, Int32<&Row::LimitKind>,  Char<&Row::RestrCode>,     Char<&Row::RestrName>,
  };
  static constexpr std::string_view select =
      "SELECT [ID], [RestType], [Client], [Mode], [Limit], [SecGroupID], [CoSecGroupID], [disabled], [Value], "
      "[NoCheck], [BWUserID], [BWSessionID], [BWCounter], [LimitKind], [RestrCode], [RestrName] "
      "FROM {schema}[Restrictions]";

  // Mode is deliberately sent as an integer: the destination gets the decimal number of the text's first four bytes.
  // Those behind a short text's zero can be left from an earlier row's longer text, as the buffers are zeroed only
  // once.
  static constexpr std::array parameters = AllInput(columns, Input("Mode").WithCType(SQL_C_LONG));
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"Restrictions"("ID", "RestType", "Client", "Mode", "Limit", "SecGroupID", )"
      R"("CoSecGroupID", "disabled", "Value", "NoCheck", "BWUserID", "BWSessionID", "BWCounter", "LimitKind", )"
      R"("RestrCode", "RestrName") )"
      R"(VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowRestrictions>> ColumnsOf(const DBRowRestrictions& /*row*/) {
  return Restrictions::columns;
}

TableDescription DBTableRestrictionsSrc::Description() {
  return Describe<Restrictions>();
}

DBTableRestrictionsSrc::DBTableRestrictionsSrc(const odbc::DBConnection& source) : DBTableSrc(source, Restrictions{}) {}

DBTableRestrictionsDst::DBTableRestrictionsDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, Restrictions{}, logger) {}

}  // namespace db
