#ifndef BW_CONFIG_FILE_NAMES_H
#define BW_CONFIG_FILE_NAMES_H

#include <string_view>

/// The two files in the working directory that both programs know.
namespace config {

inline constexpr std::string_view kConfigurationFileName = "bw_migrate.ini";
inline constexpr std::string_view kLogFileName = "bw_db_migrate.log";

}  // namespace config

#endif  // BW_CONFIG_FILE_NAMES_H
