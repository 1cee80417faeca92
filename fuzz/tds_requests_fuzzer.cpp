#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "fuzz/require.h"
#include "lab/tds_server/batch_reader.h"
#include "lab/tds_server/login.h"
#include "lab/tds_server/prelogin.h"
#include "lab/tds_server/procedure_call.h"
#include "lab/tds_server/request.h"
#include "lab/tds_server/sql_error.h"
#include "lab/tds_server/text.h"

namespace {

using tds::ByteSpan;
using tds::ProtocolVersion;

/// A text that the server took from a message.
void CheckText(std::string_view text, ByteSpan payload) {
  Require(text.size() <= payload.size() / 2 * 3, "two bytes give at most three");
  Require(tds::Utf16ToUtf8(tds::ByteSpan()).empty(), "no bytes give no text");
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = tds::Utf8SequenceLength(rest);
    Require(length >= 1 && length <= 4, "the text is UTF-8");
    rest.remove_prefix(length);
  }
  const std::u16string utf16 = tds::Utf8ToUtf16(text);
  tds::Bytes bytes;
  for (const char16_t unit : utf16) {
    bytes.push_back(static_cast<std::uint8_t>(unit % 256));
    bytes.push_back(static_cast<std::uint8_t>(unit / 256));
  }
  Require(tds::Utf16ToUtf8(bytes) == text, "the text survives the way there and back");
}

void CheckPreLogin(ByteSpan payload) {
  std::optional<std::uint8_t> encryption;
  std::size_t at = 0;
  const auto byte = [&](std::size_t position) -> std::size_t { return payload[position]; };
  bool complete = false;
  bool inside = true;
  while (inside && at < payload.size() && !complete) {
    complete = byte(at) == 0xFF;
    if (!complete) {
      inside = at + 5 <= payload.size() &&
               256 * byte(at + 1) + byte(at + 2) + 256 * byte(at + 3) + byte(at + 4) <= payload.size();
      if (inside && byte(at) == 1 && 256 * byte(at + 3) + byte(at + 4) > 0) {
        encryption = payload[256 * byte(at + 1) + byte(at + 2)];
      }
      at += 5;
    }
  }

  try {
    const tds::PreLogin prelogin = tds::ParsePreLogin(payload);
    Require(complete, "an incomplete list of options is refused");
    Require(prelogin.encryption == encryption, "the last encryption option counts");
  } catch (const tds::ProtocolError&) {
    Require(!complete, "a complete list of options is accepted");
  }
}

void CheckLogin(ByteSpan payload) {
  const tds::Login login = tds::ParseLogin(payload);
  const auto number = [&](std::size_t position) -> std::size_t {
    return payload[position] + std::size_t{256} * payload[position + 1];
  };
  // Where the places of the texts stand in the fixed part of the message.
  struct Field {
    const std::string& text;
    std::size_t place;
    bool scrambled;
  };
  for (const Field& field : {Field{login.user, 40, false}, Field{login.password, 44, true},
                             Field{login.application, 48, false}, Field{login.database, 68, false}}) {
    tds::Bytes bytes;
    for (std::size_t i = 0; i < 2 * number(field.place + 2); ++i) {
      const std::uint8_t byte = payload[number(field.place) + i];
      const auto plain = static_cast<std::uint8_t>((byte ^ 0xA5U) % 16 * 16 + (byte ^ 0xA5U) / 16);
      bytes.push_back(field.scrambled ? plain : byte);
    }
    Require(field.text == tds::Utf16ToUtf8(bytes), "the text is the one at its place");
    CheckText(field.text, bytes);
  }
  const std::size_t packetSize = tds::NegotiatedPacketSize(login.packetSize);
  Require(packetSize >= 512 && packetSize <= 32767, "the packet size is one that the protocol has");
}

void CheckBatch(ByteSpan payload, ProtocolVersion version) {
  const std::string sql = tds::ParseBatch(payload, version);
  CheckText(sql, payload);

  tds::BatchReader reader(sql);
  const char* end = sql.data();
  std::size_t statements = 0;
  while (const std::optional<tds::BatchStatement> statement = reader.Next()) {
    Require(++statements <= sql.size(), "every statement has a text of its own");
    if (!statement->text.empty()) {
      Require(statement->text.data() >= end, "the statements come in their order");
      end = statement->text.data() + statement->text.size();
      Require(end <= sql.data() + sql.size(), "a statement is a part of the batch");
    }
  }

  Require(tds::ReplaceGlobalVariables(sql, [](std::string_view name) { return "@@" + std::string(name); }) == sql,
          "variables whose value is their name leave the batch as it is");
}

void CheckProcedureCall(ByteSpan payload, ProtocolVersion version) {
  const tds::ProcedureCall call = tds::ParseProcedureCall(payload, version);
  CheckText(call.name.starts_with("sp_") ? "" : call.name, payload);
  for (const tds::ParameterValue& parameter : call.parameters) {
    if (const auto* text = std::get_if<std::string>(&parameter)) {
      CheckText(*text, payload);
    }
  }
  Require(call.unreadParameter == 0 || call.unreadParameter == call.parameters.size() + 1,
          "what is not read stands behind what is");
}

}  // namespace

/// The input is a message without its packets' headers, behind one byte that says what kind of message it is.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  // A copy of its own, so that reading behind the end is noticed.
  const tds::Bytes copy(data + 1, data + size);
  const ByteSpan payload(copy);
  try {
    switch (data[0] % 7) {
      case 0:
        CheckPreLogin(payload);
        break;
      case 1:
        CheckLogin(payload);
        break;
      case 2:
        CheckBatch(payload, ProtocolVersion::V71);
        break;
      case 3:
        CheckBatch(payload, ProtocolVersion::V74);
        break;
      case 4:
        CheckProcedureCall(payload, ProtocolVersion::V71);
        break;
      case 5:
        CheckProcedureCall(payload, ProtocolVersion::V74);
        break;
      default:
        tds::ParseTransactionRequest(payload);
    }
  } catch (const tds::ProtocolError&) {
    // How a message that breaks the protocol is refused.
    return 0;
  } catch (const tds::SqlError&) {
    return 0;
  }
  return 0;
}
