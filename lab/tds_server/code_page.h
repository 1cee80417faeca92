#ifndef BW_LAB_TDS_SERVER_CODE_PAGE_H
#define BW_LAB_TDS_SERVER_CODE_PAGE_H

#include <iconv.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>

#include "lab/tds_server/bytes.h"

namespace tds {

/// LCID, comparison flags, version and sort order, as the protocol sends them.
using Collation = std::array<std::uint8_t, 5>;

/// An encoding of char and varchar data, and the collation that tells a client of it.
struct CodePage {
  int number;
  const char* encoding;          ///< the name that iconv knows it by
  std::size_t maxCharacterSize;  ///< bytes
  std::string_view collationName;
  Collation collation;
};

/// \throws std::invalid_argument when the server does not have the code page.
const CodePage& FindCodePage(int number);

/// The position of a code page among all, from 0, and the code page at a position.
std::size_t PositionOf(const CodePage& codePage);
const CodePage& CodePageAt(std::size_t position);

/// The code page of a collation, whose name may be in any case. The server has one collation for each code page.
/// \throws std::invalid_argument when the server does not have the collation.
const CodePage& FindCollation(std::string_view name);

struct CloseConverter {
  void operator()(iconv_t converter) const { iconv_close(converter); }
};
using Converter = std::unique_ptr<std::remove_pointer_t<iconv_t>, CloseConverter>;

/// Turns text of the store into char and varchar data.
class TextEncoder {
 public:
  explicit TextEncoder(const CodePage& codePage);

  /// Encodes `utf8`, cut to at most `maxSize` bytes at a character's end. What the code page lacks becomes "?".
  /// The result is good until the next call.
  std::string_view Encode(std::string_view utf8, std::size_t maxSize);

 private:
  std::string EncodeCharacter(std::string_view utf8) const;

  Converter converter_;                              ///< Of code pages with characters of several bytes.
  std::unordered_map<std::string, char> upperHalf_;  ///< Of the others: the characters beyond ASCII.
  std::string encoded_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_CODE_PAGE_H
