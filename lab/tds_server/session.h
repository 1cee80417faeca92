#ifndef BW_LAB_TDS_SERVER_SESSION_H
#define BW_LAB_TDS_SERVER_SESSION_H

#include <memory>
#include <optional>
#include <string>

#include "lab/tds_server/batch_runner.h"
#include "lab/tds_server/connection.h"
#include "lab/tds_server/login.h"
#include "lab/tds_server/logins.h"
#include "lab/tds_server/options.h"
#include "lab/tds_server/packet.h"
#include "lab/tds_server/procedures.h"
#include "lab/tds_server/tokens.h"

namespace tds {

/// The dialogue with one client, from the prelogin to the end of the connection.
class Session {
 public:
  /// The references must outlive the session. `sessionId` is unique among the open sessions.
  Session(const Options& options, const Logins& logins, Connection& connection, std::uint16_t sessionId);

  /// Returns when the client has closed the connection or was refused.
  /// \throws ProtocolError, ConnectionClosed or std::runtime_error (the store does not open) when it has to end
  /// otherwise.
  void Run();

 private:
  /// The client's login request; none when it goes away before.
  std::optional<Login> ReceiveLogin();
  /// Answers the login. False when it is refused.
  bool AnswerLogin(const Login& login);
  void AnswerRequest(const Message& request);
  void AnswerTransactionRequest(const Message& request);
  void AcknowledgeAttention();

  const Options& options_;
  const Logins& logins_;
  Connection& connection_;
  std::uint16_t sessionId_;
  PacketWriter packets_;
  ProtocolVersion version_ = ProtocolVersion::V74;
  std::optional<TokenWriter> tokens_;
  std::optional<BatchRunner> runner_;
  std::optional<Procedures> procedures_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_SESSION_H
