#pragma once

#include <memory>
#include <optional>
#include <string>

#include "batch_runner.h"
#include "connection.h"
#include "login.h"
#include "logins.h"
#include "options.h"
#include "packet.h"
#include "procedures.h"
#include "tokens.h"

namespace tds {

/// The dialogue with one client, from the prelogin to the end of the connection.
class Session {
 public:
  /// The references must outlive the session. `session_id` is unique among the open sessions.
  Session(const Options& options, const Logins& logins, Connection& connection, std::uint16_t session_id);

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
  std::uint16_t session_id_;
  PacketWriter packets_;
  ProtocolVersion version_ = ProtocolVersion::k74;
  std::optional<TokenWriter> tokens_;
  std::optional<BatchRunner> runner_;
  std::optional<Procedures> procedures_;
};

}  // namespace tds
