#include "lab/tds_server/result_set.h"

#include <algorithm>
#include <limits>

#include "lab/tds_server/sql_error.h"
#include "lab/tds_server/text.h"

namespace tds {

namespace {

bool FitsInt(std::int64_t value) {
  return value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::int32_t>::max();
}

ColumnType TypeFromValue(const Statement& statement, int column) {
  switch (statement.Kind(column)) {
    case Statement::ValueKind::Null:
      return kInt;
    case Statement::ValueKind::Integer:
      return FitsInt(statement.Integer(column)) ? kInt : kBigInt;
    case Statement::ValueKind::Real:
      return kFloat;
    case Statement::ValueKind::Binary:
      return kLongestVarBinary;
    case Statement::ValueKind::Text:
      break;
  }
  return statement.IsUtf16(column) ? kLongestNVarChar : kLongestVarChar;
}

/// The type that an expression such as "CONVERT(varchar(8), x)" names; none for another one. SQLite gives the
/// expression as the column's name.
std::optional<ColumnType> TypeFromConversion(std::string_view expression) {
  constexpr std::string_view kConvert = "CONVERT(";
  return EqualsIgnoringCase(expression.substr(0, kConvert.size()), kConvert)
             ? TypeFromDeclaration(expression.substr(kConvert.size(), expression.find(',') - kConvert.size()))
             : std::nullopt;
}

ColumnType DescribeType(const Statement& statement, int column, bool hasRow) {
  if (const auto declaration = statement.DeclaredType(column)) {
    if (const auto type = TypeFromDeclaration(*declaration)) {
      return *type;
    }
  }
  if (const auto type = TypeFromConversion(statement.ColumnName(column))) {
    return *type;
  }
  return hasRow ? TypeFromValue(statement, column) : kInt;
}

std::string Name(Statement::ValueKind kind) {
  return std::string(TypeName(kind == Statement::ValueKind::Real ? kFloat : kLongestVarChar));
}

void WriteInteger(const Statement& statement, int column, ColumnType type, TokenWriter& tokens) {
  const Statement::ValueKind kind = statement.Kind(column);
  if (kind != Statement::ValueKind::Integer) {
    throw SqlError(245, 16, 1,
                   "Conversion failed when converting the " + Name(kind) + " value '" +
                       std::string(statement.Text(column)) + "' to data type " + std::string(TypeName(type)) + ".");
  }
  const std::int64_t value = statement.Integer(column);
  if (type == kInt && !FitsInt(value)) {
    throw SqlError(8115, 16, 2, "Arithmetic overflow error converting expression to data type int.");
  }
  tokens.Integer(type, value);
}

void WriteFloat(const Statement& statement, int column, TokenWriter& tokens) {
  if (statement.Kind(column) == Statement::ValueKind::Text) {
    throw SqlError(8114, 16, 5, "Error converting data type varchar to float.");
  }
  tokens.Float(statement.Real(column));
}

const CodePage& DescribeCodePage(const Statement& statement, int column, bool hasRow, const Collations& collations) {
  if (const auto origin = statement.OriginOf(column)) {
    return collations.OfColumn(origin->table, origin->column);
  }
  const CodePage* codePage = hasRow ? statement.CodePageOfValue(column) : nullptr;
  return codePage == nullptr ? collations.OfServer() : *codePage;
}

void WriteValue(const Statement& statement, int index, const Column& column, Collations& collations,
                TokenWriter& tokens) {
  const ColumnType type = column.type;
  if (statement.Kind(index) == Statement::ValueKind::Null) {
    tokens.Null(type);
    return;
  }
  switch (type.wire) {
    case WireType::IntN:
      WriteInteger(statement, index, type, tokens);
      break;
    case WireType::FltN:
      WriteFloat(statement, index, tokens);
      break;
    case WireType::BigVarBinary:
      tokens.Text(type, statement.Text(index).substr(0, type.size));
      break;
    case WireType::BigVarChar:
    case WireType::BigChar:
      tokens.Text(type, collations.EncoderFor(*column.codePage).Encode(statement.Text(index), type.size));
      break;
    case WireType::NVarChar: {
      const Bytes utf16 = Utf16Bytes(statement.Text(index));
      tokens.Text(type, {reinterpret_cast<const char*>(utf16.data()), std::min<std::size_t>(utf16.size(), type.size)});
      break;
    }
  }
}

}  // namespace

std::vector<Column> DescribeColumns(const Statement& statement, const Collations& collations, bool hasRow) {
  std::vector<Column> columns;
  columns.reserve(static_cast<std::size_t>(statement.ColumnCount()));
  for (int i = 0; i < statement.ColumnCount(); ++i) {
    columns.push_back({.name = std::string(statement.ColumnName(i)),
                       .type = DescribeType(statement, i, hasRow),
                       .codePage = &DescribeCodePage(statement, i, hasRow, collations)});
  }
  return columns;
}

void WriteRow(const Statement& statement, const std::vector<Column>& columns, Collations& collations,
              TokenWriter& tokens) {
  tokens.BeginRow();
  for (int i = 0; const Column& column : columns) {
    WriteValue(statement, i++, column, collations, tokens);
  }
  tokens.EndRow();
}

}  // namespace tds
