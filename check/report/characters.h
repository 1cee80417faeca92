#ifndef BW_CHECK_REPORT_CHARACTERS_H
#define BW_CHECK_REPORT_CHARACTERS_H

#include <cstdint>
#include <string>
#include <string_view>

/// Texts of databases and files as they are shown and written. They are in the client encoding, which may not be UTF-8.
namespace check {

struct Character {
  std::string_view bytes;
  std::uint32_t number;  ///< Of the character, or of the byte where that is no UTF-8.
  bool isUtf8;
};

/// Removes the first character, or the first byte where that is no UTF-8, from a text that is not empty.
Character TakeCharacter(std::string_view& text);

bool IsAscii(std::string_view text);

/// A number in hexadecimal, with zeros before it up to `digits` digits.
std::string Hex(std::uint32_t number, int digits);

/// Whether it is a control of C0 or C1, or one that changes the direction of writing or breaks a line.
bool IsControl(std::uint32_t character);

/// The text as a terminal can show it: control characters, characters that change the direction of writing, and bytes
/// that are no UTF-8 as \x and two hexadecimal digits for each byte; `kept` are control characters that stay.
std::string Printable(std::string_view text, std::string_view kept = {});

/// The text as UTF-8: each byte that is no UTF-8 becomes the character of its number.
std::string AsUtf8(std::string_view text);

}  // namespace check

#endif  // BW_CHECK_REPORT_CHARACTERS_H
