#include "check/cli/identity.h"

#include <sql.h>
#include <sqlext.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "check/sql/query.h"

namespace check {

namespace {

/// Empty when the driver does not say.
std::string Info(const odbc::DBConnection& connection, SQLUSMALLINT type) {
  return DriverInfo(connection, type).value_or("");
}

/// The port that the connection leads to; empty when the server does not say.
std::string PortOf(Side side, const odbc::DBConnection& connection) {
  const std::optional<TextRow> row = OptionalRow(
      connection, side == Side::Source ? "SELECT CAST(CONNECTIONPROPERTY('local_tcp_port') AS varchar(5))"
                                       : "SELECT coalesce(inet_server_port()::text, current_setting('port'))");
  return row ? Text(*row, 0) : "";
}

}  // namespace

ComparedSide Identify(Side side, const odbc::DBConnection& connection, const config::ConnectionSettings& settings) {
  return {.dataSource = settings.dataSourceName,
          .login = settings.login,
          .schema = settings.schema.substr(0, settings.schema.find_last_not_of('.') + 1),
          .server = Info(connection, SQL_SERVER_NAME),
          .port = PortOf(side, connection),
          .database = Info(connection, SQL_DATABASE_NAME),
          .product = Info(connection, SQL_DBMS_NAME) + " " + Info(connection, SQL_DBMS_VER),
          .driver = Info(connection, SQL_DRIVER_NAME) + " " + Info(connection, SQL_DRIVER_VER)};
}

std::string LocalTime() {
  const std::time_t now = std::time(nullptr);
  const std::tm local = *std::localtime(&now);
  // By themselves: on Windows %z is the zone's name.
  std::tm universal = *std::gmtime(&now);
  universal.tm_isdst = local.tm_isdst;
  const auto minutes = static_cast<int>(std::difftime(now, std::mktime(&universal)) / 60);
  const int size = std::abs(minutes);
  std::array<char, 64> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S ", &local);
  static_cast<void>(std::snprintf(text.data() + length, text.size() - length, "%c%02d%02d", minutes < 0 ? '-' : '+',
                                  size / 60, size % 60));
  return text.data();
}

}  // namespace check
