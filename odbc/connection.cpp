#include "odbc/connection.h"

#include <sqlext.h>

#include <array>
#include <stdexcept>
#include <string_view>

#include "odbc/diagnostics.h"
#include "odbc/secret.h"
#include "odbc/statement.h"
#include "odbc/text.h"

namespace odbc {

namespace {

// The names that the drivers report for the two accepted servers.
constexpr std::string_view kSqlServerName = "Microsoft SQL Server";
constexpr std::string_view kPostgreSqlName = "PostgreSQL";
constexpr std::size_t kServerNameSize = 512;

// The owner is part of the text: the configured schema plays no role here.
constexpr std::string_view kSchemaVersionQuery = "SELECT [KeyValue] FROM [dbo].[SystemData] WHERE [KeyName] = 'dbver';";
constexpr SQLINTEGER kSchemaVersion = 29;

SQLSMALLINT ShortLength(const std::string& text) {
  return static_cast<SQLSMALLINT>(text.size());
}

}  // namespace

// Copied and not moved: a short text that was moved from keeps its letters, and the caller wipes its own password.
// NOLINTBEGIN(modernize-pass-by-value)
DBConnection::DBConnection(const std::string& dataSourceName, const std::string& login, const std::string& password,
                           const std::string& schema)
    : dataSourceName_(dataSourceName), login_(login), password_(password), schema_(schema) {}
// NOLINTEND(modernize-pass-by-value)

DBConnection::~DBConnection() {
  if (connection_ != SQL_NULL_HDBC) {
    SQLDisconnect(connection_);
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
  }
  if (environment_ != SQL_NULL_HENV) {
    SQLFreeEnv(environment_);
  }
  Wipe(password_);
}

bool DBConnection::Connect() {
  // The environment deliberately stays at the driver manager's default for this older call: no version is set, so the
  // drivers report the older states.
  if (!Succeeded(SQLAllocEnv(&environment_))) {
    throw Error(ReadDiagnostics(SQL_HANDLE_ENV, environment_));
  }
  if (!Succeeded(SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_))) {
    throw Error(ReadDiagnostics(SQL_HANDLE_ENV, environment_));
  }
  if (!Succeeded(SQLConnect(connection_, AsSqlText(dataSourceName_), ShortLength(dataSourceName_), AsSqlText(login_),
                            ShortLength(login_), AsSqlText(password_), ShortLength(password_)))) {
    throw Error(ReadDiagnostics(SQL_HANDLE_DBC, connection_));
  }
  connected_ = true;
  Wipe(password_);

  if (connection_ == SQL_NULL_HDBC) {
    throw std::runtime_error("");
  }
  std::array<char, kServerNameSize> serverName{};
  if (!Succeeded(SQLGetInfo(connection_, SQL_DBMS_NAME, serverName.data(), static_cast<SQLSMALLINT>(serverName.size()),
                            nullptr))) {
    throw std::runtime_error("");
  }
  if (serverName.data() == kSqlServerName) {
    serverKind_ = ServerKind::SqlServer;
    return true;
  }
  if (serverName.data() == kPostgreSqlName) {
    serverKind_ = ServerKind::PostgreSql;
    return true;
  }
  return false;
}

bool DBConnection::CheckSchemaVersion() {
  SQLHSTMT statement = AllocateStatement(connection_);
  // On failure the statement is deliberately left to the driver manager, which frees it with the connection.
  RequireSuccess(ExecuteDirect(statement, kSchemaVersionQuery), statement);
  RequireSuccess(SQLFetch(statement), statement);
  SQLINTEGER version = -1;
  RequireSuccess(SQLGetData(statement, 1, SQL_C_LONG, &version, sizeof(version), nullptr), statement);
  RequireSuccess(SQLFreeHandle(SQL_HANDLE_STMT, statement), statement);
  return version == kSchemaVersion;
}

}  // namespace odbc
