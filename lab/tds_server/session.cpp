#include "session.h"

#include <iostream>

#include "prelogin.h"
#include "request.h"
#include "server_identity.h"
#include "sql_error.h"

namespace tds {

namespace {

constexpr std::string_view kDefaultDatabase = "master";

}  // namespace

Session::Session(const Options& options, const Logins& logins, Connection& connection, std::uint16_t session_id)
    : options_(options),
      logins_(logins),
      connection_(connection),
      session_id_(session_id),
      packets_([&connection](ByteSpan packet) { connection.Send(packet); }, session_id) {}

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
      case PacketType::kPreLogin:
        if (ParsePreLogin(message->payload).RequiresEncryption()) {
          std::cerr << "session " << session_id_ << ": the client requires encryption, which is not supported\n";
        }
        packets_.Append(PreLoginResponse());
        packets_.EndMessage();
        break;
      case PacketType::kLogin7:
        return ParseLogin(message->payload);
      default:
        throw ProtocolError("request before the login");
    }
  }
  return std::nullopt;
}

bool Session::AnswerLogin(const Login& login) {
  version_ = login.version;
  tokens_.emplace(packets_, version_, FindCodePage(options_.code_page));
  if (login.integrated_security || !logins_.Accepts(login.user, login.password)) {
    tokens_->Error(SqlError(18456, 14, 1, "Login failed for user '" + login.user + "'."));
    tokens_->End(DoneKind::kStatement, {.status = Done::kError});
    packets_.EndMessage();
    return false;
  }

  const std::string database(login.database.empty() ? kDefaultDatabase : login.database);
  const std::size_t packet_size = NegotiatedPacketSize(login.packet_size);
  runner_.emplace(options_, connection_, packets_, *tokens_, session_id_, database);
  procedures_.emplace(*runner_, *tokens_);

  tokens_->DatabaseChanged(database, kDefaultDatabase);
  tokens_->Info(5701, 2, DatabaseChangedMessage(database));
  tokens_->CollationChanged();
  tokens_->LanguageChanged(kLanguage);
  tokens_->Info(5703, 1, "Changed language setting to " + std::string(kLanguage) + ".");
  tokens_->LoginAck(options_.product);
  tokens_->PacketSizeChanged(packet_size, kDefaultPacketSize);
  tokens_->End(DoneKind::kStatement, {});
  packets_.EndMessage();
  packets_.SetPacketSize(packet_size);
  return true;
}

void Session::AnswerRequest(const Message& request) {
  try {
    switch (request.type) {
      case PacketType::kSqlBatch:
        runner_->RunBatch(ParseBatch(request.payload, version_));
        break;
      case PacketType::kTransactionManager:
        AnswerTransactionRequest(request);
        break;
      case PacketType::kRpc:
        procedures_->Call(ParseProcedureCall(request.payload, version_));
        break;
      case PacketType::kAttention:
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
      case TransactionRequest::Operation::kBegin:
        runner_->BeginTransaction();
        break;
      case TransactionRequest::Operation::kCommit:
        runner_->CommitTransaction();
        break;
      case TransactionRequest::Operation::kRollback:
        runner_->RollbackTransaction();
        break;
      case TransactionRequest::Operation::kUnsupported:
        throw SqlError(50000, 16, 1, "The transaction request is not supported.");
    }
    if (transaction.begin_another) {
      runner_->BeginTransaction();
    }
  } catch (const SqlError& error) {
    tokens_->Error(error);
    done.status = Done::kError;
  }
  tokens_->End(DoneKind::kStatement, done);
}

void Session::AcknowledgeAttention() {
  tokens_->End(DoneKind::kStatement, {.status = Done::kAttention});
  packets_.EndMessage();
}

}  // namespace tds
