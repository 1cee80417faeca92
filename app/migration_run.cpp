#include "app/migration_run.h"

#include <sql.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "app/console_echo.h"
#include "config/file_names.h"
#include "config/migration_settings.h"
#include "config/profile_file.h"
#include "db/migrate_table.h"
#include "db/tables/table_list.h"
#include "logging/logger.h"
#include "odbc/connection.h"
#include "odbc/secret.h"

namespace app {

namespace {

using odbc::DBConnection;

Logger logger;

std::filesystem::path InWorkingDirectory(std::string_view fileName) {
  std::error_code error;
  const std::filesystem::path directory = std::filesystem::current_path(error);
  if (error) {
    throw std::filesystem::filesystem_error("current_path()", error);
  }
  return directory / fileName;
}

void RequireConfigurationFile(const std::filesystem::path& path) {
  if (!config::ProfileFileExists(path)) {
    throw std::invalid_argument("Error: Configuration file does not exist");
  }
}

/// Reads one line. The only copy of it that stays is the returned one, which the caller wipes: neither the library's
/// input buffer nor a text that was outgrown keeps one.
std::string AskPassword(std::string_view prompt) {
  constexpr std::size_t longest = std::numeric_limits<SQLSMALLINT>::max();
  std::cout << prompt;
  std::string password;
  password.reserve(longest);
  std::getline(std::cin, password, '\n');
  return password;
}

void MigrateTables(const DBConnection& /*source*/, const DBConnection& /*destination*/, db::TableList<> /*none*/) {}

/// Builds and migrates the first pair, then the others while it is still alive: a table is emptied only when the one
/// before it is done, and the pairs are destroyed from the last to the first.
template <class Pair, class... Others>
void MigrateTables(const DBConnection& source, const DBConnection& destination,
                   db::TableList<Pair, Others...> /*tables*/) {
  Pair pair(source, destination);
  db::MigrateTable(pair, logger, std::cout);
  MigrateTables(source, destination, db::TableList<Others...>{});
}

void Migrate() {
  const std::filesystem::path configurationPath = InWorkingDirectory(config::kConfigurationFileName);
  RequireConfigurationFile(configurationPath);
  const std::filesystem::path logPath = InWorkingDirectory(config::kLogFileName);
  if (!logger.Open(logPath)) {
    std::cout << "Warning: Can't open log file" << std::endl;
  }

  SwitchOffConsoleEcho();
  static_cast<void>(std::setvbuf(stdin, nullptr, _IONBF, 0));  // See AskPassword.
  std::string sourcePassword = AskPassword("Enter the password for source database: ");
  std::string destinationPassword = AskPassword("\nEnter the password for destination database: ");
  std::cout << std::endl;

  const config::MigrationSettings settings(configurationPath.string());
  DBConnection source(settings.source.dataSourceName, settings.source.login, sourcePassword, settings.source.schema);
  odbc::Wipe(sourcePassword);
  DBConnection destination(settings.destination.dataSourceName, settings.destination.login, destinationPassword,
                           settings.destination.schema);
  odbc::Wipe(destinationPassword);

  // An unknown server deliberately ends the run without a word.
  if (!source.Connect() || !destination.Connect()) {
    return;
  }
  if (source.serverKind() != odbc::ServerKind::SqlServer || destination.serverKind() != odbc::ServerKind::PostgreSql) {
    throw std::invalid_argument("Error: Migration is only possible from Microsoft SQL Server to PostgreSQL");
  }
  if (!source.CheckSchemaVersion()) {
    throw std::invalid_argument("Error: Migration is possible only for version 29 of the Brantwell database");
  }
  MigrateTables(source, destination, db::Tables{});
}

}  // namespace

void RunMigration() {
  try {
    Migrate();
  } catch (const std::invalid_argument& refusal) {
    std::cout << refusal.what() << std::endl;
    logger.Log(refusal.what());
  } catch (const std::exception& failure) {
    // Deliberately not on the console.
    logger.Log(failure.what());
  }
  logger.Close();
}

}  // namespace app
