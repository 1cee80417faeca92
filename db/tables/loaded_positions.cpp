#include "db/tables/loaded_positions.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct LoadedPositions {
  using Row = DBRowLoadedPositions;

  static constexpr std::string_view name = "LoadedPositions";

  static constexpr std::array columns = {
      Int32<&Row::PosID>,        Int32<&Row::PosType>,   VarChar<&Row::FirmID>,     VarChar<&Row::ActiveCode>,
      VarChar<&Row::ClientCode>, Int32<&Row::LimitKind>, Double<&Row::OpenBalance>,
  };
  static constexpr std::string_view select =
      "SELECT [PosID], [PosType], [FirmID], [ActiveCode], [ClientCode], [LimitKind], [OpenBalance] "
      "FROM {schema}[LoadedPositions]";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"LoadedPositions"("PosID", "PosType", "FirmID", "ActiveCode", "ClientCode", )"
      R"("LimitKind", "OpenBalance") )"
      R"(VALUES(?, ?, ?, ?, ?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowLoadedPositions>> ColumnsOf(const DBRowLoadedPositions& /*row*/) {
  return LoadedPositions::columns;
}

TableDescription DBTableLoadedPositionsSrc::Description() {
  return Describe<LoadedPositions>();
}

DBTableLoadedPositionsSrc::DBTableLoadedPositionsSrc(const odbc::DBConnection& source)
    : DBTableSrc(source, LoadedPositions{}) {}

DBTableLoadedPositionsDst::DBTableLoadedPositionsDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, LoadedPositions{}, logger) {}

}  // namespace db
