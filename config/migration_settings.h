#ifndef BW_CONFIG_MIGRATION_SETTINGS_H
#define BW_CONFIG_MIGRATION_SETTINGS_H

#include <array>
#include <string>
#include <string_view>

namespace config {

/// The names by which the configuration file is read: both sections have the same keys.
inline constexpr std::string_view kSourceSection = "DBSource";
inline constexpr std::string_view kDestinationSection = "DBDestination";
inline constexpr std::string_view kDataSourceKey = "db_connection_name";
inline constexpr std::string_view kLoginKey = "db_connection_login";
inline constexpr std::string_view kSchemaKey = "db_schema";
inline constexpr std::array kSections = {kSourceSection, kDestinationSection};
inline constexpr std::array kKeys = {kDataSourceKey, kLoginKey, kSchemaKey};

/// What the configuration file says of one side.
struct ConnectionSettings {
  std::string dataSourceName;
  std::string login;
  std::string schema;    ///< With the "." behind it that separates it from a table name; empty when none is configured.
  std::string password;  ///< Always empty: passwords are typed, never configured.
};

/// Reads one section of the configuration file. A missing file, section or key gives empty texts; each value is cut to
/// 1023 bytes.
ConnectionSettings ReadConnectionSettings(const std::string& path, const std::string& section);

/// What the configuration file says of both sides.
struct MigrationSettings {
  /// Reads the two sections of the file.
  explicit MigrationSettings(std::string_view configurationPath);

  std::string path;
  ConnectionSettings source;
  ConnectionSettings destination;
};

}  // namespace config

#endif  // BW_CONFIG_MIGRATION_SETTINGS_H
