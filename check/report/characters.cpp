#include "check/report/characters.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace check {

Character TakeCharacter(std::string_view& text) {
  const char* end = text.data();
  Character first{.bytes = text.substr(0, 1), .number = static_cast<unsigned char>(text.front()), .isUtf8 = false};
  try {
    first.number = utf8::next(end, text.data() + text.size());
    first.bytes = text.substr(0, static_cast<std::size_t>(end - text.data()));
    first.isUtf8 = true;
  } catch (const utf8::exception&) {
    // It stays a byte.
  }
  text.remove_prefix(first.bytes.size());
  return first;
}

bool IsAscii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string Hex(std::uint32_t number, int digits) {
  std::array<char, 16> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%0*X", digits, static_cast<unsigned>(number)));
  return text.data();
}

bool IsControl(std::uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x61C || character == 0x200E ||
         character == 0x200F || (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069);
}

std::string Printable(std::string_view text, std::string_view kept) {
  std::string printable;
  while (!text.empty()) {
    const Character first = TakeCharacter(text);
    if (first.isUtf8 && (!IsControl(first.number) || kept.find(first.bytes) != std::string_view::npos)) {
      printable += first.bytes;
      continue;
    }
    for (const char each : first.bytes) {
      printable += "\\x" + Hex(static_cast<unsigned char>(each), 2);
    }
  }
  return printable;
}

std::string AsUtf8(std::string_view text) {
  std::string utf8;
  while (!text.empty()) {
    utf8::append(static_cast<char32_t>(TakeCharacter(text).number), utf8);
  }
  return utf8;
}

}  // namespace check
