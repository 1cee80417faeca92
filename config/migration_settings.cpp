#include "config/migration_settings.h"

#include "config/profile_file.h"

namespace config {

namespace {

constexpr std::size_t kMaxValueLength = 1023;

}  // namespace

ConnectionSettings ReadConnectionSettings(const std::string& path, const std::string& section) {
  const auto read = [&](std::string_view key) {
    return ReadProfileString(path, section, std::string(key), kMaxValueLength);
  };
  ConnectionSettings settings;
  settings.dataSourceName = read(kDataSourceKey);
  settings.login = read(kLoginKey);
  settings.schema = read(kSchemaKey);
  if (!settings.schema.empty()) {
    settings.schema += '.';
  }
  return settings;
}

MigrationSettings::MigrationSettings(std::string_view configurationPath)
    : path(configurationPath),
      source(ReadConnectionSettings(path, std::string(kSourceSection))),
      destination(ReadConnectionSettings(path, std::string(kDestinationSection))) {}

}  // namespace config
