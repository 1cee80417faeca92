#include "db/tables/import_log.h"

#include <array>
#include <string_view>

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct ImportLog {
  using Row = DBRowImportLog;

  static constexpr std::string_view name = "ImportLog";

  static constexpr std::array columns = {
      Int32<&Row::ID>,        VarChar<&Row::ImportType>, Int32<&Row::BWUserID>, VarChar<&Row::BWSessionID>,
      Int32<&Row::BWCounter>,
  };
  static constexpr std::string_view select =
      "SELECT [ID], [ImportType], [BWUserID], [BWSessionID], [BWCounter] FROM {schema}[ImportLog];";

  // The destination numbers the rows again.
  static constexpr std::array parameters = AllInput(WithoutFirst(columns));
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"ImportLog"("ImportType", "BWUserID", "BWSessionID", "BWCounter") VALUES (?, ?, ?, ?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowImportLog>> ColumnsOf(const DBRowImportLog& /*row*/) {
  return ImportLog::columns;
}

TableDescription DBTableImportLogSrc::Description() {
  return Describe<ImportLog>();
}

DBTableImportLogSrc::DBTableImportLogSrc(const odbc::DBConnection& source) : DBTableSrc(source, ImportLog{}) {}

DBTableImportLogDst::DBTableImportLogDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, ImportLog{}, logger) {}

}  // namespace db
