#ifndef BW_LAB_TDS_SERVER_SERVER_IDENTITY_H
#define BW_LAB_TDS_SERVER_SERVER_IDENTITY_H

#include <cstdint>
#include <string>
#include <string_view>

namespace tds {

struct ServerVersion {
  std::uint8_t majorNumber;
  std::uint8_t minorNumber;
  std::uint16_t build;
};

/// The version that the server names in the prelogin answer, in the login acknowledgement and in @@VERSION.
inline constexpr ServerVersion kServerVersion = {.majorNumber = 12, .minorNumber = 0, .build = 2000};

/// The name of the server in its messages and in @@SERVERNAME.
inline constexpr std::string_view kServerName = "LAB";

inline constexpr std::string_view kLanguage = "us_english";

inline std::string ServerVersionText() {
  return std::to_string(kServerVersion.majorNumber) + "." + std::to_string(kServerVersion.minorNumber) + "." +
         std::to_string(kServerVersion.build);
}

/// The text of message 5701, which goes with every change of the database.
inline std::string DatabaseChangedMessage(std::string_view database) {
  return "Changed database context to '" + std::string(database) + "'.";
}

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_SERVER_IDENTITY_H
