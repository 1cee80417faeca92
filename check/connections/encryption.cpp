#include "check/connections/encryption.h"

#include <string_view>

#include "check/sql/query.h"

namespace check {

namespace {

std::optional<bool> IsText(const std::optional<std::string>& value, std::string_view ifTrue) {
  return value ? std::optional(*value == ifTrue) : std::nullopt;
}

std::string_view TitleOf(Side side) {
  return side == Side::Source ? "Source" : "Destination";
}

}  // namespace

Encryption SourceEncryption(const odbc::DBConnection& source) {
  const auto row = OptionalRow(
      source,
      "SELECT encrypt_option, CASE WHEN net_transport = 'Shared memory' OR client_net_address IN ('<local machine>', "
      "'127.0.0.1', '::1') OR client_net_address = local_net_address THEN 'TRUE' ELSE 'FALSE' END FROM "
      "sys.dm_exec_connections WHERE session_id = @@SPID;");
  return row ? Encryption{.on = IsText(row->at(0), "TRUE"), .local = IsText(row->at(1), "TRUE"), .version = {}}
             : Encryption{};
}

Encryption DestinationEncryption(const odbc::DBConnection& destination) {
  Encryption encryption;
  if (const auto row =
          OptionalRow(destination, "SELECT ssl::text, version FROM pg_stat_ssl WHERE pid = pg_backend_pid()")) {
    encryption.on = IsText(row->at(0), "true");
    encryption.version = Text(*row, 1);
  }
  // Without an address the connection is a Unix socket.
  if (const auto row = OptionalRow(
          destination,
          "SELECT (inet_client_addr() IS NULL OR inet_client_addr() <<= inet '127.0.0.0/8' OR inet_client_addr() = "
          "inet '::1' OR inet_client_addr() = inet_server_addr())::text")) {
    encryption.local = IsText(row->at(0), "true");
  }
  return encryption;
}

std::string EncryptionFact(Side side, const Encryption& encryption) {
  std::string fact = std::string(TitleOf(side)) + ": encryption ";
  if (!encryption.on) {
    return fact + "unknown.";
  }
  if (*encryption.on) {
    return fact + "on" + (encryption.version.empty() ? "" : ", " + encryption.version) + ".";
  }
  return fact + "off" + (encryption.local.value_or(false) ? ", on the server's own computer." : ".");
}

std::optional<Finding> UnencryptedFinding(Side side, const Encryption& encryption) {
  if (encryption.on.value_or(true) || encryption.local.value_or(false)) {
    return std::nullopt;
  }
  return Finding(finding::ConnectionUnencrypted,
                 "The connection to the " + std::string(side == Side::Source ? "source" : "destination") +
                     " is not encrypted: rows can be read on their way. " +
                     (side == Side::Source ? "Set Encryption = require in the data source (FreeTDS)."
                                           : "Set SSLmode = require in the data source, or a stricter mode."));
}

}  // namespace check
