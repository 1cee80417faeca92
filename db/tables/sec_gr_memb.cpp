#include "db/tables/sec_gr_memb.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct SecGrMemb {
  using Row = DBRowSecGrMemb;

  static constexpr std::string_view name = "SecGrMemb";

  static constexpr std::array columns = {
      Int32<&Row::GroupID>,     VarChar<&Row::MembType>, VarChar<&Row::MembCode>,
      VarChar<&Row::MembClass>, Int32<&Row::MembID>,
  };
  static constexpr std::string_view select =
      "SELECT [GroupID], [MembType], [MembCode], [MembClass], [MembID] FROM {schema}[SecGrMemb];";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"SecGrMemb"("GroupID", "MembType", "MembCode", "MembClass", "MembID") )"
      R"(VALUES(?, ?, ?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowSecGrMemb>> ColumnsOf(const DBRowSecGrMemb& /*row*/) {
  return SecGrMemb::columns;
}

TableDescription DBTableSecGrMembSrc::Description() {
  return Describe<SecGrMemb>();
}

DBTableSecGrMembSrc::DBTableSecGrMembSrc(const odbc::DBConnection& source) : DBTableSrc(source, SecGrMemb{}) {}

DBTableSecGrMembDst::DBTableSecGrMembDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, SecGrMemb{}, logger) {}

}  // namespace db
