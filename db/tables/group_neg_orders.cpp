#include "db/tables/group_neg_orders.h"

#include <array>
#include <cstddef>
#include <string_view>

#include "db/identifier_maps.h"
#include "db/tables/null_values.h"

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct GroupNegOrders {
  using Row = DBRowGroupNegOrders;

  static constexpr std::string_view name = "GroupNegOrders";

  static constexpr std::array columns = {
      Int32<&Row::ID>,         Int32<&Row::GroupID>,        Int32<&Row::TradeDate>,      Int32<&Row::TradeTime>,
      Char<&Row::Buy>,         Char<&Row::SecCode>,         Char<&Row::ClassCode>,       Char<&Row::CPFirmID>,
      Char<&Row::SettleCode>,  Char<&Row::MatchRef>,        Double<&Row::Price>,         Double<&Row::Vozm>,
      Double<&Row::Qty>,       Double<&Row::RealQty>,       Double<&Row::KilledQty>,     Char<&Row::Status>,
      Char<&Row::Result>,      Int32<&Row::OrdersCount>,    Double<&Row::RepoValue>,     Double<&Row::RealRepoValue>,
      Double<&Row::Discount>,  Double<&Row::DiscountUpper>, Double<&Row::DiscountLower>, Double<&Row::RepoRate>,
      Int32<&Row::RepoTerm>,   Int32<&Row::OrderType>,      Int32<&Row::Flags>,          Int32<&Row::BWUserID>,
      Char<&Row::BWSessionID>, Int32<&Row::BWCounter>,
  };
  static constexpr std::string_view select =
      "SELECT [ID], [GroupID], [TradeDate], [TradeTime], [Buy], [SecCode], [ClassCode], [CPFirmID], [SettleCode], "
      "[MatchRef], [Price], [Vozm], [Qty], [RealQty], [KilledQty], [Status], [Result], [OrdersCount], [RepoValue], "
      "[RealRepoValue], [Discount], [DiscountUpper], [DiscountLower], [RepoRate], [RepoTerm], [OrderType], [Flags], "
      "[BWUserID], [BWSessionID], [BWCounter] FROM {schema}[GroupNegOrders];";

  static constexpr std::array reads = ReadEach(
      columns,
      {NullAs("Price", kNullDouble), NullAs("Vozm", kNullDouble), NullAs("Qty", kNullDouble),
       NullAs("RealQty", kNullDouble), NullAs("KilledQty", kNullDouble), NullAs("RepoValue", kNullDouble),
       NullAs("RealRepoValue", kNullDouble), NullAs("Discount", kNullDouble), NullAs("DiscountUpper", kNullDouble),
       NullAs("DiscountLower", kNullDouble), NullAs("RepoRate", kNullDouble), NullAs("RepoTerm", kNullInt32),
       NullAs("OrderType", kNullInt32), NullAs("Flags", kNullInt32), NullAs("BWCounter", kNullInt32)});

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"GroupNegOrders"("ID", "GroupID", "TradeDate", "TradeTime", "Buy", "SecCode", )"
      R"("ClassCode", "CPFirmID", "SettleCode", "MatchRef", "Price", "Vozm", "Qty", "RealQty", "KilledQty", )"
      R"("Status", "Result", "OrdersCount", "RepoValue", "RealRepoValue", "Discount", "DiscountUpper", )"
      R"("DiscountLower", "RepoRate", "RepoTerm", "OrderType", "Flags", "BWUserID", "BWSessionID", "BWCounter") )"
      R"(VALUES (? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , )"
      R"(? , ? , ? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowGroupNegOrders>> ColumnsOf(const DBRowGroupNegOrders& /*row*/) {
  return GroupNegOrders::columns;
}

TableDescription DBTableGroupNegOrdersSrc::Description() {
  return Describe<GroupNegOrders>();
}

DBTableGroupNegOrdersSrc::DBTableGroupNegOrdersSrc(const odbc::DBConnection& source)
    : DBTableColumnReaderSrc(source, GroupNegOrders{}) {}

std::optional<DBRowGroupNegOrders> DBTableGroupNegOrdersSrc::Next() {
  constexpr std::size_t throughGroupId = ColumnNamed(GroupNegOrders::columns, "GroupID").position + 1;
  if (!FetchRow() || !ReadColumns(reads().first(throughGroupId))) {
    return std::nullopt;
  }
  // Deliberately before the other columns are read: a group that was not migrated ends the run, whatever they hold.
  row_.GroupID = LookUp(GroupIdMap, row_.GroupID);
  if (!ReadColumns(reads().subspan(throughGroupId))) {
    return std::nullopt;
  }
  return row_;
}

DBTableGroupNegOrdersDst::DBTableGroupNegOrdersDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, GroupNegOrders{}, logger) {}

}  // namespace db
