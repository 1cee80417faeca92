#ifndef BW_LAB_TDS_SERVER_LOGIN_H
#define BW_LAB_TDS_SERVER_LOGIN_H

#include <string>

#include "lab/tds_server/bytes.h"
#include "lab/tds_server/protocol_version.h"

namespace tds {

/// What the server uses of a LOGIN7 request.
struct Login {
  ProtocolVersion version;
  std::uint32_t packetSize;  ///< as requested; 0 leaves it to the server
  bool integratedSecurity;   ///< the client offers an operating system's user in place of name and password
  std::string user;
  std::string password;
  std::string application;
  std::string database;
};

/// \throws ProtocolError when a field lies outside the message or the client speaks a version before 7.1.
Login ParseLogin(ByteSpan payload);

/// The packet size that follows from a requested one.
std::size_t NegotiatedPacketSize(std::uint32_t requested);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_LOGIN_H
