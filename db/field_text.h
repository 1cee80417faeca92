#ifndef BW_DB_FIELD_TEXT_H
#define BW_DB_FIELD_TEXT_H

#include <cstddef>
#include <cstdint>

namespace db {

/// The most characters that the text of a field takes, and those that are written behind a number's text and mean
/// nothing.
template <class Field>
inline constexpr std::size_t kFieldTextSize = sizeof(Field);
template <>
inline constexpr std::size_t kFieldTextSize<std::int32_t> = 11;
template <>
inline constexpr std::size_t kFieldTextSize<double> = 16;

/// Writes what inserting the value into a new stream writes, in a fraction of the time. There must be room for the text
/// and the characters behind it, see kFieldTextSize. Returns the end of the text.
char* WriteFieldText(char* to, std::int32_t number) noexcept;
char* WriteFieldText(char* to, double number) noexcept;

/// Writes a text field up to its first zero; `size` is that of the field. Returns the end of the text.
char* WriteFieldText(char* to, const char* text, std::size_t size) noexcept;

}  // namespace db

#endif  // BW_DB_FIELD_TEXT_H
