#include "check/characters/unicode.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "check/report/characters.h"

namespace check::characters {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Combining marks of the scripts that have them, tone letters, and the parts of Korean syllables.
constexpr std::pair<char32_t, char32_t> kCombining[] = {
    {0x02E5, 0x02E9}, {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05C7}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x0670, 0x0670}, {0x06D6, 0x06ED}, {0x0900, 0x0DFF}, {0x0E31, 0x0E4E}, {0x1100, 0x11FF}, {0x1AB0, 0x1AFF},
    {0x1DC0, 0x1DFF}, {0x20D0, 0x20FF}, {0x302A, 0x302F}, {0x3099, 0x309A}, {0xFE20, 0xFE2F},
};

// Spaces, controls, and what changes the direction of writing; of private use.
constexpr std::pair<char32_t, char32_t> kUnseen[] = {
    {0x0000, 0x0020}, {0x007F, 0x00A0}, {0x00AD, 0x00AD}, {0x061C, 0x061C}, {0x2000, 0x200F},
    {0x2028, 0x202F}, {0x205F, 0x206F}, {0x3000, 0x3000}, {0xE000, 0xF8FF}, {0xFEFF, 0xFEFF},
};

template <std::size_t N>
bool IsInOneOf(const std::pair<char32_t, char32_t> (&ranges)[N], char32_t character) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [=](const auto& range) { return character >= range.first && character <= range.second; });
}

}  // namespace

std::u32string FromUtf16(std::string_view bytes) {
  const auto unit = [bytes](std::size_t at) {
    return at + 1 < bytes.size() ? static_cast<char32_t>(static_cast<unsigned char>(bytes[at]) |
                                                         static_cast<unsigned char>(bytes[at + 1]) << 8U)
                                 : U'\0';
  };
  std::u32string characters;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const char32_t first = unit(i);
    const char32_t second = unit(i + 2);
    if (first >= 0xD800 && first < 0xDC00 && second >= 0xDC00 && second < 0xE000) {
      characters += static_cast<char32_t>(0x10000U + ((first - 0xD800U) << 10U) + (second - 0xDC00U));
      i += 2;
    } else {
      characters += first >= 0xD800 && first < 0xE000 ? kReplacement : first;
    }
  }
  return characters;
}

std::u32string FromUtf8(std::string_view text) {
  return utf8::utf8to32(text);
}

std::string ToUtf8(std::u32string_view characters) {
  return utf8::utf32to8(characters);
}

bool IsCombining(char32_t character) {
  return IsInOneOf(kCombining, character);
}

std::string Shown(char32_t character) {
  if (!IsInOneOf(kUnseen, character) && !IsCombining(character)) {
    return ToUtf8({&character, 1});
  }
  return "U+" + Hex(character, character < 0x10000 ? 4 : 6);
}

}  // namespace check::characters
