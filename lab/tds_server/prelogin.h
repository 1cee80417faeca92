#ifndef BW_LAB_TDS_SERVER_PRELOGIN_H
#define BW_LAB_TDS_SERVER_PRELOGIN_H

#include <optional>

#include "lab/tds_server/bytes.h"

namespace tds {

/// What a client says before it logs in.
struct PreLogin {
  std::optional<std::uint8_t> encryption;

  /// The client will go away on hearing that there is no encryption.
  bool RequiresEncryption() const { return encryption == 3; }
};

/// \throws ProtocolError when the list of options does not end or points outside the message.
PreLogin ParsePreLogin(ByteSpan payload);

/// The answer: the server's version, and that it supports neither encryption nor several results at a time.
Bytes PreLoginResponse();

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_PRELOGIN_H
