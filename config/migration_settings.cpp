#include "config/migration_settings.h"

#include "config/profile_file.h"

namespace config {

namespace {

constexpr std::size_t kMaxValueLength = 1023;

}  // namespace

ConnectionSettings ReadConnectionSettings(const std::string& path, const std::string& section) {
  const auto read = [&](const std::string& key) { return ReadProfileString(path, section, key, kMaxValueLength); };
  ConnectionSettings settings;
  settings.dataSourceName = read("db_connection_name");
  settings.login = read("db_connection_login");
  settings.schema = read("db_schema");
  if (!settings.schema.empty()) {
    settings.schema += '.';
  }
  return settings;
}

MigrationSettings::MigrationSettings(std::string_view configurationPath)
    : path(configurationPath),
      source(ReadConnectionSettings(path, "DBSource")),
      destination(ReadConnectionSettings(path, "DBDestination")) {}

}  // namespace config
