#ifndef BW_CHECK_RULES_SOURCE_READER_H
#define BW_CHECK_RULES_SOURCE_READER_H

#include <sql.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/table_description.h"
#include "odbc/connection.h"
#include "odbc/statement.h"

namespace check::rules {

/// A field of a row buffer.
template <class Value>
Value ValueAt(const char* bytes) {
  Value value{};
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

/// What the source's driver does with a NULL that is read without an indicator.
enum class NullReading : std::uint8_t {
  Fails,   ///< The call fails.
  Keeps,   ///< It succeeds, and the buffer keeps what it held.
  Clears,  ///< It succeeds, and the buffer holds zeros.
};

/// By db::ValueKind.
using NullReadings = std::array<NullReading, 3>;

/// Asks the driver, by reading a NULL of each kind.
///
/// \throws odbc::Error when the source cannot be asked.
NullReadings ProbeNulls(const odbc::DBConnection& source);

/// The values of one row of the source, by the columns' positions from 0. A copy is independent of the reader.
class SourceRow {
 public:
  bool IsNull(std::size_t column) const { return fields_[column].indicator == SQL_NULL_DATA; }

  /// The value of a column that is read as a number of 32 bits or as a double.
  std::int32_t Number(std::size_t column) const { return ValueAt<std::int32_t>(data_.data() + fields_[column].offset); }
  double Real(std::size_t column) const { return ValueAt<double>(data_.data() + fields_[column].offset); }

  /// The bytes that arrive in a field of the column's size; zero bytes among them are kept.
  std::string_view Text(std::size_t column) const;

  /// Whether the source's text is longer than what arrives in the field.
  bool IsCut(std::size_t column) const;

  /// Whether the value does not convert to the field's type: the migrator ends the table here.
  bool IsUnreadable(std::size_t column) const { return fields_[column].unreadable; }

  /// The source's own value as a text, where its type is not that of the field and reading can change it.
  std::optional<std::string_view> Original(std::size_t column) const;

  /// The source's own text in UTF-16, of a column that is read so too.
  std::optional<std::string_view> Utf16(std::size_t column) const;

 private:
  friend class SourceReader;

  struct Field {
    std::size_t offset = 0;
    std::size_t size = 0;
    SQLLEN indicator = 0;
    bool unreadable = false;
    std::size_t original = 0;  ///< The position of the field with the source's own value; 0 when there is none.
    std::size_t utf16 = 0;     ///< The same of the field with the text in UTF-16.
  };

  std::string_view TextOf(const Field& field) const;

  std::vector<Field> fields_;
  std::vector<char> data_;
};

/// A text column that is read a second time, in UTF-16.
struct Utf16Column {
  std::size_t column;      ///< Its position.
  std::string expression;  ///< What is selected, in SQL.
  SQLSMALLINT cType;       ///< SQL_C_BINARY or SQL_C_WCHAR.
  std::size_t size;        ///< The most bytes of a value.
};

/// Reads a source table with the migrator's own query, so in its order, and with buffers of the same sizes, so with the
/// same cuts; but with indicators, so that a NULL is seen. A column whose type in the source is not that of the field
/// is selected a second time, as a text.
class SourceReader {
 public:
  /// \throws odbc::Error with the diagnostics.
  SourceReader(const odbc::DBConnection& source, const db::TableDescription& table,
               const std::vector<Utf16Column>& inUtf16 = {});

  /// Reads the next row; false after the last one.
  ///
  /// \throws odbc::Error with the diagnostics when the server or the connection fails.
  bool Next();

  /// The row read last.
  const SourceRow& row() const noexcept { return row_; }

 private:
  void Convert(std::size_t column);

  odbc::Statement statement_;
  std::vector<SQLSMALLINT> cTypes_;
  SourceRow row_;
};

/// The table's own query for none of its rows.
std::string EmptyQuery(const db::TableDescription& table, std::string_view schema);

}  // namespace check::rules

#endif  // BW_CHECK_RULES_SOURCE_READER_H
