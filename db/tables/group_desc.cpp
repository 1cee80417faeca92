#include "db/tables/group_desc.h"

#include <array>
#include <string_view>

#include "db/identifier_maps.h"

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct GroupDesc {
  using Row = DBRowGroupDesc;

  static constexpr std::string_view name = "GroupDesc";

  static constexpr std::array columns = {
      Int32<&Row::GroupID>, VarChar<&Row::GroupCode>, VarChar<&Row::GroupName>, VarChar<&Row::disabled>,
      VarChar<&Row::Mode>,  Double<&Row::DefWeight>,  Int32<&Row::SplitOrders>,
  };
  static constexpr std::string_view select =
      "SELECT [GroupID], [GroupCode], [GroupName], [disabled], [Mode], [DefWeight], [SplitOrders] "
      "FROM {schema}[GroupDesc];";

  static constexpr std::array parameters =
      Parameters(columns, {Input("GroupCode"), Input("GroupName"), Input("disabled"), Input("Mode"),
                           Input("DefWeight").WithColumnSize(0), Input("SplitOrders").WithColumnSize(0),
                           OutInt32("GroupID").WithColumnSize(0)});
  static constexpr std::string_view write = R"(CALL {schema}"BW_CreateClientGroupEx"(? , ? , ? , ? , ? , ? , ? );)";

  static constexpr Truncation truncation = Truncation::Cascade;
};

}  // namespace

std::span<const Column<DBRowGroupDesc>> ColumnsOf(const DBRowGroupDesc& /*row*/) {
  return GroupDesc::columns;
}

TableDescription DBTableGroupDescSrc::Description() {
  return Describe<GroupDesc>();
}

DBTableGroupDescSrc::DBTableGroupDescSrc(const odbc::DBConnection& source) : DBTableSrc(source, GroupDesc{}) {}

DBTableGroupDescDst::DBTableGroupDescDst(const odbc::DBConnection& destination)
    : DBTableProcedureDst(destination, GroupDesc{}, logger) {}

bool DBTableGroupDescDst::Write(const DBRowGroupDesc& row) {
  PrepareCall();
  ExecuteCall(row);
  Record(GroupIdMap, row.GroupID, row_.GroupID);
  return true;
}

}  // namespace db
