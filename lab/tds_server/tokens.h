#ifndef BW_LAB_TDS_SERVER_TOKENS_H
#define BW_LAB_TDS_SERVER_TOKENS_H

#include <span>
#include <string_view>

#include "lab/tds_server/bytes.h"
#include "lab/tds_server/code_page.h"
#include "lab/tds_server/column_type.h"
#include "lab/tds_server/packet.h"
#include "lab/tds_server/protocol_version.h"
#include "lab/tds_server/sql_error.h"

namespace tds {

/// How a statement ended.
struct Done {
  static constexpr std::uint16_t kMore = 0x01;       ///< another result follows
  static constexpr std::uint16_t kError = 0x02;      ///< the statement failed
  static constexpr std::uint16_t kCount = 0x10;      ///< `rowCount` holds
  static constexpr std::uint16_t kAttention = 0x20;  ///< answers an attention

  std::uint16_t status = 0;
  std::uint16_t command = 0;
  std::uint64_t rowCount = 0;
};

/// What a Done token ends.
enum class DoneKind : std::uint8_t { Statement = 0xFD, Procedure = 0xFE, StatementInProcedure = 0xFF };

/// Writes the tokens of responses in the layout of one protocol version.
class TokenWriter {
 public:
  /// `packets` must outlive the writer.
  TokenWriter(PacketWriter& packets, ProtocolVersion version, const CodePage& codePage);

  void LoginAck(std::string_view product);

  void DatabaseChanged(std::string_view to, std::string_view from);
  void LanguageChanged(std::string_view to);
  void PacketSizeChanged(std::size_t to, std::size_t from);
  void CollationChanged();
  /// Version 7.1 does not tell of transactions: nothing is written there.
  void TransactionBegun(std::uint64_t transaction);
  void TransactionCommitted(std::uint64_t transaction);
  void TransactionRolledBack(std::uint64_t transaction);

  void Info(int number, std::uint8_t state, std::string_view message);
  void Error(const SqlError& error);

  void ColumnMetadata(std::span<const Column> columns);

  /// A row is BeginRow, one value per column in their order, EndRow. A row that is begun and never ended is not sent.
  void BeginRow();
  void Null(ColumnType type);
  void Integer(ColumnType type, std::int64_t value);
  void Float(double value);
  /// `text` is in the column's code page, in UTF-16, or bytes, and no longer than the type's size; char values are
  /// filled up with blanks.
  void Text(ColumnType type, std::string_view text);
  void EndRow();

  /// The return status of a procedure and, behind it, the value of its first parameter, an output one.
  void ReturnStatus(std::int32_t status);
  void FirstOutputParameter(std::int32_t value);

  void End(DoneKind kind, const Done& done);

 private:
  bool BeforeVersion72() const { return version_ == ProtocolVersion::V71; }
  void UserType();
  void Message(std::uint8_t token, int number, std::uint8_t state, std::uint8_t severity, std::string_view message);
  void EnvironmentChange(std::uint8_t kind, std::u16string_view to, std::u16string_view from);
  void TransactionChange(std::uint8_t kind, std::uint64_t to, std::uint64_t from);
  /// Text of at most 255 characters behind its length in one byte.
  void ShortText(std::u16string_view text);
  void Utf16(std::u16string_view text);
  /// Starts a token that says its length; EndToken fills the length in and sends the token.
  void BeginToken(std::uint8_t token);
  void EndToken();
  void SendToken();

  PacketWriter& packets_;
  ProtocolVersion version_;
  Collation collation_;
  ByteWriter token_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_TOKENS_H
