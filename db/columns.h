#ifndef BW_DB_COLUMNS_H
#define BW_DB_COLUMNS_H

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

#include "db/field.h"
#include "db/field_text.h"
#include "db/text_stream.h"

/// How a table declares its columns and its statement's parameters.
///
/// A column is declared once, as Int32<&Row::Num> or VarChar<&Row::Code>: the field gives its name and size, the word
/// its kind. The source bindings, the destination parameters and the text of a row all come from that declaration.
namespace db {

/// The arguments of SQLBindCol behind the statement, in its order.
struct ColumnBinding {
  SQLUSMALLINT number;  ///< Position in the SELECT list, from 1.
  SQLSMALLINT cType;
  SQLPOINTER buffer;    ///< The field in the owning object's row buffer.
  SQLLEN bufferLength;  ///< Bytes.
  SQLLEN* indicator;    ///< Always null: a NULL makes the fetch fail.
};

/// The arguments of SQLBindParameter behind the statement, in its order.
struct ParameterBinding {
  SQLUSMALLINT number;    ///< Position of the "?" marker, from 1.
  SQLSMALLINT direction;  ///< SQL_PARAM_INPUT, or SQL_PARAM_OUTPUT for what a procedure returns.
  SQLSMALLINT cType;
  SQLSMALLINT sqlType;
  SQLULEN columnSize;
  SQLSMALLINT decimalDigits;  ///< Always 0.
  SQLPOINTER buffer;          ///< The field in the owning object's row buffer.
  SQLLEN bufferLength;        ///< Always 0.
  SQLLEN* indicator;          ///< Always null: a text ends at its first zero, and nothing is sent as NULL.
};

/// One field of a row record and how it travels.
template <class Row>
struct Column {
  std::string_view name;
  std::string_view label;  ///< ", [name] = ", what stands before the value when a row is printed.
  std::size_t position;    ///< Of the field in the row record, from 0.
  SQLSMALLINT cType;
  SQLSMALLINT sqlType;
  std::size_t size;                                   ///< Bytes of the field; a text's terminating zero included.
  void* (*field)(Row&);                               ///< The field's address in a row.
  std::size_t textSize;                               ///< What `writeText` needs.
  char* (*writeText)(char* to, const Row&) noexcept;  ///< See WriteFieldText.
  std::ostream& (*insert)(std::ostream& to, const Row& row);  ///< The field's value, formatted as the stream is set.
};

namespace detail {

template <auto Field>
using FieldTypeOf = typename MemberPointer<decltype(Field)>::FieldType;

template <auto Field>
using RowOf = typename MemberPointer<decltype(Field)>::RowType;

inline constexpr std::string_view kSeparator = ", ";

template <auto Field>
constexpr auto MakeLabel() {
  constexpr std::string_view open = "[";
  constexpr std::string_view close = "] = ";
  std::array<char, kSeparator.size() + open.size() + kFieldName<Field>.size() + close.size()> label{};
  auto end = label.begin();
  for (const std::string_view part : {kSeparator, open, kFieldName<Field>, close}) {
    end = std::copy(part.begin(), part.end(), end);
  }
  return label;
}

template <auto Field>
inline constexpr auto kLabel = MakeLabel<Field>();

template <auto Field>
char* WriteText(char* to, const RowOf<Field>& row) noexcept {
  if constexpr (std::is_array_v<FieldTypeOf<Field>>) {
    return WriteFieldText(to, row.*Field, std::size(row.*Field));
  } else {
    return WriteFieldText(to, row.*Field);
  }
}

template <auto Field>
std::ostream& Insert(std::ostream& stream, const RowOf<Field>& row) {
  if constexpr (std::is_array_v<FieldTypeOf<Field>>) {
    const auto& text = row.*Field;
    return stream << std::string_view(text, static_cast<std::size_t>(std::find(text, std::end(text), '\0') - text));
  } else {
    return stream << row.*Field;
  }
}

template <auto Field>
constexpr Column<RowOf<Field>> MakeColumn(SQLSMALLINT cType, SQLSMALLINT sqlType) {
  return {.name = kFieldName<Field>,
          .label = {kLabel<Field>.data(), kLabel<Field>.size()},
          .position = kFieldPosition<Field>,
          .cType = cType,
          .sqlType = sqlType,
          .size = sizeof(FieldTypeOf<Field>),
          .field = [](RowOf<Field>& row) -> void* { return &(row.*Field); },
          .textSize = kFieldTextSize<FieldTypeOf<Field>>,
          .writeText = &WriteText<Field>,
          .insert = &Insert<Field>};
}

template <auto Field>
constexpr Column<RowOf<Field>> MakeInt32() {
  static_assert(std::is_same_v<FieldTypeOf<Field>, std::int32_t>,
                "the field of an Int32 column must be an std::int32_t");
  return MakeColumn<Field>(SQL_C_LONG, SQL_INTEGER);
}

template <auto Field>
constexpr Column<RowOf<Field>> MakeDouble() {
  static_assert(std::is_same_v<FieldTypeOf<Field>, double>, "the field of a Double column must be a double");
  return MakeColumn<Field>(SQL_C_DOUBLE, SQL_DOUBLE);
}

template <auto Field>
constexpr Column<RowOf<Field>> MakeText(SQLSMALLINT sqlType) {
  static_assert(std::is_same_v<FieldTypeOf<Field>, char[sizeof(FieldTypeOf<Field>)]>,
                "the field of a text column must be an array of char");
  return MakeColumn<Field>(SQL_C_CHAR, sqlType);
}

}  // namespace detail

/// The value kinds. Text fields hold one byte more than the column is wide, for the terminating zero; Char and VarChar
/// differ only in the SQL type that the destination is told.
template <auto Field>
inline constexpr auto Int32 = detail::MakeInt32<Field>();
template <auto Field>
inline constexpr auto Double = detail::MakeDouble<Field>();
template <auto Field>
inline constexpr auto Char = detail::MakeText<Field>(SQL_CHAR);
template <auto Field>
inline constexpr auto VarChar = detail::MakeText<Field>(SQL_VARCHAR);

/// The binding of the column at a position (from 1) of the SELECT list to its field in the row buffer.
template <class Row>
ColumnBinding BindColumn(std::size_t position, const Column<Row>& column, Row& row) {
  return {.number = static_cast<SQLUSMALLINT>(position),
          .cType = column.cType,
          .buffer = column.field(row),
          .bufferLength = static_cast<SQLLEN>(column.size),
          .indicator = nullptr};
}

/// One parameter of a destination statement: a column, and what is told about it.
template <class Row>
struct Parameter {
  Column<Row> column;
  SQLSMALLINT direction;
  SQLSMALLINT cType;
  SQLULEN columnSize;
};

/// The binding of the parameter at a position (from 1) to its field in the row buffer.
template <class Row>
ParameterBinding BindParameter(std::size_t position, const Parameter<Row>& parameter, Row& row) {
  return {.number = static_cast<SQLUSMALLINT>(position),
          .direction = parameter.direction,
          .cType = parameter.cType,
          .sqlType = parameter.column.sqlType,
          .columnSize = parameter.columnSize,
          .decimalDigits = 0,
          .buffer = parameter.column.field(row),
          .bufferLength = 0,
          .indicator = nullptr};
}

/// The columns without the first one: the identifier that the destination assigns anew.
template <class Row, std::size_t N>
constexpr std::array<Column<Row>, N - 1> WithoutFirst(const std::array<Column<Row>, N>& columns) {
  std::array<Column<Row>, N - 1> others{};
  std::copy(columns.begin() + 1, columns.end(), others.begin());
  return others;
}

/// A parameter by its column's name, with what departs from the column's kind.
struct ParameterOf {
  std::string_view column;
  SQLSMALLINT direction;
  std::optional<SQLULEN> columnSize{};
  std::optional<SQLSMALLINT> cType{};

  constexpr ParameterOf WithColumnSize(SQLULEN size) const { return {column, direction, size, cType}; }
  constexpr ParameterOf WithCType(SQLSMALLINT type) const { return {column, direction, columnSize, type}; }
};

constexpr ParameterOf Input(std::string_view column) {
  return {column, SQL_PARAM_INPUT};
}
constexpr ParameterOf Output(std::string_view column) {
  return {column, SQL_PARAM_OUTPUT};
}

/// The column of that name. Only for declarations: a name that is not there does not compile.
template <class Row, std::size_t N>
constexpr const Column<Row>& ColumnNamed(const std::array<Column<Row>, N>& columns, std::string_view name) {
  const auto found =
      std::find_if(columns.begin(), columns.end(), [name](const Column<Row>& column) { return column.name == name; });
  return found != columns.end() ? *found : throw std::invalid_argument("no column has this name");
}

namespace detail {

template <class Row, std::size_t N>
constexpr Parameter<Row> MakeParameter(const std::array<Column<Row>, N>& columns, const ParameterOf& parameter) {
  const Column<Row>& column = ColumnNamed(columns, parameter.column);
  return {.column = column,
          .direction = parameter.direction,
          .cType = parameter.cType.value_or(column.cType),
          .columnSize = parameter.columnSize.value_or(column.size)};
}

}  // namespace detail

/// The listed parameters, in the order of a procedure.
template <class Row, std::size_t N, std::size_t M>
constexpr std::array<Parameter<Row>, M> Parameters(const std::array<Column<Row>, N>& columns,
                                                   const ParameterOf (&list)[M]) {
  std::array<Parameter<Row>, M> parameters{};
  std::transform(std::begin(list), std::end(list), parameters.begin(),
                 [&columns](const ParameterOf& parameter) { return detail::MakeParameter(columns, parameter); });
  return parameters;
}

/// All columns as input parameters in the same order, but for the given exceptions each as its kind says.
template <class Row, std::size_t N, std::same_as<ParameterOf>... Exceptions>
constexpr std::array<Parameter<Row>, N> AllInput(const std::array<Column<Row>, N>& columns,
                                                 const Exceptions&... exceptions) {
  std::array<Parameter<Row>, N> parameters{};
  std::transform(columns.begin(), columns.end(), parameters.begin(),
                 [&columns](const Column<Row>& column) { return detail::MakeParameter(columns, Input(column.name)); });
  ((parameters[ColumnNamed(columns, exceptions.column).position - columns.front().position] =
        detail::MakeParameter(columns, exceptions)),
   ...);
  return parameters;
}

namespace detail {

/// The room that WriteRowText needs.
template <const auto& columns>
consteval std::size_t RowTextSize() {
  std::size_t size = 1;
  for (const auto& column : columns) {
    size += column.label.size() + column.textSize;
  }
  return size;
}

/// Writes what PrintRow inserts into a new stream; returns its end. One piece of code for each table, without a loop:
/// between two executes of a driver and a server nothing of it is in the processor's caches any more.
template <const auto& columns, class Row, std::size_t... positions>
char* WriteRowText(char* to, const Row& row, std::index_sequence<positions...> /*all*/) noexcept {
  const auto write = [&]<std::size_t position>() {
    constexpr std::string_view label = columns[position].label.substr(position == 0 ? kSeparator.size() : 0);
    constexpr auto writeText = columns[position].writeText;
    std::memcpy(to, label.data(), label.size());
    to = writeText(to + label.size(), row);
  };
  (write.template operator()<positions>(), ...);
  *to++ = ';';
  return to;
}

}  // namespace detail

/// Writes a row as the log shows it: "[Name] = value" for each column, ", " between two, ";" behind the last. Numbers
/// are formatted as the stream is set, texts end at their first zero. `columns` is the table's declaration of them.
template <const auto& columns, class Row>
std::ostream& PrintRow(std::ostream& stream, const Row& row) {
  if (TextStream* const text = TextStream::FormattingAsNew(stream)) {
    text->Append(detail::RowTextSize<columns>(), [&row](char* to) {
      return detail::WriteRowText<columns>(to, row, std::make_index_sequence<columns.size()>());
    });
    return stream;
  }
  std::size_t skipped = detail::kSeparator.size();
  for (const Column<Row>& column : columns) {
    column.insert(stream << column.label.substr(skipped), row);
    skipped = 0;
  }
  return stream << ';';
}

}  // namespace db

#endif  // BW_DB_COLUMNS_H
