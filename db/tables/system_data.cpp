#include "db/tables/system_data.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct SystemData {
  using Row = DBRowSystemData;

  static constexpr std::string_view name = "SystemData";

  static constexpr std::array columns = {
      VarChar<&Row::KeyName>,
      VarChar<&Row::KeyValue>,
  };
  static constexpr std::string_view select = "SELECT [KeyName], [KeyValue] FROM {schema}[SystemData]";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write = R"(INSERT INTO {schema}"SystemData"("KeyName", "KeyValue") VALUES (?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowSystemData>> ColumnsOf(const DBRowSystemData& /*row*/) {
  return SystemData::columns;
}

TableDescription DBTableSystemDataSrc::Description() {
  return Describe<SystemData>();
}

DBTableSystemDataSrc::DBTableSystemDataSrc(const odbc::DBConnection& source) : DBTableSrc(source, SystemData{}) {}

DBTableSystemDataDst::DBTableSystemDataDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, SystemData{}, logger) {}

}  // namespace db
