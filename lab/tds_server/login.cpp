#include "lab/tds_server/login.h"

#include <algorithm>

#include "lab/tds_server/packet.h"
#include "lab/tds_server/text.h"

namespace tds {

namespace {

constexpr std::uint8_t kIntegratedSecurity = 0x80;

ProtocolVersion VersionFromClient(std::uint32_t version) {
  const std::uint32_t majorMinor = version >> 24U;
  if (majorMinor < 0x71) {
    throw ProtocolError("the client speaks a protocol version before 7.1");
  }
  switch (majorMinor) {
    case 0x71:
      return ProtocolVersion::V71;
    case 0x72:
      return ProtocolVersion::V72;
    case 0x73:
      return ProtocolVersion::V73;
    default:
      return ProtocolVersion::V74;
  }
}

/// The text that the next offset and length of `fields` point to.
ByteSpan TextField(ByteSpan payload, ByteReader& fields) {
  const std::uint16_t offset = fields.U16();
  const std::uint16_t characters = fields.U16();
  ByteReader text(payload);
  text.Skip(offset);
  return text.Take(std::size_t{characters} * 2);
}

std::string DecodePassword(ByteSpan obfuscated) {
  Bytes plain(obfuscated.begin(), obfuscated.end());
  for (std::uint8_t& byte : plain) {
    const auto flipped = static_cast<std::uint8_t>(byte ^ 0xA5U);
    byte = static_cast<std::uint8_t>(flipped << 4U | flipped >> 4U);
  }
  return Utf16ToUtf8(plain);
}

}  // namespace

Login ParseLogin(ByteSpan payload) {
  const std::uint32_t length = ByteReader(payload).U32();
  const ByteSpan content = ByteReader(payload).Take(length);
  ByteReader fields(content);
  fields.Skip(sizeof length);

  Login login{};
  login.version = VersionFromClient(fields.U32());
  login.packetSize = fields.U32();
  fields.Skip(4 + 4 + 4);  // version and process of the client program, connection to take part in
  fields.Skip(1);          // option flags 1
  login.integratedSecurity = (fields.U8() & kIntegratedSecurity) != 0;
  fields.Skip(1 + 1);  // type flags, option flags 3
  fields.Skip(4 + 4);  // time zone, locale

  TextField(content, fields);  // host name
  login.user = Utf16ToUtf8(TextField(content, fields));
  login.password = DecodePassword(TextField(content, fields));
  login.application = Utf16ToUtf8(TextField(content, fields));
  TextField(content, fields);  // server name
  fields.Skip(4);              // extension
  TextField(content, fields);  // client library
  TextField(content, fields);  // language
  login.database = Utf16ToUtf8(TextField(content, fields));
  return login;
}

std::size_t NegotiatedPacketSize(std::uint32_t requested) {
  return requested == 0 ? kDefaultPacketSize : std::clamp<std::size_t>(requested, kMinPacketSize, kMaxPacketSize);
}

}  // namespace tds
