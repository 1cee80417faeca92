#ifndef BW_TESTS_TDS_SERVER_HEX_H
#define BW_TESTS_TDS_SERVER_HEX_H

#include <cctype>
#include <stdexcept>
#include <string>
#include <string_view>

#include "lab/tds_server/bytes.h"

namespace tds {

/// The bytes of a text such as "10 FF 'sa'": pairs of hexadecimal digits, and quoted ASCII text, which stands for its
/// UTF-16LE bytes. Blanks separate.
inline Bytes Hex(std::string_view text) {
  Bytes bytes;
  while (!text.empty()) {
    if (std::isspace(static_cast<unsigned char>(text[0])) != 0) {
      text.remove_prefix(1);
    } else if (text[0] == '\'') {
      const std::size_t end = text.find('\'', 1);
      for (const char c : text.substr(1, end - 1)) {
        bytes.push_back(static_cast<std::uint8_t>(c));
        bytes.push_back(0);
      }
      text.remove_prefix(end + 1);
    } else {
      std::size_t digits = 0;
      bytes.push_back(static_cast<std::uint8_t>(std::stoul(std::string(text.substr(0, 2)), &digits, 16)));
      if (digits != 2) {
        throw std::invalid_argument("no pair of hexadecimal digits");
      }
      text.remove_prefix(2);
    }
  }
  return bytes;
}

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

}  // namespace tds

#endif  // BW_TESTS_TDS_SERVER_HEX_H
