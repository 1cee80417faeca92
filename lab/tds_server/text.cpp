#include "lab/tds_server/text.h"

#include <algorithm>

namespace tds {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

void AppendUtf8(std::string& out, char32_t code) {
  const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0U | code >> 6U);
    put(0x80U | (code & 0x3FU));
  } else if (code < 0x10000) {
    put(0xE0U | code >> 12U);
    put(0x80U | (code >> 6U & 0x3FU));
    put(0x80U | (code & 0x3FU));
  } else {
    put(0xF0U | code >> 18U);
    put(0x80U | (code >> 12U & 0x3FU));
    put(0x80U | (code >> 6U & 0x3FU));
    put(0x80U | (code & 0x3FU));
  }
}

void AppendUtf16(std::u16string& out, char32_t code) {
  if (code < 0x10000) {
    out.push_back(static_cast<char16_t>(code));
  } else {
    out.push_back(static_cast<char16_t>(0xD800U + ((code - 0x10000U) >> 10U)));
    out.push_back(static_cast<char16_t>(0xDC00U + ((code - 0x10000U) & 0x3FFU)));
  }
}

/// The character that a well-formed sequence of `text.size()` bytes stands for.
char32_t DecodeSequence(std::string_view text) {
  constexpr std::uint8_t kLeadMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t code = static_cast<std::uint8_t>(text[0]) & kLeadMask[text.size()];
  for (const char c : text.substr(1)) {
    code = code << 6U | (static_cast<std::uint8_t>(c) & 0x3FU);
  }
  return code;
}

char ToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string Utf16ToUtf8(ByteSpan utf16) {
  if (utf16.size() % 2 != 0) {
    throw ProtocolError("UTF-16 text has an odd number of bytes");
  }
  std::string out;
  out.reserve(utf16.size() / 2);
  ByteReader reader(utf16);
  while (reader.Remaining() > 0) {
    char32_t code = reader.U16();
    if (IsHighSurrogate(code) && reader.Remaining() > 0) {
      ByteReader ahead = reader;
      const char32_t low = ahead.U16();
      if (IsLowSurrogate(low)) {
        code = 0x10000U + ((code - 0xD800U) << 10U) + (low - 0xDC00U);
        reader = ahead;
      }
    }
    AppendUtf8(out, IsHighSurrogate(code) || IsLowSurrogate(code) ? kReplacement : code);
  }
  return out;
}

std::size_t Utf8SequenceLength(std::string_view text) {
  if (text.empty()) {
    return 0;
  }
  const auto lead = static_cast<std::uint8_t>(text[0]);
  if (lead < 0x80) {
    return 1;
  }
  std::size_t length = 0;
  char32_t smallest = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    smallest = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    smallest = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    smallest = 0x10000;
  } else {
    return 0;
  }
  if (text.size() < length) {
    return 0;
  }
  const std::string_view sequence = text.substr(0, length);
  const bool continued = std::all_of(sequence.begin() + 1, sequence.end(),
                                     [](char c) { return (static_cast<std::uint8_t>(c) & 0xC0U) == 0x80U; });
  if (!continued) {
    return 0;
  }
  const char32_t code = DecodeSequence(sequence);
  const bool valid = code >= smallest && code <= 0x10FFFF && !IsHighSurrogate(code) && !IsLowSurrogate(code);
  return valid ? length : 0;
}

std::u16string Utf8ToUtf16(std::string_view utf8) {
  std::u16string out;
  out.reserve(utf8.size());
  while (!utf8.empty()) {
    const std::size_t length = Utf8SequenceLength(utf8);
    AppendUtf16(out, length == 0 ? kReplacement : DecodeSequence(utf8.substr(0, length)));
    utf8.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return out;
}

Bytes Utf16Bytes(std::string_view utf8) {
  ByteWriter writer;
  for (const char16_t unit : Utf8ToUtf16(utf8)) {
    writer.U16(unit);
  }
  return {writer.Content().begin(), writer.Content().end()};
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return ToLower(a) == ToLower(b); });
}

}  // namespace tds
