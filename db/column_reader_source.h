#ifndef BW_DB_COLUMN_READER_SOURCE_H
#define BW_DB_COLUMN_READER_SOURCE_H

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>

#include "db/columns.h"
#include "db/table_source.h"

namespace db {

/// The bytes that a field gets at its start in place of a NULL.
struct NullReplacement {
  std::array<std::byte, sizeof(double)> bytes;
  std::size_t size;
};

/// How one column is read with SQLGetData.
template <class Row>
struct ColumnRead {
  Column<Row> column;
  SQLSMALLINT cType;
  /// Without it no indicator is asked for: a NULL is the driver's to refuse. One that does not, such as FreeTDS, leaves
  /// the field with what the row before had there.
  std::optional<NullReplacement> onNull;
};

/// A column that may be NULL, by its name, and what its field gets then.
struct Nullable {
  std::string_view column;
  NullReplacement replacement;
  std::optional<SQLSMALLINT> cType{};

  /// The same, read with a C type that departs from the column's kind.
  constexpr Nullable WithCType(SQLSMALLINT type) const { return {column, replacement, type}; }
};

/// A NULL becomes the value, stored over the start of the field.
template <class Value>
constexpr Nullable NullAs(std::string_view column, Value value) {
  const auto bytes = std::bit_cast<std::array<std::byte, sizeof(Value)>>(value);
  NullReplacement replacement{.bytes = {}, .size = bytes.size()};
  std::copy(bytes.begin(), bytes.end(), replacement.bytes.begin());
  return {.column = column, .replacement = replacement};
}

/// Every column read as its kind says and without an indicator, but for those that may be NULL.
template <class Row, std::size_t N, std::size_t M>
constexpr std::array<ColumnRead<Row>, N> ReadEach(const std::array<Column<Row>, N>& columns,
                                                  const Nullable (&nullable)[M]) {
  std::array<ColumnRead<Row>, N> reads{};
  std::transform(columns.begin(), columns.end(), reads.begin(), [](const Column<Row>& column) {
    return ColumnRead<Row>{.column = column, .cType = column.cType, .onNull = std::nullopt};
  });
  for (const Nullable& exception : nullable) {
    const Column<Row>& column = ColumnNamed(columns, exception.column);
    if (exception.replacement.size > column.size) {
      throw std::invalid_argument("the replacement of a NULL does not fit into the field");
    }
    reads[column.position] = {
        .column = column, .cType = exception.cType.value_or(column.cType), .onNull = exception.replacement};
  }
  return reads;
}

/// The source of a table whose columns are read one by one with SQLGetData instead of being bound, because some of them
/// may be NULL and get a fixed value then. The table's declaration has an array `reads` beside the columns.
template <class Row>
class DBTableColumnReaderSrc : public DBTableSrc<Row> {
 public:
  /// Fetches the next row and reads its columns in order; nothing at the end of the data. A failing fetch or read, such
  /// as a text that is no number, deliberately ends the table in the same way, without a message.
  std::optional<Row> Next() override {
    if (!FetchRow() || !ReadColumns(reads_)) {
      return std::nullopt;
    }
    return this->row_;
  }

 protected:
  template <class Table>
  DBTableColumnReaderSrc(const odbc::DBConnection& source, Table declaration)
      : DBTableSrc<Row>(source, declaration, ColumnAccess::OneByOne), reads_(Table::reads) {
    static_assert(Table::reads.size() == Table::columns.size(), "every column must be read exactly once");
  }

  ~DBTableColumnReaderSrc() = default;

  std::span<const ColumnRead<Row>> reads() const noexcept { return reads_; }

  /// Fetches the next row; false at the end of the data or on an error.
  bool FetchRow() { return odbc::Succeeded(SQLFetch(this->statement_)); }

  /// Reads columns of the fetched row, in order, into the row buffer; false as soon as one fails.
  bool ReadColumns(std::span<const ColumnRead<Row>> reads) {
    return std::all_of(reads.begin(), reads.end(), [this](const ColumnRead<Row>& read) { return ReadColumn(read); });
  }

 private:
  bool ReadColumn(const ColumnRead<Row>& read) {
    void* const field = read.column.field(this->row_);
    SQLLEN indicator = 0;
    const SQLRETURN result =
        SQLGetData(this->statement_, static_cast<SQLUSMALLINT>(read.column.position + 1), read.cType, field,
                   static_cast<SQLLEN>(read.column.size), read.onNull ? &indicator : nullptr);
    if (!odbc::Succeeded(result)) {
      return false;
    }
    if (read.onNull && indicator == SQL_NULL_DATA) {
      std::memcpy(field, read.onNull->bytes.data(), read.onNull->size);
    }
    return true;
  }

  std::span<const ColumnRead<Row>> reads_;
};

}  // namespace db

#endif  // BW_DB_COLUMN_READER_SOURCE_H
