#ifndef BW_DB_TABLE_CHECKS_H
#define BW_DB_TABLE_CHECKS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "db/columns.h"
#include "db/field.h"
#include "db/statement_text.h"

/// What the compiler holds against each other in a table's declaration.
namespace db::detail {

/// Reads a literal from its start; once something expected is missing, it stays failed.
class LiteralReader {
 public:
  constexpr explicit LiteralReader(std::string_view text) : rest_(text) {}

  constexpr void Expect(std::string_view part) {
    ok_ = ok_ && rest_.starts_with(part);
    if (ok_) {
      rest_.remove_prefix(part.size());
    }
  }

  constexpr bool ok() const { return ok_; }
  constexpr std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
  bool ok_ = true;
};

template <class Row, std::size_t N>
consteval bool ColumnsFollowFields(const std::array<Column<Row>, N>& columns) {
  for (std::size_t i = 0; i < N; ++i) {
    if (columns[i].position != i) {
      return false;
    }
  }
  return true;
}

template <class Row, std::size_t N>
consteval bool SelectListsColumns(std::string_view select, const std::array<Column<Row>, N>& columns) {
  LiteralReader reader(select);
  reader.Expect("SELECT ");
  std::string_view separator;
  for (const Column<Row>& column : columns) {
    reader.Expect(separator);
    reader.Expect("[");
    reader.Expect(column.name);
    reader.Expect("]");
    separator = ", ";
  }
  reader.Expect(" FROM ");
  return reader.ok();
}

consteval bool SelectsFrom(std::string_view select, std::string_view tableName) {
  LiteralReader reader(select.substr(std::min(select.find(kSchemaPlaceholder), select.size())));
  reader.Expect(kSchemaPlaceholder);
  reader.Expect("[");
  reader.Expect(tableName);
  reader.Expect("]");
  return reader.ok() && (reader.rest().empty() || reader.rest() == ";");
}

consteval bool IsCall(std::string_view statement) {
  return statement.starts_with("CALL {schema}\"");
}

consteval bool InsertsInto(std::string_view insert, std::string_view tableName) {
  LiteralReader reader(insert);
  reader.Expect("INSERT INTO {schema}\"");
  reader.Expect(tableName);
  reader.Expect("\"(");
  return reader.ok();
}

template <class Row, std::size_t N>
consteval bool InsertListsParameters(std::string_view insert, const std::array<Parameter<Row>, N>& parameters) {
  LiteralReader reader(insert.substr(std::min(insert.find('('), insert.size())));
  reader.Expect("(");
  std::string_view separator;
  for (const Parameter<Row>& parameter : parameters) {
    reader.Expect(separator);
    reader.Expect("\"");
    reader.Expect(parameter.column.name);
    reader.Expect("\"");
    separator = ", ";
  }
  reader.Expect(") VALUES");
  return reader.ok();
}

consteval std::size_t MarkerCount(std::string_view statement) {
  return static_cast<std::size_t>(std::count(statement.begin(), statement.end(), '?'));
}

/// Instantiating this checks a table's declaration:
///
///     struct Table {
///       static constexpr std::string_view name;         // as both databases spell it
///       static constexpr std::array columns;            // one per field of the row record, in its order
///       static constexpr std::string_view select;       // with the schema placeholder
///       static constexpr std::array parameters;         // one per marker of the write statement, in its order
///       static constexpr std::string_view write;        // INSERT or CALL, with the schema placeholder
///       static constexpr Truncation truncation;
///     };
template <class Row, class Table>
struct TableChecks {
  static_assert(kFieldCount<Row> == Table::columns.size(), "every field of the row record needs exactly one column");
  static_assert(ColumnsFollowFields(Table::columns), "the columns must follow the order of the row record's fields");
  static_assert(SelectListsColumns(Table::select, Table::columns), "the SELECT must list the columns in their order");
  static_assert(SelectsFrom(Table::select, Table::name),
                "the SELECT must read the table behind the schema placeholder");
  static_assert(MarkerCount(Table::write) == Table::parameters.size(), "every parameter needs exactly one marker");
  static_assert(IsCall(Table::write) || InsertsInto(Table::write, Table::name),
                "the statement must be a CALL or an INSERT into the table, with the schema placeholder in front");
  static_assert(IsCall(Table::write) || InsertListsParameters(Table::write, Table::parameters),
                "the INSERT must list the parameters in their order");
};

}  // namespace db::detail

#endif  // BW_DB_TABLE_CHECKS_H
