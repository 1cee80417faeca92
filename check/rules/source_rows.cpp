#include "check/rules/source_rows.h"

#include <sqlext.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include "db/statement_text.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"

namespace check {

namespace {

// Room for the digits, blanks and sign of any text that is a number of 32 bits.
constexpr std::size_t kNumberTextSize = 256;

std::size_t BufferSize(const db::ColumnDescription& column, Treatment treatment) {
  if (column.kind != db::ValueKind::Text) {
    return sizeof(double);
  }
  return treatment == Treatment::BytesOfNumber ? kNumberTextSize : column.size;
}

SQLSMALLINT CType(const db::ColumnDescription& column, Treatment treatment) {
  if (column.kind == db::ValueKind::Text) {
    return SQL_C_CHAR;
  }
  return column.kind == db::ValueKind::Double || treatment == Treatment::LowHalfOfDouble ? SQL_C_DOUBLE : SQL_C_LONG;
}

/// Whether the statement's first diagnostic is about a value and not about the connection or the server: class 22, or
/// 07006 for a type that does not convert.
bool IsAboutAValue(const std::string& diagnostics) {
  return diagnostics.find("State = 22") != std::string::npos || diagnostics.find("State = 07006") != std::string::npos;
}

}  // namespace

bool DriverRepeatsNulls(const odbc::DBConnection& source) {
  std::array<char, 256> name{};
  if (!odbc::Succeeded(SQLGetInfo(source.connection(), SQL_DRIVER_NAME, name.data(),
                                  static_cast<SQLSMALLINT>(name.size()), nullptr))) {
    throw std::runtime_error(odbc::GetConnectionDiagnostics(source.connection()));
  }
  return std::string_view(name.data()).find("tdsodbc") != std::string_view::npos;
}

SourceRows::SourceRows(const odbc::DBConnection& source, const db::TableDescription& table) : statement_(source) {
  const TableRules& rules = RulesFor(table.name);
  statement_.Execute(db::WithSchema(table.select, source.schema()));
  fields_.resize(table.columns.size());
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const db::ColumnDescription& column = table.columns[i];
    const Treatment treatment = RuleOf(rules, column.name).treatment;
    Field& field = fields_[i];
    field.buffer.resize(BufferSize(column, treatment));
    odbc::RequireSuccess(SQLBindCol(statement_.handle(), static_cast<SQLUSMALLINT>(i + 1), CType(column, treatment),
                                    field.buffer.data(), static_cast<SQLLEN>(field.buffer.size()), &field.indicator),
                         statement_.handle());
  }
}

SourceRows::Result SourceRows::Next() {
  const SQLRETURN result = SQLFetch(statement_.handle());
  if (odbc::Succeeded(result)) {
    return Result::Row;
  }
  if (result == SQL_NO_DATA) {
    return Result::End;
  }
  diagnostics_ = odbc::GetStatementDiagnostics(statement_.handle());
  if (!IsAboutAValue(diagnostics_)) {
    throw std::runtime_error(diagnostics_);
  }
  return Result::Unreadable;
}

std::int32_t SourceRows::Number(std::size_t column) const {
  std::int32_t number = 0;
  std::memcpy(&number, fields_[column].buffer.data(), sizeof(number));
  return number;
}

double SourceRows::Real(std::size_t column) const {
  double real = 0;
  std::memcpy(&real, fields_[column].buffer.data(), sizeof(real));
  return real;
}

std::string_view SourceRows::Text(std::size_t column) const {
  const Field& field = fields_[column];
  const std::size_t room = field.buffer.size() - 1;
  // A driver that does not know how long a cut text was says so with SQL_NO_TOTAL, a negative number.
  const std::size_t length = field.indicator < 0 ? room : std::min(room, static_cast<std::size_t>(field.indicator));
  return {field.buffer.data(), length};
}

}  // namespace check
