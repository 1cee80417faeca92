#ifndef BW_CHECK_CONNECTIONS_ENCRYPTION_H
#define BW_CHECK_CONNECTIONS_ENCRYPTION_H

#include <optional>
#include <string>

#include "check/report/finding.h"
#include "odbc/connection.h"

namespace check {

/// How a server sees the connection; what it does not say is unknown.
struct Encryption {
  std::optional<bool> on;
  std::optional<bool> local;  ///< The connection does not leave the server's computer.
  std::string version;        ///< Such as "TLSv1.3".
};

Encryption SourceEncryption(const odbc::DBConnection& source);
Encryption DestinationEncryption(const odbc::DBConnection& destination);

/// Such as "Source: encryption off, on the server's own computer."
std::string EncryptionFact(Side side, const Encryption& encryption);

/// Of a connection that is known to be in the clear, and not known to stay on one computer.
std::optional<Finding> UnencryptedFinding(Side side, const Encryption& encryption);

}  // namespace check

#endif  // BW_CHECK_CONNECTIONS_ENCRYPTION_H
