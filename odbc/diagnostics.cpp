#include "odbc/diagnostics.h"

#include <sqlext.h>

#include <array>

namespace odbc {

namespace {

constexpr std::size_t kStateSize = 6;
constexpr std::size_t kMessageSize = 512;

}  // namespace

Diagnostics ReadDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
  Diagnostics diagnostics{.text = "SQL Error: ", .state = {}};
  for (SQLSMALLINT record = 1;; ++record) {
    std::array<char, kStateSize> state{};
    SQLINTEGER nativeCode = 0;
    std::array<char, kMessageSize> message{};
    SQLSMALLINT messageLength = 0;
    const SQLRETURN result = SQLGetDiagRec(handleType, handle, record, reinterpret_cast<SQLCHAR*>(state.data()),
                                           &nativeCode, reinterpret_cast<SQLCHAR*>(message.data()),
                                           static_cast<SQLSMALLINT>(message.size()), &messageLength);
    if (!Succeeded(result)) {
      return diagnostics;
    }
    // The buffers are read up to their first zero, not by messageLength, which counts what did not fit as well.
    if (record == 1) {
      diagnostics.state = state.data();
    }
    diagnostics.text += "State = ";
    diagnostics.text += state.data();
    diagnostics.text += " Code = ";
    diagnostics.text += std::to_string(nativeCode);
    diagnostics.text += " Message = ";
    diagnostics.text += message.data();
  }
}

std::string GetDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
  return ReadDiagnostics(handleType, handle).text;
}

std::string GetStatementDiagnostics(SQLHSTMT statement) {
  return GetDiagnostics(SQL_HANDLE_STMT, statement);
}

std::string GetConnectionDiagnostics(SQLHDBC connection) {
  return GetDiagnostics(SQL_HANDLE_DBC, connection);
}

std::string GetEnvironmentDiagnostics(SQLHENV environment) {
  return GetDiagnostics(SQL_HANDLE_ENV, environment);
}

}  // namespace odbc
