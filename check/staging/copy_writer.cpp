#include "check/staging/copy_writer.h"

#include <sqlext.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "check/rules/row_rules.h"
#include "check/rules/rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "odbc/diagnostics.h"
#include "odbc/text.h"

namespace check::staging {

namespace {

// Room for what is stored of a value; what is longer was changed in any case.
constexpr std::size_t kResultSize = 1024;

/// Whether the server or the connection is in trouble, so that it was not the row that was refused.
bool IsTrouble(const odbc::Error& error) {
  constexpr std::array<std::string_view, 9> classes = {"08", "25", "40", "53", "55", "57", "58", "HY", "XX"};
  return std::ranges::any_of(classes, [&error](std::string_view each) { return error.IsOfClass(each); });
}

std::optional<double> NumberOf(std::string_view text) {
  if (text == "t" || text == "true") {
    return 1;
  }
  if (text == "f" || text == "false") {
    return 0;
  }
  double number = 0;
  const auto [end, error] = std::from_chars(text.begin(), text.end(), number);
  return error == std::errc() && end == text.end() ? std::optional(number) : std::nullopt;
}

/// A number that a column of any type has from a sequence, some of which write 1 as 1.0.
///
/// \throws Unforeseen when the migrator cannot take it.
std::optional<std::int32_t> AssignedOf(std::string_view text, bool returned) {
  const std::optional<double> number = NumberOf(text);
  if (!number) {
    return std::nullopt;
  }
  if (std::abs(*number) > std::numeric_limits<std::int32_t>::max()) {
    if (returned) {
      throw Unforeseen("its sequence gives numbers beyond 32 bits, which the procedure must return");
    }
    return std::nullopt;
  }
  return static_cast<std::int32_t>(*number);
}

/// A float8 as float8send shows it: no setting of the session rounds that.
std::optional<double> DoubleOfHex(std::string_view hex) {
  std::uint64_t bits = 0;
  const auto [end, error] = std::from_chars(hex.begin(), hex.end(), bits, 16);
  return error == std::errc() && end == hex.end() && hex.size() == 16 ? std::optional(std::bit_cast<double>(bits))
                                                                      : std::nullopt;
}

}  // namespace

std::string_view CopyWriter::Result::Text() const {
  const std::size_t room = text.size() - 1;
  return {text.data(), length < 0 ? room : std::min(room, static_cast<std::size_t>(length))};
}

CopyWriter::CopyWriter(const odbc::DBConnection& destination, const Copy& copy)
    : destination_(destination),
      copy_(copy),
      imageSize_(copy.table->rowSize),
      numbersPerRow_(1 + ReplacedNumbers(*copy.table).size()),
      images_((kBatch + 1) * imageSize_),
      numbers_((kBatch + 1) * numbersPerRow_),
      results_(copy.changing.size() + copy.numbered.size()) {
  const std::string_view assigned = rules::RulesOf(copy.table->name).assigned;
  for (const NumberedColumn& column : copy.numbered) {
    if (column.column == assigned) {
      assigned_ = numberings_.size();
    }
    const TextRow row =
        QueryRows(destination, "SELECT last_value::text, is_called::text FROM " + column.sequence).at(0);
    numberings_.push_back({.sequence = column.sequence, .value = row[0].value_or(""), .used = row[1] == "true"});
  }
  for (Result& result : results_) {
    result.text.resize(kResultSize);
  }
  one_ = Prepare(1, kBatch);
}

std::unique_ptr<odbc::Statement> CopyWriter::Prepare(std::size_t rows, std::size_t firstSlot) {
  const db::TableDescription& table = *copy_.table;
  std::vector<std::string> names;
  std::vector<std::string> markers;
  for (const db::ParameterDescription& parameter : table.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      names.push_back(Quoted(parameter.column));
      const auto type = copy_.parameterTypes.find(parameter.column);
      markers.push_back(type == copy_.parameterTypes.end() ? "?" : "CAST(? AS " + type->second + ")");
    }
  }
  names.emplace_back(kPositionColumn);
  for (const std::string_view column : ReplacedNumbers(table)) {
    names.push_back(Quoted(SourceNumberColumn(column)));
  }
  markers.resize(names.size(), "?");
  const std::string row = "(" + Joined(markers) + ")";
  std::string sql = "INSERT INTO " + copy_.path + " (" + Joined(names) + ") VALUES " + row;
  for (std::size_t i = 1; i < rows; ++i) {
    sql += ", " + row;
  }
  std::vector<std::string> returned;
  for (const std::size_t column : copy_.changing) {
    const std::string name = Quoted(table.columns[column].name);
    // The output function and not a cast to text, which takes the padding of a char(n) away.
    returned.push_back(copy_.asDoubles.contains(column)
                           ? "encode(float8send(" + name + "::float8), 'hex')"
                           : "CASE WHEN " + name + " IS NOT NULL THEN concat(" + name + ") END");
  }
  for (const NumberedColumn& column : copy_.numbered) {
    returned.push_back(Quoted(column.column) + "::text");
  }
  if (!returned.empty()) {
    sql += " RETURNING " + Joined(returned);
  }

  auto statement = std::make_unique<odbc::Statement>(destination_);
  statement->Require(SQLPrepare(statement->handle(), odbc::AsSqlText(sql), static_cast<SQLINTEGER>(sql.size())));
  SQLUSMALLINT number = 0;
  for (std::size_t slot = firstSlot; slot < firstSlot + rows; ++slot) {
    for (const db::ParameterDescription& parameter : table.parameters) {
      if (parameter.direction == SQL_PARAM_INPUT) {
        const std::size_t offset = table.columns[rules::ColumnPosition(table, parameter.column)].offset;
        statement->Require(SQLBindParameter(statement->handle(), ++number, SQL_PARAM_INPUT, parameter.cType,
                                            parameter.sqlType, parameter.columnSize, 0,
                                            images_.data() + slot * imageSize_ + offset, 0, nullptr));
      }
    }
    for (std::size_t i = 0; i < numbersPerRow_; ++i) {
      statement->Require(SQLBindParameter(statement->handle(), ++number, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 0, 0,
                                          &numbers_[slot * numbersPerRow_ + i], 0, nullptr));
    }
  }
  for (std::size_t i = 0; i < results_.size(); ++i) {
    statement->Require(SQLBindCol(statement->handle(), static_cast<SQLUSMALLINT>(i + 1), SQL_C_CHAR,
                                  results_[i].text.data(), static_cast<SQLLEN>(results_[i].text.size()),
                                  &results_[i].length));
  }
  return statement;
}

void CopyWriter::Add(const char* image, std::int32_t position, const std::vector<std::int32_t>& sourceNumbers) {
  std::memcpy(images_.data() + rows_ * imageSize_, image, imageSize_);
  const auto numbers = numbers_.begin() + static_cast<std::ptrdiff_t>(rows_ * numbersPerRow_);
  *numbers = position;
  std::ranges::copy(sourceNumbers, numbers + 1);
  ++rows_;
}

const std::vector<Stored>& CopyWriter::Write() {
  stored_.assign(rows_, {});
  // A row may refer to an earlier one of the same statement, but not to a later one: then they are sent one by one.
  if (rows_ < kBatch || copy_.refersToItself || !WriteAll()) {
    for (std::size_t row = 0; row < rows_; ++row) {
      WriteOne(row);
    }
  }
  rows_ = 0;
  return stored_;
}

bool CopyWriter::WriteAll() {
  if (!many_) {
    many_ = Prepare(kBatch, 0);
  }
  if (WhyRefused(*many_)) {
    return false;
  }
  Read(*many_, 0, kBatch);
  return true;
}

void CopyWriter::WriteOne(std::size_t row) {
  std::memcpy(images_.data() + kBatch * imageSize_, image(row), imageSize_);
  std::copy_n(numbers_.begin() + static_cast<std::ptrdiff_t>(row * numbersPerRow_), numbersPerRow_,
              numbers_.begin() + static_cast<std::ptrdiff_t>(kBatch * numbersPerRow_));
  if (const std::optional<odbc::Error> refusal = WhyRefused(*one_)) {
    stored_[row].refusal = Explain(*refusal, row);
    stored_[row].assigned = SkipNumber();
    return;
  }
  Read(*one_, row, 1);
}

/// Executes a statement. Returns why the destination refuses it; nothing when it stores the rows.
std::optional<odbc::Error> CopyWriter::WhyRefused(const odbc::Statement& statement) {
  try {
    statement.Require(SQLExecute(statement.handle()));
    return std::nullopt;
  } catch (const odbc::Error& error) {
    // The check's session may write to no other table, and a sequence has its last number in the session that took it.
    if (error.state() == "25006" || error.state() == "55000") {
      throw Unforeseen("what the table calls uses other tables or sequences");
    }
    if (IsTrouble(error)) {
      throw;
    }
    SQLFreeStmt(statement.handle(), SQL_CLOSE);
    RestoreNumbers();
    return error;
  }
}

std::optional<std::int32_t> CopyWriter::SkipNumber() {
  std::optional<std::int32_t> skipped;
  for (std::size_t i = 0; i < numberings_.size(); ++i) {
    try {
      numberings_[i].value =
          QueryValue(destination_, "SELECT nextval(?::regclass)::text", {numberings_[i].sequence}).value_or("");
      numberings_[i].used = true;
    } catch (const odbc::Error& error) {
      // 2200H: there are no more numbers, as there are none for any later row.
      if (error.state() != "2200H") {
        throw;
      }
      continue;
    }
    if (i == assigned_) {
      skipped = AssignedOf(numberings_[i].value, !copy_.parameterTypes.empty());
    }
  }
  return skipped;
}

void CopyWriter::Read(const odbc::Statement& statement, std::size_t firstRow, std::size_t rows) {
  for (std::size_t row = firstRow; !results_.empty() && row < firstRow + rows; ++row) {
    statement.Require(SQLFetch(statement.handle()));
    ReadChanges(row);
    for (std::size_t i = 0; i < numberings_.size(); ++i) {
      const Result& result = results_[copy_.changing.size() + i];
      if (result.IsNull()) {
        continue;
      }
      numberings_[i].value = result.Text();
      numberings_[i].used = true;
      if (i == assigned_) {
        stored_[row].assigned = AssignedOf(result.Text(), !copy_.parameterTypes.empty());
      }
    }
  }
  SQLFreeStmt(statement.handle(), SQL_CLOSE);
}

/// Compares what came back with what was sent.
void CopyWriter::ReadChanges(std::size_t row) {
  for (std::size_t i = 0; i < copy_.changing.size(); ++i) {
    const std::size_t column = copy_.changing[i];
    const db::ColumnDescription& description = copy_.table->columns[column];
    const char* const field = image(row) + description.offset;
    const Result& result = results_[i];
    const std::string_view text = result.Text();
    bool same = false;
    std::string shown = "NULL";
    const bool isText =
        description.kind == db::ValueKind::Text && !rules::IsSentAsNumber(*copy_.table, description.name);
    if (isText && !result.IsNull()) {
      same = text == rules::TextAt(field, description.size);
      shown = rules::Shown(text);
    } else if (!result.IsNull()) {
      const bool isDouble = description.kind == db::ValueKind::Double;
      const double sent =
          isDouble ? rules::ValueAt<double>(field) : static_cast<double>(rules::ValueAt<std::int32_t>(field));
      const bool asDouble = copy_.asDoubles.contains(column);
      const std::optional<double> stored = asDouble ? DoubleOfHex(text) : NumberOf(text);
      // The bytes, since -0 equals 0.
      same = stored && std::bit_cast<std::uint64_t>(*stored) == std::bit_cast<std::uint64_t>(sent);
      shown = asDouble && stored ? rules::Shown(*stored) : std::string(text);
    }
    if (!same) {
      stored_[row].changed.push_back({.column = column, .value = std::move(shown)});
    }
  }
}

/// Sets the sequences back to the last row that was stored: a refused statement has used numbers up.
void CopyWriter::RestoreNumbers() {
  for (const Numbering& numbering : numberings_) {
    QueryValue(destination_, "SELECT setval(?::regclass, ?::bigint, ?::boolean)",
               {numbering.sequence, numbering.value, numbering.used ? "true" : "false"});
  }
}

Refusal CopyWriter::Explain(const odbc::Error& error, std::size_t row) const {
  Refusal refusal{.state = error.state(), .constraint = {}, .columns = {}, .message = error.what(), .referred = {}};
  // The first line of the message ends with the constraint's name, in whatever language it is. Other names can be in it
  // too, such as the table's.
  const std::string line = refusal.message.substr(0, refusal.message.find('\n'));
  const CopyConstraint* named = nullptr;
  std::size_t namedEnd = 0;
  for (const CopyConstraint& constraint : copy_.constraints) {
    const std::size_t place = line.rfind(constraint.name);
    if (constraint.state != refusal.state || place == std::string::npos) {
      continue;
    }
    const std::size_t end = place + constraint.name.size();
    if (named == nullptr || end > namedEnd || (end == namedEnd && constraint.name.size() > named->name.size())) {
      named = &constraint;
      namedEnd = end;
    }
  }
  if (named != nullptr) {
    refusal.constraint = named->original;
    refusal.columns = named->columns;
    refusal.referred = named->referred;
  } else if (error.IsOfClass("22")) {
    refusal.columns = RefusedColumn(row);
  }
  return refusal;
}

/// The first column whose value the server refuses by itself, too.
std::vector<std::string> CopyWriter::RefusedColumn(std::size_t row) const {
  for (const db::ColumnDescription& column : copy_.table->columns) {
    const auto type = copy_.types.find(column.name);
    if (type != copy_.types.end() && Refuses(row, type->first, type->second)) {
      return {type->first};
    }
  }
  return {};
}

bool CopyWriter::Refuses(std::size_t row, const std::string& column, const std::string& type) const {
  const db::ColumnDescription& description = copy_.table->columns[rules::ColumnPosition(*copy_.table, column)];
  const std::string value = rules::SentValue(image(row), description, rules::IsSentAsNumber(*copy_.table, column));
  try {
    // A cast cuts what is too long without an error, unlike an INSERT.
    const auto limit = copy_.limits.find(column);
    const TextRow answer =
        QueryRows(destination_, "SELECT char_length(?::text)::text, CAST(? AS " + type + ")::text", {value, value})
            .at(0);
    return limit != copy_.limits.end() && std::stoul(answer.at(0).value_or("0")) > limit->second;
  } catch (const odbc::Error& error) {
    if (IsTrouble(error)) {
      throw;
    }
    return true;
  }
}

}  // namespace check::staging
