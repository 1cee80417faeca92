#ifndef BW_ODBC_DIAGNOSTICS_H
#define BW_ODBC_DIAGNOSTICS_H

#include <sql.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace odbc {

/// Whether an ODBC call succeeded: SQL_SUCCESS or SQL_SUCCESS_WITH_INFO. Every other value is a failure, SQL_NO_DATA
/// included.
constexpr bool Succeeded(SQLRETURN result) noexcept {
  return (result & ~1) == 0;
}

/// What a failed call left on its handle.
struct Diagnostics {
  std::string text;   ///< See GetDiagnostics.
  std::string state;  ///< Of the first record, such as "23505"; empty when there is none.
};

/// A failed ODBC call. The message is the text of GetDiagnostics.
class Error : public std::runtime_error {
 public:
  explicit Error(Diagnostics diagnostics)
      : std::runtime_error(diagnostics.text), state_(std::move(diagnostics.state)) {}

  /// The state of the first diagnostic record; empty when there is none.
  const std::string& state() const noexcept { return state_; }

  /// Whether the state is of this class, its first two characters.
  bool IsOfClass(std::string_view stateClass) const { return state_.substr(0, 2) == stateClass; }

 private:
  std::string state_;
};

/// Reads all diagnostic records of a handle.
Diagnostics ReadDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle);

/// All diagnostic records of a handle as one text on one line: "SQL Error: ", then for each record "State = ", the
/// state, " Code = ", the native code, " Message = " and the message, cut to 511 bytes, with nothing between two
/// records. A handle without records, a null or a freed one gives "SQL Error: " alone.
std::string GetDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle);

/// GetDiagnostics for the handle type in the name.
std::string GetStatementDiagnostics(SQLHSTMT statement);
std::string GetConnectionDiagnostics(SQLHDBC connection);
std::string GetEnvironmentDiagnostics(SQLHENV environment);

}  // namespace odbc

#endif  // BW_ODBC_DIAGNOSTICS_H
