#ifndef BW_ODBC_CONNECTION_H
#define BW_ODBC_CONNECTION_H

#include <sql.h>

#include <cstdint>
#include <string>

namespace odbc {

/// Which server answered a connection.
enum class ServerKind : std::int32_t { Unknown = 0, SqlServer = 1, PostgreSql = 2 };

/// One data source: its login, its ODBC environment and connection, and the kind of server behind it.
///
/// Call sequence: construct, Connect, CheckSchemaVersion (source only), construct the table objects on it, destroy
/// them, destroy the connection. The table objects copy its handles, so it must outlive them and stays where it is.
class DBConnection {
 public:
  /// The schema is put as it stands in front of every table name, so it carries its own trailing separator.
  DBConnection(const std::string& dataSourceName, const std::string& login, const std::string& password,
               const std::string& schema);

  /// Disconnects, frees the handles and wipes the password. Never throws; failures are ignored.
  ~DBConnection();

  DBConnection(const DBConnection&) = delete;
  DBConnection(DBConnection&&) = delete;
  DBConnection& operator=(const DBConnection&) = delete;
  DBConnection& operator=(DBConnection&&) = delete;

  /// Connects, wipes the password and asks the server for its name. Returns whether the server is one of the two
  /// accepted kinds; the connection stays open when it is not.
  ///
  /// \throws std::runtime_error with the diagnostics of the environment or connection, or with an empty message when
  /// the server's name cannot be read.
  bool Connect();

  /// Whether the schema version stored in the source database is exactly 29. Call on a connected SQL Server only.
  ///
  /// \throws std::runtime_error with the statement's diagnostics, also when the version is missing or is no number.
  bool CheckSchemaVersion();

  SQLHDBC connection() const noexcept { return connection_; }
  SQLHENV environment() const noexcept { return environment_; }
  const std::string& schema() const noexcept { return schema_; }
  bool connected() const noexcept { return connected_; }
  ServerKind serverKind() const noexcept { return serverKind_; }

  /// Empty once connected.
  const std::string& password() const noexcept { return password_; }

 private:
  std::string dataSourceName_;
  std::string login_;
  std::string password_;
  std::string schema_;
  SQLHENV environment_ = SQL_NULL_HENV;
  SQLHDBC connection_ = SQL_NULL_HDBC;
  bool connected_ = false;
  ServerKind serverKind_ = ServerKind::Unknown;
};

}  // namespace odbc

#endif  // BW_ODBC_CONNECTION_H
