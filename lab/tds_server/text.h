#ifndef BW_LAB_TDS_SERVER_TEXT_H
#define BW_LAB_TDS_SERVER_TEXT_H

#include <string>
#include <string_view>

#include "lab/tds_server/bytes.h"

namespace tds {

/// Decodes UTF-16LE, in which the protocol carries statements and names, to UTF-8. Unpaired surrogates become U+FFFD.
/// \throws ProtocolError when the number of bytes is odd.
std::string Utf16ToUtf8(ByteSpan utf16);

/// Encodes UTF-8 as UTF-16. Bytes that are no UTF-8 become U+FFFD, one each.
std::u16string Utf8ToUtf16(std::string_view utf8);

/// The same as bytes, in UTF-16LE.
Bytes Utf16Bytes(std::string_view utf8);

/// Length in bytes of the UTF-8 sequence that `text` starts with, 0 when it starts with none.
std::size_t Utf8SequenceLength(std::string_view text);

/// Compares two names as the server does: the case of ASCII letters is ignored.
bool EqualsIgnoringCase(std::string_view left, std::string_view right);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_TEXT_H
