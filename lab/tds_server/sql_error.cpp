#include "lab/tds_server/sql_error.h"

#include <sqlite3.h>

#include <optional>
#include <string_view>

namespace tds {

namespace {

/// What stands between `before` and `after` when `message` consists of nothing else.
std::optional<std::string> Between(std::string_view message, std::string_view before, std::string_view after = {}) {
  if (message.size() < before.size() + after.size() || !message.starts_with(before) || !message.ends_with(after)) {
    return std::nullopt;
  }
  return std::string(message.substr(before.size(), message.size() - before.size() - after.size()));
}

/// "Comment" for "dbo.Clients.Comment".
std::string LastPart(const std::string& name) {
  return name.substr(name.rfind('.') + 1);
}

std::string AllButLastPart(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? std::string{} : name.substr(0, dot);
}

SqlError InvalidColumn(const std::string& name) {
  return {207, 16, 1, "Invalid column name '" + LastPart(name) + "'."};
}

SqlError ConstraintError(int extendedCode, const std::string& message) {
  switch (extendedCode) {
    case SQLITE_CONSTRAINT_NOTNULL: {
      const std::string column = Between(message, "NOT NULL constraint failed: ").value_or(message);
      return {515, 16, 2,
              "Cannot insert the value NULL into column '" + LastPart(column) + "', table '" + AllButLastPart(column) +
                  "'; column does not allow nulls. INSERT fails."};
    }
    case SQLITE_CONSTRAINT_PRIMARYKEY:
    case SQLITE_CONSTRAINT_ROWID:
    case SQLITE_CONSTRAINT_UNIQUE: {
      const std::string columns = Between(message, "UNIQUE constraint failed: ").value_or(message);
      return {2627, 14, 1, "Violation of a key constraint. Cannot insert duplicate key in object '" + columns + "'."};
    }
    default:
      return {547, 16, 0, "The statement conflicted with a constraint: " + message + "."};
  }
}

/// The errors that SQLite has one code for and tells apart in the message.
std::optional<SqlError> GeneralError(const std::string& message) {
  if (const auto table = Between(message, "no such table: ")) {
    return SqlError(208, 16, 1, "Invalid object name '" + *table + "'.");
  }
  if (const auto column = Between(message, "no such column: ")) {
    return InvalidColumn(*column);
  }
  if (const std::size_t at = message.find(" has no column named ");
      message.starts_with("table ") && at != std::string::npos) {
    return InvalidColumn(message.substr(at + std::string_view(" has no column named ").size()));
  }
  if (const auto function = Between(message, "no such function: ")) {
    return SqlError(195, 15, 10, "'" + *function + "' is not a recognized built-in function name.");
  }
  if (const auto near = Between(message, "near \"", "\": syntax error")) {
    return SyntaxError(*near);
  }
  if (const auto token = Between(message, "unrecognized token: \"", "\"")) {
    return token->starts_with('\'')
               ? SqlError(105, 15, 1, "Unclosed quotation mark after the character string '" + token->substr(1) + "'.")
               : SyntaxError(*token);
  }
  if (message == "incomplete input") {
    return SyntaxError("");
  }
  if (message.ends_with(" values were supplied") || message.ends_with(" values for ")) {
    return SqlError(213, 16, 1, "Column name or number of supplied values does not match table definition.");
  }
  if (const auto object = Between(message, "table ", " already exists")) {
    return SqlError(2714, 16, 6, "There is already an object named '" + *object + "' in the database.");
  }
  return std::nullopt;
}

}  // namespace

SqlError TranslateSqliteError(int extendedCode, const std::string& message) {
  constexpr int kPrimaryCodeMask = 0xFF;
  switch (extendedCode & kPrimaryCodeMask) {
    case SQLITE_CONSTRAINT:
      return ConstraintError(extendedCode, message);
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {1222, 16, 51, "Lock request time out period exceeded."};
    case SQLITE_AUTH:
      return {229, 14, 5, "The permission was denied: " + message + "."};
    default:
      break;
  }
  if (const std::optional<SqlError> error = GeneralError(message)) {
    return *error;
  }
  constexpr int kUserDefined = 50000;
  return {kUserDefined, 16, 1, message};
}

}  // namespace tds
