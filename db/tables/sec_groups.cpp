#include "db/tables/sec_groups.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct SecGroups {
  using Row = DBRowSecGroups;

  static constexpr std::string_view name = "SecGroups";

  static constexpr std::array columns = {
      Int32<&Row::ID>,       VarChar<&Row::SecGCode>, VarChar<&Row::SecGName>, VarChar<&Row::disabled>,
      VarChar<&Row::Filter>, VarChar<&Row::mode>,     Int32<&Row::RAgencies>,  Int32<&Row::ListLevel>,
  };
  static constexpr std::string_view select =
      "SELECT [ID], [SecGCode], [SecGName], [disabled], [Filter], [mode], [RAgencies], [ListLevel] "
      "FROM {schema}[SecGroups];";

  static constexpr std::array parameters =
      Parameters(columns, {Input("SecGCode"), Input("SecGName"), Input("disabled"), Input("Filter"), Input("mode"),
                           Input("RAgencies"), Input("ListLevel"), OutInt32("ID")});
  static constexpr std::string_view write = R"(CALL {schema}"BW_CreateSecGroupEx"(?, ?, ?, ?, ?, ?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowSecGroups>> ColumnsOf(const DBRowSecGroups& /*row*/) {
  return SecGroups::columns;
}

TableDescription DBTableSecGroupsSrc::Description() {
  return Describe<SecGroups>();
}

DBTableSecGroupsSrc::DBTableSecGroupsSrc(const odbc::DBConnection& source) : DBTableSrc(source, SecGroups{}) {}

DBTableSecGroupsDst::DBTableSecGroupsDst(const odbc::DBConnection& destination)
    : DBTableProcedureDst(destination, SecGroups{}, logger) {}

bool DBTableSecGroupsDst::Write(const DBRowSecGroups& row) {
  // Every row deliberately gets a new statement: the one that the construction allocated is left to the connection.
  statement_ = SQL_NULL_HSTMT;
  PrepareCall();
  ExecuteCall(row);
  return true;
}

}  // namespace db
