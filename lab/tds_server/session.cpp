#include "lab/tds_server/session.h"

#include <iostream>

#include "lab/tds_server/prelogin.h"
#include "lab/tds_server/request.h"
#include "lab/tds_server/server_identity.h"
#include "lab/tds_server/sql_error.h"

namespace tds {

namespace {

constexpr std::string_view kDefaultDatabase = "master";

}  // namespace

Session::Session(const Options& options, const Logins& logins, Connection& connection, std::uint16_t sessionId)
    : options_(options),
      logins_(logins),
      connection_(connection),
      sessionId_(sessionId),
      packets_([&connection](ByteSpan packet) { connection.Send(packet); }, sessionId) {}

void Session::Run() {
  const std::optional<Login> login = ReceiveLogin();
  if (!login || !AnswerLogin(*login)) {
    return;
  }
  while (const std::optional<Message> request = connection_.Receive()) {
    AnswerRequest(*request);
  }
}

std::optional<Login> Session::ReceiveLogin() {
  while (const std::optional<Message> message = connection_.Receive()) {
    switch (message->type) {
      case PacketType::PreLogin:
        if (ParsePreLogin(message->payload).RequiresEncryption()) {
          std::cerr << "session " << sessionId_ << ": the client requires encryption, which is not supported\n";
        }
        packets_.Append(PreLoginResponse());
        packets_.EndMessage();
        break;
      case PacketType::Login7:
        return ParseLogin(message->payload);
      default:
        throw ProtocolError("request before the login");
    }
  }
  return std::nullopt;
}

bool Session::AnswerLogin(const Login& login) {
  version_ = login.version;
  tokens_.emplace(packets_, version_, FindCodePage(options_.codePage));
  if (login.integratedSecurity || !logins_.Accepts(login.user, login.password)) {
    tokens_->Error(SqlError(18456, 14, 1, "Login failed for user '" + login.user + "'."));
    tokens_->End(DoneKind::Statement, {.status = Done::kError});
    packets_.EndMessage();
    return false;
  }

  const std::string database(login.database.empty() ? kDefaultDatabase : login.database);
  const std::size_t packetSize = NegotiatedPacketSize(login.packetSize);
  runner_.emplace(options_, connection_, packets_, *tokens_, sessionId_, database);
  procedures_.emplace(*runner_, *tokens_);

  tokens_->DatabaseChanged(database, kDefaultDatabase);
  tokens_->Info(5701, 2, DatabaseChangedMessage(database));
  tokens_->CollationChanged();
  tokens_->LanguageChanged(kLanguage);
  tokens_->Info(5703, 1, "Changed language setting to " + std::string(kLanguage) + ".");
  tokens_->LoginAck(options_.product);
  tokens_->PacketSizeChanged(packetSize, kDefaultPacketSize);
  tokens_->End(DoneKind::Statement, {});
  packets_.EndMessage();
  packets_.SetPacketSize(packetSize);
  return true;
}

void Session::AnswerRequest(const Message& request) {
  try {
    switch (request.type) {
      case PacketType::SqlBatch:
        runner_->RunBatch(ParseBatch(request.payload, version_));
        break;
      case PacketType::TransactionManager:
        AnswerTransactionRequest(request);
        break;
      case PacketType::Rpc:
        procedures_->Call(ParseProcedureCall(request.payload, version_));
        break;
      case PacketType::Attention:
        AcknowledgeAttention();
        return;
      default:
        throw ProtocolError("request of an unsupported kind");
    }
    packets_.EndMessage();
  } catch (const StatementInterrupted&) {
    // The attention is acknowledged in the message that it interrupts.
  }
  if (connection_.TakeAttention()) {
    AcknowledgeAttention();
  }
}

void Session::AnswerTransactionRequest(const Message& request) {
  const TransactionRequest transaction = ParseTransactionRequest(request.payload);
  Done done;
  try {
    switch (transaction.operation) {
      case TransactionRequest::Operation::Begin:
        runner_->BeginTransaction();
        break;
      case TransactionRequest::Operation::Commit:
        runner_->CommitTransaction();
        break;
      case TransactionRequest::Operation::Rollback:
        runner_->RollbackTransaction();
        break;
      case TransactionRequest::Operation::Unsupported:
        throw SqlError(50000, 16, 1, "The transaction request is not supported.");
    }
    if (transaction.beginAnother) {
      runner_->BeginTransaction();
    }
  } catch (const SqlError& error) {
    tokens_->Error(error);
    done.status = Done::kError;
  }
  tokens_->End(DoneKind::Statement, done);
}

void Session::AcknowledgeAttention() {
  tokens_->End(DoneKind::Statement, {.status = Done::kAttention});
  packets_.EndMessage();
}

}  // namespace tds
