#include "db/tables/neg_orders.h"

#include <array>
#include <string_view>

#include "db/tables/null_values.h"

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct NegOrders {
  using Row = DBRowNegOrders;

  static constexpr std::string_view name = "NegOrders";

  static constexpr std::array columns = {
      Int32<&Row::OrderId>,        Int32<&Row::GroupOrderID>, Int32<&Row::TradeDate>,
      Int32<&Row::TradeTime>,      Char<&Row::Buy>,           Char<&Row::ClassCode>,
      Char<&Row::SecCode>,         Char<&Row::ClientCode>,    Char<&Row::TrdAcc>,
      Char<&Row::CPFirmId>,        Char<&Row::SettleCode>,    Char<&Row::MatchRef>,
      Double<&Row::Price>,         Double<&Row::Vozm>,        Double<&Row::Qty>,
      Double<&Row::OrderNum>,      Char<&Row::Status>,        Char<&Row::Result>,
      Double<&Row::RepoValue>,     Double<&Row::Discount>,    Double<&Row::DiscountUpper>,
      Double<&Row::DiscountLower>, Double<&Row::RepoRate>,    Int32<&Row::RepoTerm>,
      Int32<&Row::Flags>,          Int32<&Row::BWUserID>,     Char<&Row::BWSessionID>,
      Int32<&Row::BWCounter>,
  };
  static constexpr std::string_view select =
      "SELECT [OrderId], [GroupOrderID], [TradeDate], [TradeTime], [Buy], [ClassCode], [SecCode], [ClientCode], "
      "[TrdAcc], [CPFirmId], [SettleCode], [MatchRef], [Price], [Vozm], [Qty], [OrderNum], [Status], [Result], "
      "[RepoValue], [Discount], [DiscountUpper], [DiscountLower], [RepoRate], [RepoTerm], [Flags], [BWUserID], "
      "[BWSessionID], [BWCounter] FROM {schema}[NegOrders];";

  // RepoTerm and Flags are deliberately read as doubles into their four bytes. The driver stores all eight, the upper
  // half over the next field, which is read afterwards. The lower half stays: 0 for small whole numbers.
  static constexpr std::array reads =
      ReadEach(columns, {NullAs("Price", kNullDouble), NullAs("Vozm", kNullDouble), NullAs("Qty", kNullDouble),
                         NullAs("RepoValue", kNullDouble), NullAs("Discount", kNullDouble),
                         NullAs("DiscountUpper", kNullDouble), NullAs("DiscountLower", kNullDouble),
                         NullAs("RepoRate", kNullDouble), NullAs("RepoTerm", kNullInt32).WithCType(SQL_C_DOUBLE),
                         NullAs("Flags", kNullInt32).WithCType(SQL_C_DOUBLE), NullAs("BWCounter", kNullInt32)});

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"NegOrders"("OrderId", "GroupOrderID", "TradeDate", "TradeTime", "Buy", "ClassCode", )"
      R"("SecCode", "ClientCode", "TrdAcc", "CPFirmId", "SettleCode", "MatchRef", "Price", "Vozm", "Qty", )"
      R"("OrderNum", "Status", "Result", "RepoValue", "Discount", "DiscountUpper", "DiscountLower", "RepoRate", )"
      R"("RepoTerm", "Flags", "BWUserID", "BWSessionID", "BWCounter") )"
      R"(VALUES(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , )"
      R"(? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowNegOrders>> ColumnsOf(const DBRowNegOrders& /*row*/) {
  return NegOrders::columns;
}

TableDescription DBTableNegOrdersSrc::Description() {
  return Describe<NegOrders>();
}

DBTableNegOrdersSrc::DBTableNegOrdersSrc(const odbc::DBConnection& source)
    : DBTableColumnReaderSrc(source, NegOrders{}) {}

DBTableNegOrdersDst::DBTableNegOrdersDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, NegOrders{}, logger) {}

}  // namespace db
