// A table declaration; defining one of the CASE_ macros puts one mistake into it.
#include <array>
#include <cstdint>
#include <string_view>

#include "db/columns.h"
#include "db/statement_text.h"
#include "db/table_checks.h"

namespace {

struct Row {
  std::int32_t ID;
  char Code[13];
  double Price;
};

struct Table {
  static constexpr std::string_view name = "Table";

  static constexpr std::array columns = {
#if defined(CASE_MISSING_COLUMN)
      db::Int32<&Row::ID>,
      db::Char<&Row::Code>,
#elif defined(CASE_SWAPPED_COLUMNS)
      db::Int32<&Row::ID>,
      db::Double<&Row::Price>,
      db::Char<&Row::Code>,
#elif defined(CASE_WRONG_KIND)
      db::Int32<&Row::ID>,
      db::Char<&Row::Code>,
      db::Int32<&Row::Price>,
#else
      db::Int32<&Row::ID>,
      db::Char<&Row::Code>,
      db::Double<&Row::Price>,
#endif
  };

  static constexpr std::string_view select =
#if defined(CASE_SWAPPED_SELECT)
      "SELECT [ID], [Price], [Code] FROM {schema}[Table];";
#elif defined(CASE_SHORT_SELECT)
      "SELECT [ID], [Code] FROM {schema}[Table];";
#elif defined(CASE_MISSPELLED_SELECT)
      "SELECT [Id], [Code], [Price] FROM {schema}[Table];";
#elif defined(CASE_OTHER_TABLE_SELECT)
      "SELECT [ID], [Code], [Price] FROM {schema}[Tables];";
#elif defined(CASE_SELECT_WITHOUT_PLACEHOLDER)
      "SELECT [ID], [Code], [Price] FROM [Table];";
#else
      "SELECT [ID], [Code], [Price] FROM {schema}[Table];";
#endif

#if defined(CASE_OUTPUT_OF_ANOTHER_KIND)
  static constexpr auto parameters = db::AllInput(columns, db::OutInt32("Price"));
#elif defined(CASE_UNKNOWN_PARAMETER)
  static constexpr auto parameters = db::Parameters(columns, {db::Input("ID"), db::Input("Cod"), db::Input("Price")});
#else
  static constexpr auto parameters = db::AllInput(columns);
#endif

  static constexpr std::string_view write =
#if defined(CASE_MARKER_TOO_MANY)
      R"(INSERT INTO {schema}"Table"("ID", "Code", "Price") VALUES (?, ?, ?, ?);)";
#elif defined(CASE_MARKER_TOO_FEW)
      R"(INSERT INTO {schema}"Table"("ID", "Code", "Price") VALUES (?, ?);)";
#elif defined(CASE_SWAPPED_INSERT)
      R"(INSERT INTO {schema}"Table"("Code", "ID", "Price") VALUES (?, ?, ?);)";
#elif defined(CASE_OTHER_TABLE_INSERT)
      R"(INSERT INTO {schema}"Tables"("ID", "Code", "Price") VALUES (?, ?, ?);)";
#else
      R"(INSERT INTO {schema}"Table"("ID", "Code", "Price") VALUES (?, ?, ?);)";
#endif
};

}  // namespace

template struct db::detail::TableChecks<Row, Table>;
