#include "lab/tds_server/tokens.h"

#include <algorithm>
#include <bit>

#include "lab/tds_server/server_identity.h"
#include "lab/tds_server/text.h"

namespace tds {

namespace {

constexpr std::uint8_t kReturnStatus = 0x79;
constexpr std::uint8_t kColMetadata = 0x81;
constexpr std::uint8_t kError = 0xAA;
constexpr std::uint8_t kInfo = 0xAB;
constexpr std::uint8_t kReturnValue = 0xAC;
constexpr std::uint8_t kLoginAck = 0xAD;
constexpr std::uint8_t kRow = 0xD1;
constexpr std::uint8_t kEnvChange = 0xE3;

constexpr std::uint8_t kEnvDatabase = 1;
constexpr std::uint8_t kEnvLanguage = 2;
constexpr std::uint8_t kEnvPacketSize = 4;
constexpr std::uint8_t kEnvCollation = 7;
constexpr std::uint8_t kEnvBeginTransaction = 8;
constexpr std::uint8_t kEnvCommitTransaction = 9;
constexpr std::uint8_t kEnvRollbackTransaction = 10;

constexpr std::uint8_t kSqlInterface = 1;
constexpr std::uint16_t kNullable = 0x0001;
constexpr std::uint16_t kUpdatabilityUnknown = 0x0008;
constexpr std::uint16_t kLongNull = 0xFFFF;

/// The acknowledgement's version field, its bytes in their order on the wire.
std::uint32_t AcknowledgedVersion(ProtocolVersion version) {
  switch (version) {
    case ProtocolVersion::V71:
      return 0x71000001;
    case ProtocolVersion::V72:
      return 0x72090002;
    case ProtocolVersion::V73:
      return 0x730B0003;
    case ProtocolVersion::V74:
      break;
  }
  return 0x74000004;
}

bool IsText(ColumnType type) {
  return type.wire == WireType::BigVarChar || type.wire == WireType::BigChar || type.wire == WireType::NVarChar;
}

/// Whether a value's length comes in two bytes.
bool HasLongLength(ColumnType type) {
  return IsText(type) || type.wire == WireType::BigVarBinary;
}

std::u16string Decimal(std::size_t number) {
  return Utf8ToUtf16(std::to_string(number));
}

/// The number of characters of a text field, held to what the field's length can say.
template <typename Length>
Length CutLength(std::u16string_view text, std::size_t most) {
  return static_cast<Length>(std::min(text.size(), most));
}

}  // namespace

TokenWriter::TokenWriter(PacketWriter& packets, ProtocolVersion version, const CodePage& codePage)
    : packets_(packets), version_(version), collation_(codePage.collation) {}

void TokenWriter::LoginAck(std::string_view product) {
  BeginToken(kLoginAck);
  token_.U8(kSqlInterface);
  token_.U32BigEndian(AcknowledgedVersion(version_));
  ShortText(Utf8ToUtf16(product));
  token_.U8(kServerVersion.majorNumber);
  token_.U8(kServerVersion.minorNumber);
  token_.U16BigEndian(kServerVersion.build);
  EndToken();
}

void TokenWriter::DatabaseChanged(std::string_view to, std::string_view from) {
  EnvironmentChange(kEnvDatabase, Utf8ToUtf16(to), Utf8ToUtf16(from));
}

void TokenWriter::LanguageChanged(std::string_view to) {
  EnvironmentChange(kEnvLanguage, Utf8ToUtf16(to), {});
}

void TokenWriter::PacketSizeChanged(std::size_t to, std::size_t from) {
  EnvironmentChange(kEnvPacketSize, Decimal(to), Decimal(from));
}

void TokenWriter::CollationChanged() {
  BeginToken(kEnvChange);
  token_.U8(kEnvCollation);
  token_.U8(static_cast<std::uint8_t>(collation_.size()));
  token_.Append(collation_);
  token_.U8(0);
  EndToken();
}

void TokenWriter::TransactionBegun(std::uint64_t transaction) {
  TransactionChange(kEnvBeginTransaction, transaction, 0);
}

void TokenWriter::TransactionCommitted(std::uint64_t transaction) {
  TransactionChange(kEnvCommitTransaction, 0, transaction);
}

void TokenWriter::TransactionRolledBack(std::uint64_t transaction) {
  TransactionChange(kEnvRollbackTransaction, 0, transaction);
}

void TokenWriter::Info(int number, std::uint8_t state, std::string_view message) {
  Message(kInfo, number, state, 0, message);
}

void TokenWriter::Error(const SqlError& error) {
  Message(kError, error.number(), error.state(), error.severity(), error.what());
}

void TokenWriter::ColumnMetadata(std::span<const Column> columns) {
  token_.Clear();
  token_.U8(kColMetadata);
  token_.U16(static_cast<std::uint16_t>(columns.size()));
  for (const Column& column : columns) {
    UserType();
    token_.U16(kNullable | kUpdatabilityUnknown);
    token_.U8(static_cast<std::uint8_t>(column.type.wire));
    if (HasLongLength(column.type)) {
      token_.U16(column.type.size);
    } else {
      token_.U8(static_cast<std::uint8_t>(column.type.size));
    }
    if (IsText(column.type)) {
      token_.Append(column.codePage->collation);
    }
    ShortText(Utf8ToUtf16(column.name));
  }
  SendToken();
}

void TokenWriter::BeginRow() {
  token_.Clear();
  token_.U8(kRow);
}

void TokenWriter::Null(ColumnType type) {
  if (HasLongLength(type)) {
    token_.U16(kLongNull);
  } else {
    token_.U8(0);
  }
}

void TokenWriter::Integer(ColumnType type, std::int64_t value) {
  token_.U8(static_cast<std::uint8_t>(type.size));
  token_.LittleEndian(static_cast<std::uint64_t>(value), type.size);
}

void TokenWriter::Float(double value) {
  token_.U8(sizeof value);
  token_.U64(std::bit_cast<std::uint64_t>(value));
}

void TokenWriter::Text(ColumnType type, std::string_view text) {
  const std::size_t padding = type.wire == WireType::BigChar ? type.size - text.size() : 0;
  token_.U16(static_cast<std::uint16_t>(text.size() + padding));
  token_.Append({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  token_.Fill(padding, ' ');
}

void TokenWriter::EndRow() {
  SendToken();
}

void TokenWriter::ReturnStatus(std::int32_t status) {
  token_.Clear();
  token_.U8(kReturnStatus);
  token_.U32(static_cast<std::uint32_t>(status));
  SendToken();
}

void TokenWriter::FirstOutputParameter(std::int32_t value) {
  constexpr std::uint8_t kIsOutput = 0x01;
  token_.Clear();
  token_.U8(kReturnValue);
  token_.U16(0);  // the ordinal
  ShortText({});  // the name
  token_.U8(kIsOutput);
  UserType();
  token_.U16(kNullable);
  token_.U8(static_cast<std::uint8_t>(kInt.wire));
  token_.U8(static_cast<std::uint8_t>(kInt.size));
  Integer(kInt, value);
  SendToken();
}

void TokenWriter::End(DoneKind kind, const Done& done) {
  token_.Clear();
  token_.U8(static_cast<std::uint8_t>(kind));
  token_.U16(done.status);
  token_.U16(done.command);
  if (BeforeVersion72()) {
    token_.U32(static_cast<std::uint32_t>(done.rowCount));
  } else {
    token_.U64(done.rowCount);
  }
  SendToken();
}

void TokenWriter::Message(std::uint8_t token, int number, std::uint8_t state, std::uint8_t severity,
                          std::string_view message) {
  // Keeps the whole token below the 65535 bytes that its length can say.
  constexpr std::size_t kMaxMessageCharacters = 2048;
  constexpr std::uint8_t kLine = 1;
  const std::u16string text = Utf8ToUtf16(message);
  const auto length = CutLength<std::uint16_t>(text, kMaxMessageCharacters);

  BeginToken(token);
  token_.U32(static_cast<std::uint32_t>(number));
  token_.U8(state);
  token_.U8(severity);
  token_.U16(length);
  Utf16(std::u16string_view(text).substr(0, length));
  ShortText(Utf8ToUtf16(kServerName));
  ShortText({});  // the procedure
  if (BeforeVersion72()) {
    token_.U16(kLine);
  } else {
    token_.U32(kLine);
  }
  EndToken();
}

void TokenWriter::EnvironmentChange(std::uint8_t kind, std::u16string_view to, std::u16string_view from) {
  BeginToken(kEnvChange);
  token_.U8(kind);
  ShortText(to);
  ShortText(from);
  EndToken();
}

void TokenWriter::TransactionChange(std::uint8_t kind, std::uint64_t to, std::uint64_t from) {
  if (BeforeVersion72()) {
    return;
  }
  BeginToken(kEnvChange);
  token_.U8(kind);
  for (const std::uint64_t transaction : {to, from}) {
    if (transaction == 0) {
      token_.U8(0);
    } else {
      token_.U8(sizeof transaction);
      token_.U64(transaction);
    }
  }
  EndToken();
}

void TokenWriter::UserType() {
  constexpr std::uint16_t kNone = 0;
  if (BeforeVersion72()) {
    token_.U16(kNone);
  } else {
    token_.U32(kNone);
  }
}

void TokenWriter::ShortText(std::u16string_view text) {
  const auto length = CutLength<std::uint8_t>(text, 255);
  token_.U8(length);
  Utf16(text.substr(0, length));
}

void TokenWriter::Utf16(std::u16string_view text) {
  for (const char16_t unit : text) {
    token_.U16(unit);
  }
}

void TokenWriter::BeginToken(std::uint8_t token) {
  token_.Clear();
  token_.U8(token);
  token_.U16(0);
}

void TokenWriter::EndToken() {
  constexpr std::size_t kLengthPosition = 1;
  constexpr std::size_t kBeforeContent = 3;
  token_.PatchU16(kLengthPosition, static_cast<std::uint16_t>(token_.Size() - kBeforeContent));
  SendToken();
}

void TokenWriter::SendToken() {
  packets_.Append(token_.Content());
  token_.Clear();
}

}  // namespace tds
