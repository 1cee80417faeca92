#include "lab/tds_server/request.h"

#include "lab/tds_server/text.h"

namespace tds {

ByteReader AfterHeaders(ByteSpan payload, ProtocolVersion version) {
  ByteReader reader(payload);
  if (version >= ProtocolVersion::V72) {
    const std::uint32_t size = reader.U32();
    if (size < sizeof size) {
      throw ProtocolError("request headers are shorter than their length");
    }
    reader.Skip(size - sizeof size);
  }
  return reader;
}

std::string ParseBatch(ByteSpan payload, ProtocolVersion version) {
  ByteReader reader = AfterHeaders(payload, version);
  return Utf16ToUtf8(reader.Take(reader.Remaining()));
}

TransactionRequest ParseTransactionRequest(ByteSpan payload) {
  constexpr std::uint16_t kBegin = 5;
  constexpr std::uint16_t kCommit = 7;
  constexpr std::uint16_t kRollback = 8;
  constexpr std::uint8_t kBeginAnother = 0x01;

  ByteReader reader = AfterHeaders(payload, ProtocolVersion::V72);
  const std::uint16_t operation = reader.U16();
  if (operation == kBegin) {
    return {.operation = TransactionRequest::Operation::Begin, .beginAnother = false};
  }
  if (operation != kCommit && operation != kRollback) {
    return {.operation = TransactionRequest::Operation::Unsupported, .beginAnother = false};
  }
  const std::uint8_t nameSize = reader.U8();
  reader.Skip(nameSize);
  return {.operation =
              operation == kCommit ? TransactionRequest::Operation::Commit : TransactionRequest::Operation::Rollback,
          .beginAnother = (reader.U8() & kBeginAnother) != 0};
}

}  // namespace tds
