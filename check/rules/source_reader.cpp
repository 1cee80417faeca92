#include "check/rules/source_reader.h"

#include <sqlext.h>

#include <algorithm>

#include "check/rules/rules.h"
#include "db/statement_text.h"
#include "odbc/diagnostics.h"

namespace check::rules {

namespace {

// Room for any number as a text, or for a text that is read as a number.
constexpr std::size_t kOriginalSize = 256;

struct Reader {
  SQLSMALLINT cType;
  std::size_t size;
};

Reader ReaderOf(const db::ColumnDescription& column, Reading reading) {
  if (reading == Reading::DoubleIntoInt32 || column.kind == db::ValueKind::Double) {
    return {SQL_C_DOUBLE, sizeof(double)};
  }
  if (reading == Reading::Int32IntoText || column.kind == db::ValueKind::Int32) {
    return {SQL_C_LONG, sizeof(std::int32_t)};
  }
  return {SQL_C_CHAR, column.size};
}

/// Whether every value of a source type is read as itself or not at all.
bool ReadsExactly(SQLSMALLINT sqlType, SQLSMALLINT cType) {
  switch (sqlType) {
    case SQL_BIT:
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
      return true;
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE:
      return cType == SQL_C_DOUBLE;
    default:
      return cType == SQL_C_CHAR;
  }
}

std::vector<SQLSMALLINT> SourceTypes(const odbc::DBConnection& source, const db::TableDescription& table) {
  const odbc::Statement statement(source);
  statement.Execute(EmptyQuery(table, source.schema()));
  std::vector<SQLSMALLINT> types(table.columns.size());
  for (std::size_t i = 0; i < types.size(); ++i) {
    statement.Require(SQLDescribeCol(statement.handle(), static_cast<SQLUSMALLINT>(i + 1), nullptr, 0, nullptr,
                                     &types[i], nullptr, nullptr, nullptr));
  }
  return types;
}

NullReading Probe(const odbc::DBConnection& source, std::string_view type, SQLSMALLINT cType) {
  const odbc::Statement statement(source);
  statement.Execute("SELECT CAST(NULL AS " + std::string(type) + ");");
  statement.Require(SQLFetch(statement.handle()));
  constexpr char kMark = 0x5A;
  std::array<char, sizeof(double)> buffer{};
  buffer.fill(kMark);
  if (!odbc::Succeeded(SQLGetData(statement.handle(), 1, cType, buffer.data(), buffer.size(), nullptr))) {
    return NullReading::Fails;
  }
  return buffer.front() == kMark ? NullReading::Keeps : NullReading::Clears;
}

}  // namespace

NullReadings ProbeNulls(const odbc::DBConnection& source) {
  NullReadings readings{};
  readings[static_cast<std::size_t>(db::ValueKind::Int32)] = Probe(source, "int", SQL_C_LONG);
  readings[static_cast<std::size_t>(db::ValueKind::Double)] = Probe(source, "float", SQL_C_DOUBLE);
  readings[static_cast<std::size_t>(db::ValueKind::Text)] = Probe(source, "varchar(8)", SQL_C_CHAR);
  return readings;
}

std::string_view SourceRow::TextOf(const Field& field) const {
  const std::size_t room = field.size - 1;
  // A driver that does not know how long a cut text was says so with SQL_NO_TOTAL, a negative number.
  const std::size_t length = field.indicator < 0 ? room : std::min(room, static_cast<std::size_t>(field.indicator));
  return {data_.data() + field.offset, length};
}

std::string_view SourceRow::Text(std::size_t column) const {
  return TextOf(fields_[column]);
}

bool SourceRow::IsCut(std::size_t column) const {
  const Field& field = fields_[column];
  return field.indicator == SQL_NO_TOTAL ||
         (field.indicator >= 0 && static_cast<std::size_t>(field.indicator) >= field.size);
}

std::optional<std::string_view> SourceRow::Original(std::size_t column) const {
  const std::size_t original = fields_[column].original;
  return original == 0 ? std::nullopt : std::optional(TextOf(fields_[original]));
}

std::optional<std::string_view> SourceRow::Utf16(std::size_t column) const {
  const std::size_t utf16 = fields_[column].utf16;
  return utf16 == 0 ? std::nullopt : std::optional(TextOf(fields_[utf16]));
}

SourceReader::SourceReader(const odbc::DBConnection& source, const db::TableDescription& table,
                           const std::vector<Utf16Column>& inUtf16)
    : statement_(source) {
  const TableRules& rules = RulesOf(table.name);
  const std::vector<SQLSMALLINT> types = SourceTypes(source, table);
  std::vector<Reader> readers;
  std::string others;
  row_.fields_.resize(types.size());
  for (std::size_t i = 0; i < types.size(); ++i) {
    const Reading reading = RuleOf(rules, table.columns[i].name).reading;
    readers.push_back(ReaderOf(table.columns[i], reading));
    if (!ReadsExactly(types[i], readers[i].cType)) {
      others += ", [" + std::string(table.columns[i].name) + "]";
      row_.fields_[i].original = row_.fields_.size();
      row_.fields_.emplace_back();
    }
  }
  readers.resize(row_.fields_.size(), {SQL_C_CHAR, kOriginalSize});
  for (const Utf16Column& column : inUtf16) {
    others += ", " + column.expression;
    row_.fields_[column.column].utf16 = readers.size();
    // The driver may end a text in UTF-16 with a zero.
    readers.push_back({column.cType, column.size + sizeof(SQLWCHAR)});
    row_.fields_.emplace_back();
  }
  std::size_t size = 0;
  for (std::size_t i = 0; i < readers.size(); ++i) {
    row_.fields_[i].offset = size;
    row_.fields_[i].size = readers[i].size;
    size += readers[i].size;
    cTypes_.push_back(readers[i].cType);
  }
  row_.data_.resize(size);

  std::string sql = db::WithSchema(table.select, source.schema());
  statement_.Execute(sql.insert(sql.find(" FROM "), others));
  for (std::size_t i = 0; i < readers.size(); ++i) {
    SourceRow::Field& field = row_.fields_[i];
    // What may not convert is read by itself, so that it does not fail the whole row.
    if (field.original == 0) {
      statement_.Require(SQLBindCol(statement_.handle(), static_cast<SQLUSMALLINT>(i + 1), cTypes_[i],
                                    row_.data_.data() + field.offset, static_cast<SQLLEN>(field.size),
                                    &field.indicator));
    }
  }
}

bool SourceReader::Next() {
  const SQLRETURN result = SQLFetch(statement_.handle());
  if (result == SQL_NO_DATA) {
    return false;
  }
  statement_.Require(result);
  for (std::size_t i = 0; i < row_.fields_.size(); ++i) {
    if (row_.fields_[i].original != 0) {
      Convert(i);
    }
  }
  return true;
}

void SourceReader::Convert(std::size_t column) {
  SourceRow::Field& field = row_.fields_[column];
  field.unreadable = false;
  try {
    statement_.Require(SQLGetData(statement_.handle(), static_cast<SQLUSMALLINT>(column + 1), cTypes_[column],
                                  row_.data_.data() + field.offset, static_cast<SQLLEN>(field.size), &field.indicator));
  } catch (const odbc::Error& error) {
    // 07006: the type does not convert.
    if (!error.IsOfClass("22") && error.state() != "07006") {
      throw;
    }
    field.unreadable = true;
    field.indicator = 0;
  }
}

std::string EmptyQuery(const db::TableDescription& table, std::string_view schema) {
  std::string sql = db::WithSchema(table.select, schema);
  if (sql.ends_with(';')) {
    sql.pop_back();
  }
  return sql + " WHERE 1 = 0;";
}

}  // namespace check::rules
