#include "check/after/destination_cursor.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <stdexcept>

#include "odbc/diagnostics.h"
#include "odbc/statement.h"

namespace check {

namespace {

// Rows that the driver holds in memory at a time.
constexpr std::size_t kRowsAtATime = 2000;
constexpr std::size_t kFirstBufferSize = 8192;

/// Whether the driver is told to convert line ends, which it does to whatever is a text.
bool ConvertsLineEnds(const odbc::DBConnection& destination) {
  return QueryValue(destination, "SELECT chr(10)") != "\n";
}

/// The first of a record's characters that ends an unquoted field, or its end.
std::size_t LengthOfUnquoted(std::string_view text) {
  // One pass: the library's search for one of several characters takes a call for each character.
  return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), [](char c) { return c == ',' || c == ')'; }) -
                                  text.begin());
}

}  // namespace

DestinationCursor::DestinationCursor(const odbc::DBConnection& destination, std::string_view list,
                                     std::string_view rest)
    : statement_(destination), asBytes_(ConvertsLineEnds(destination)), buffer_(kFirstBufferSize) {
  std::string row = "CAST(ROW(" + std::string(list) + ") AS text)";
  if (asBytes_) {
    row = "convert_to(" + row + ", pg_client_encoding())";
  }
  statement_.Execute("BEGIN TRANSACTION ISOLATION LEVEL REPEATABLE READ READ ONLY");
  try {
    // So many digits that no two numbers look alike.
    statement_.Execute("SET LOCAL extra_float_digits = 3");
    statement_.Execute("DECLARE bw_check_rows NO SCROLL CURSOR FOR SELECT " + row + " " + std::string(rest));
    FetchMore();
  } catch (...) {
    odbc::ExecuteDirect(statement_.handle(), "ROLLBACK");
    throw;
  }
}

DestinationCursor::~DestinationCursor() {
  SQLFreeStmt(statement_.handle(), SQL_CLOSE);
  odbc::ExecuteDirect(statement_.handle(), "ROLLBACK");
}

bool DestinationCursor::Fetch() {
  for (;;) {
    const SQLRETURN result = SQLFetch(statement_.handle());
    if (result != SQL_NO_DATA) {
      odbc::RequireSuccess(result, statement_.handle());
      ++fetched_;
      ReadRecord();
      return true;
    }
    if (fetched_ < kRowsAtATime) {
      return false;
    }
    FetchMore();
  }
}

void DestinationCursor::FetchMore() {
  static const std::string fetch = "FETCH FORWARD " + std::to_string(kRowsAtATime) + " FROM bw_check_rows";
  odbc::RequireSuccess(SQLFreeStmt(statement_.handle(), SQL_CLOSE), statement_.handle());
  statement_.Execute(fetch);
  fetched_ = 0;
}

void DestinationCursor::ReadRecord() {
  // A text has a zero behind it, also where it goes on.
  const std::size_t terminator = asBytes_ ? 0 : 1;
  std::size_t read = 0;
  for (;;) {
    SQLLEN length = 0;
    const SQLRETURN result = SQLGetData(statement_.handle(), 1, asBytes_ ? SQL_C_BINARY : SQL_C_CHAR,
                                        buffer_.data() + read, static_cast<SQLLEN>(buffer_.size() - read), &length);
    odbc::RequireSuccess(result, statement_.handle());
    if (result == SQL_SUCCESS) {
      rest_ = {buffer_.data(), read + static_cast<std::size_t>(length)};
      break;
    }
    read = buffer_.size() - terminator;
    buffer_.resize(2 * buffer_.size());
  }
  Take('(');
  atFirstField_ = true;
}

std::optional<std::string_view> DestinationCursor::NextField() {
  if (!atFirstField_) {
    Take(',');
  }
  atFirstField_ = false;
  if (rest_.starts_with('"')) {
    return TakeQuoted();
  }
  const std::string_view field = rest_.substr(0, LengthOfUnquoted(rest_));
  rest_.remove_prefix(field.size());
  return field.empty() ? std::nullopt : std::optional(field);
}

void DestinationCursor::Take(char expected) {
  if (!rest_.starts_with(expected)) {
    throw std::runtime_error("a row of the destination cannot be read");
  }
  rest_.remove_prefix(1);
}

/// PostgreSQL shows a row in parentheses, with commas between its fields, nothing for NULL, and quotes around a field
/// that needs them; quotes and backslashes inside are doubled.
std::string_view DestinationCursor::TakeQuoted() {
  Take('"');
  unquoted_.clear();
  for (;;) {
    const std::size_t length = std::min(rest_.find_first_of("\"\\"), rest_.size());
    unquoted_.append(rest_.substr(0, length));
    rest_.remove_prefix(length);
    const char special = rest_.empty() ? '\0' : rest_.front();
    Take(special == '\\' ? '\\' : '"');
    if (rest_.starts_with(special)) {
      unquoted_.push_back(special);
      rest_.remove_prefix(1);
    } else if (special == '"') {
      return unquoted_;
    }
  }
}

}  // namespace check
