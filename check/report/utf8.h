#ifndef BW_CHECK_REPORT_UTF8_H
#define BW_CHECK_REPORT_UTF8_H

#include <cstddef>
#include <string_view>

namespace check {

/// The number of bytes of the UTF-8 letter at the beginning of a text; 0 when no such letter stands there. Texts of the
/// databases are in the client encoding, which need not be UTF-8.
std::size_t Utf8Length(std::string_view text);

}  // namespace check

#endif  // BW_CHECK_REPORT_UTF8_H
