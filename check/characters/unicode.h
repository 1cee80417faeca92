#ifndef BW_CHECK_CHARACTERS_UNICODE_H
#define BW_CHECK_CHARACTERS_UNICODE_H

#include <string>
#include <string_view>

namespace check::characters {

/// The characters of a text in UTF-16, its low byte first. Half of a surrogate pair becomes U+FFFD.
std::u32string FromUtf16(std::string_view bytes);

/// The characters of a valid text in UTF-8.
///
/// \throws utf8::exception when it is not valid.
std::u32string FromUtf8(std::string_view text);

std::string ToUtf8(std::u32string_view characters);

/// Whether a driver may make one character of this one and the one before it.
bool IsCombining(char32_t character);

/// The character as a person reads it in a list; its number, such as U+0301, where it would not be seen.
std::string Shown(char32_t character);

}  // namespace check::characters

#endif  // BW_CHECK_CHARACTERS_UNICODE_H
