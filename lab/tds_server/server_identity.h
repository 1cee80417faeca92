#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tds {

struct ServerVersion {
  std::uint8_t major_number;
  std::uint8_t minor_number;
  std::uint16_t build;
};

/// The version that the server names in the prelogin answer, in the login acknowledgement and in @@VERSION.
inline constexpr ServerVersion kServerVersion = {.major_number = 12, .minor_number = 0, .build = 2000};

/// The name of the server in its messages and in @@SERVERNAME.
inline constexpr std::string_view kServerName = "LAB";

inline constexpr std::string_view kLanguage = "us_english";

inline std::string ServerVersionText() {
  return std::to_string(kServerVersion.major_number) + "." + std::to_string(kServerVersion.minor_number) + "." +
         std::to_string(kServerVersion.build);
}

/// The text of message 5701, which goes with every change of the database.
inline std::string DatabaseChangedMessage(std::string_view database) {
  return "Changed database context to '" + std::string(database) + "'.";
}

}  // namespace tds
