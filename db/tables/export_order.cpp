#include "db/tables/export_order.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct ExportOrder {
  using Row = DBRowExportOrder;

  static constexpr std::string_view name = "ExportOrder";

  static constexpr std::array columns = {
      Int32<&Row::ID>,
      Int32<&Row::OrderID>,
      Int32<&Row::GroupOrderID>,
      Int32<&Row::OrderType>,
      Int32<&Row::TradeDate>,
      Int32<&Row::SendDate>,
      Int32<&Row::SendTime>,
      Int32<&Row::OrderTime>,
      Int32<&Row::Status>,
      Int32<&Row::UserGroupID>,
      Char<&Row::UserGroupCode>,
      Int32<&Row::PoolID>,
      Char<&Row::BrokerPoolID>,
      Char<&Row::ClientCode>,
      Char<&Row::TrdAcc>,
      Double<&Row::Price>,
      Double<&Row::Qty>,
      Double<&Row::Balance>,
      Char<&Row::Buy>,
      Char<&Row::ML>,
      Char<&Row::ClassCode>,
      Char<&Row::SecCode>,
      Double<&Row::VisibleQty>,
      Double<&Row::RepoValue>,
      Double<&Row::Discount>,
      Double<&Row::DiscountUpper>,
      Double<&Row::DiscountLower>,
      Double<&Row::RepoRate>,
      Int32<&Row::RepoTerm>,
  };
  static constexpr std::string_view select =
      "SELECT [ID], [OrderID], [GroupOrderID], [OrderType], [TradeDate], [SendDate], [SendTime], [OrderTime], "
      "[Status], [UserGroupID], [UserGroupCode], [PoolID], [BrokerPoolID], [ClientCode], [TrdAcc], [Price], [Qty], "
      "[Balance], [Buy], [ML], [ClassCode], [SecCode], [VisibleQty], [RepoValue], [Discount], [DiscountUpper], "
      "[DiscountLower], [RepoRate], [RepoTerm] FROM {schema}[ExportOrder];";

  // BrokerPoolID is deliberately read as an integer into its text, which becomes the integer's bytes up to the first
  // zero. A NULL clears the first byte only.
  static constexpr std::array reads =
      ReadEach(columns, {NullAs("PoolID", std::int32_t{-1}), NullAs("BrokerPoolID", '\0').WithCType(SQL_C_LONG)});

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"ExportOrder"("ID", "OrderID", "GroupOrderID", "OrderType", "TradeDate", "SendDate", )"
      R"("SendTime", "OrderTime", "Status", "UserGroupID", "UserGroupCode", "PoolID", "BrokerPoolID", "ClientCode", )"
      R"("TrdAcc", "Price", "Qty", "Balance", "Buy", "ML", "ClassCode", "SecCode", "VisibleQty", "RepoValue", )"
      R"("Discount", "DiscountUpper", "DiscountLower", "RepoRate", "RepoTerm") )"
      R"(VALUES (? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , )"
      R"(? , ? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowExportOrder>> ColumnsOf(const DBRowExportOrder& /*row*/) {
  return ExportOrder::columns;
}

TableDescription DBTableExportOrderSrc::Description() {
  return Describe<ExportOrder>();
}

DBTableExportOrderSrc::DBTableExportOrderSrc(const odbc::DBConnection& source)
    : DBTableColumnReaderSrc(source, ExportOrder{}) {}

DBTableExportOrderDst::DBTableExportOrderDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, ExportOrder{}, logger) {}

}  // namespace db
