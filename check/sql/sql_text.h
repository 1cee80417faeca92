#ifndef BW_CHECK_SQL_SQL_TEXT_H
#define BW_CHECK_SQL_SQL_TEXT_H

#include <functional>
#include <string>
#include <string_view>

#include "check/report/finding.h"

/// How names and texts are written in the two servers' SQL.
namespace check {

/// A name: in brackets for the source, in double quotes for the destination, where control characters become numbers.
std::string QuotedName(Side side, std::string_view name);

/// A name for the destination.
std::string Quoted(std::string_view name);

/// The texts of the parts with the separator between them.
template <class Parts, class TextOf = std::identity>
std::string Joined(const Parts& parts, std::string_view separator = ", ", TextOf textOf = {}) {
  std::string text;
  for (const auto& part : parts) {
    text.append(text.empty() ? "" : separator).append(std::invoke(textOf, part));
  }
  return text;
}

/// The texts as PostgreSQL writes an array of them, of numbers for example.
template <class Parts>
std::string ArrayOf(const Parts& parts) {
  return "{" + Joined(parts, ",") + "}";
}

/// A whole number of any type as a value of another one, which takes it as it takes the text that the migrator sends.
std::string NumberAs(const std::string& number, const std::string& type);

/// A text literal of constants that hold no backslash, for either side.
std::string Literal(std::string_view text);

/// An expression for any text, to be pasted into a client: right whatever standard_conforming_strings is, and without
/// what a client may read in its own way, such as newlines, control characters, backslashes and dollar signs. Bytes
/// that are no UTF-8 are taken as the server's code page or the client's encoding has them.
std::string Literal(Side side, std::string_view text);

}  // namespace check

#endif  // BW_CHECK_SQL_SQL_TEXT_H
