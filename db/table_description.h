#ifndef BW_DB_TABLE_DESCRIPTION_H
#define BW_DB_TABLE_DESCRIPTION_H

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <vector>

#include "db/columns.h"
#include "db/statement_text.h"

/// A table's declaration without its types: what programs need that look at all tables alike.
namespace db {

enum class ValueKind { Int32, Double, Text };

struct ColumnDescription {
  std::string_view name;
  ValueKind kind;
  std::size_t size;    ///< Bytes of the field; a text's terminating zero included.
  std::size_t offset;  ///< Of the field in the row record, in bytes.
};

struct ParameterDescription {
  std::string_view column;
  SQLSMALLINT direction;  ///< SQL_PARAM_INPUT or SQL_PARAM_OUTPUT.
  SQLSMALLINT cType;
  SQLSMALLINT sqlType;
  SQLULEN columnSize;
};

/// The views are of literals: they live as long as the program.
struct TableDescription {
  std::string_view name;    ///< As both databases spell it.
  std::string_view select;  ///< With the schema placeholder, see WithSchema.
  std::string_view write;   ///< INSERT or CALL, with the schema placeholder.
  Truncation truncation;
  std::size_t rowSize;                           ///< Bytes of the row record.
  std::vector<ColumnDescription> columns;        ///< In the order of the SELECT list and of the row record.
  std::vector<ParameterDescription> parameters;  ///< In the order of the markers.
};

/// Describes a declaration (see detail::TableChecks).
template <class Table>
TableDescription Describe() {
  using Row = typename Table::Row;
  TableDescription description{.name = Table::name,
                               .select = Table::select,
                               .write = Table::write,
                               .truncation = Table::truncation,
                               .rowSize = sizeof(Row),
                               .columns = {},
                               .parameters = {}};
  Row row{};
  std::transform(
      Table::columns.begin(), Table::columns.end(), std::back_inserter(description.columns),
      [&row](const Column<Row>& column) {
        const ValueKind kind = column.cType == SQL_C_LONG     ? ValueKind::Int32
                               : column.cType == SQL_C_DOUBLE ? ValueKind::Double
                                                              : ValueKind::Text;
        const auto offset = static_cast<const char*>(column.field(row)) - reinterpret_cast<char*>(&row);
        return ColumnDescription{
            .name = column.name, .kind = kind, .size = column.size, .offset = static_cast<std::size_t>(offset)};
      });
  std::transform(Table::parameters.begin(), Table::parameters.end(), std::back_inserter(description.parameters),
                 [](const Parameter<Row>& parameter) {
                   return ParameterDescription{.column = parameter.column.name,
                                               .direction = parameter.direction,
                                               .cType = parameter.cType,
                                               .sqlType = parameter.column.sqlType,
                                               .columnSize = parameter.columnSize};
                 });
  return description;
}

}  // namespace db

#endif  // BW_DB_TABLE_DESCRIPTION_H
