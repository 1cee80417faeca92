#include "lab/tds_server/procedure_call.h"

#include <array>
#include <optional>

#include "lab/tds_server/code_page.h"
#include "lab/tds_server/request.h"
#include "lab/tds_server/text.h"

namespace tds {

namespace {

constexpr std::uint8_t kIntN = 0x26;
constexpr std::uint8_t kNText = 0x63;
constexpr std::uint8_t kNVarChar = 0xE7;

/// The procedures that a client may call by number; number 1 comes first.
constexpr std::array<const char*, 15> kNumberedProcedures = {
    "sp_cursor",          "sp_cursoropen",  "sp_cursorprepare", "sp_cursorexecute", "sp_cursorprepexec",
    "sp_cursorunprepare", "sp_cursorfetch", "sp_cursoroption",  "sp_cursorclose",   "sp_executesql",
    "sp_prepare",         "sp_execute",     "sp_prepexec",      "sp_prepexecrpc",   "sp_unprepare"};

std::string ReadName(ByteReader& reader) {
  constexpr std::uint16_t kByNumber = 0xFFFF;
  const std::uint16_t length = reader.U16();
  if (length != kByNumber) {
    return Utf16ToUtf8(reader.Take(std::size_t{length} * 2));
  }
  const std::uint16_t number = reader.U16();
  const bool known = number >= 1 && number <= kNumberedProcedures.size();
  return known ? kNumberedProcedures.at(number - 1U) : std::to_string(number);
}

ParameterValue ReadInteger(ByteReader& reader) {
  reader.U8();  // size of the type
  switch (reader.U8()) {
    case 0:
      return std::monostate{};
    case 1:
      return std::int64_t{reader.U8()};
    case 2:
      return std::int64_t{static_cast<std::int16_t>(reader.U16())};
    case 4:
      return std::int64_t{static_cast<std::int32_t>(reader.U32())};
    case 8:
      return static_cast<std::int64_t>(reader.U64());
    default:
      throw ProtocolError("integer of a size that no type has");
  }
}

ParameterValue ReadLongText(ByteReader& reader) {
  constexpr std::uint32_t kNull = 0xFFFFFFFF;
  reader.U32();  // size of the type
  reader.Skip(sizeof(Collation));
  const std::uint32_t size = reader.U32();
  if (size == kNull) {
    return std::monostate{};
  }
  return Utf16ToUtf8(reader.Take(size));
}

/// A text that comes in chunks, each behind its size, up to one of size 0.
ParameterValue ReadChunkedText(ByteReader& reader) {
  constexpr std::uint64_t kNull = 0xFFFFFFFFFFFFFFFF;
  if (reader.U64() == kNull) {
    return std::monostate{};
  }
  Bytes text;
  for (std::uint32_t size = reader.U32(); size != 0; size = reader.U32()) {
    const ByteSpan chunk = reader.Take(size);
    text.insert(text.end(), chunk.begin(), chunk.end());
  }
  return Utf16ToUtf8(text);
}

ParameterValue ReadText(ByteReader& reader) {
  constexpr std::uint16_t kUnlimited = 0xFFFF;
  constexpr std::uint16_t kNull = 0xFFFF;
  const std::uint16_t typeSize = reader.U16();
  reader.Skip(sizeof(Collation));
  if (typeSize == kUnlimited) {
    return ReadChunkedText(reader);
  }
  const std::uint16_t size = reader.U16();
  if (size == kNull) {
    return std::monostate{};
  }
  return Utf16ToUtf8(reader.Take(size));
}

/// None when the server does not read values of the type.
std::optional<ParameterValue> ReadValue(std::uint8_t type, ByteReader& reader) {
  switch (type) {
    case kIntN:
      return ReadInteger(reader);
    case kNText:
      return ReadLongText(reader);
    case kNVarChar:
      return ReadText(reader);
    default:
      return std::nullopt;
  }
}

}  // namespace

ProcedureCall ParseProcedureCall(ByteSpan payload, ProtocolVersion version) {
  ByteReader reader = AfterHeaders(payload, version);
  ProcedureCall call;
  call.name = ReadName(reader);
  reader.U16();  // option flags
  while (reader.Remaining() > 0) {
    const std::uint8_t nameLength = reader.U8();
    reader.Skip(std::size_t{nameLength} * 2);
    reader.U8();  // status flags
    const std::uint8_t type = reader.U8();
    std::optional<ParameterValue> value = ReadValue(type, reader);
    if (!value) {
      call.unreadParameter = call.parameters.size() + 1;
      call.unreadType = type;
      break;
    }
    call.parameters.push_back(std::move(*value));
  }
  return call;
}

}  // namespace tds
