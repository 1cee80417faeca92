#ifndef BW_APP_PROFILE_FILE_H
#define BW_APP_PROFILE_FILE_H

#include <cstddef>
#include <string>

namespace app {

/// Reads one value of an initialization file: lines of name, "=" and value under section headers in square brackets.
///
/// Section and key names are compared without regard to ASCII case; the first section of that name and the first such
/// key in it count. Blanks around names and values are dropped, then one pair of enclosing single or double quotes
/// around the value. Blank lines and lines that begin with ";" are skipped, line ends may be LF or CRLF.
///
/// Returns the value up to its first zero byte, cut to maxLength bytes; an empty text when the file, the section or the
/// key is not there.
std::string ReadProfileString(const std::string& path, const std::string& section, const std::string& key,
                              std::size_t maxLength);

}  // namespace app

#endif  // BW_APP_PROFILE_FILE_H
