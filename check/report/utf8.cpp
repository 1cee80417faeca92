#include "check/report/utf8.h"

#include <algorithm>
#include <array>

namespace check {

namespace {

/// The letters whose first byte is in a range: how long they are, and what the second byte may be. This leaves out
/// longer forms of shorter letters, surrogates and what is behind the last code point.
struct Form {
  unsigned char firstLow;
  unsigned char firstHigh;
  std::size_t length;
  unsigned char secondLow;
  unsigned char secondHigh;
};

constexpr std::array kForms = {
    Form{0xC2, 0xDF, 2, 0x80, 0xBF}, Form{0xE0, 0xE0, 3, 0xA0, 0xBF}, Form{0xE1, 0xEC, 3, 0x80, 0xBF},
    Form{0xED, 0xED, 3, 0x80, 0x9F}, Form{0xEE, 0xEF, 3, 0x80, 0xBF}, Form{0xF0, 0xF0, 4, 0x90, 0xBF},
    Form{0xF1, 0xF3, 4, 0x80, 0xBF}, Form{0xF4, 0xF4, 4, 0x80, 0x8F},
};

constexpr bool Between(char byte, unsigned char low, unsigned char high) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= low && value <= high;
}

}  // namespace

std::size_t Utf8Length(std::string_view text) {
  if (text.empty()) {
    return 0;
  }
  if (Between(text[0], 0x00, 0x7F)) {
    return 1;
  }
  const auto* const form = std::find_if(kForms.begin(), kForms.end(), [&text](const Form& candidate) {
    return Between(text[0], candidate.firstLow, candidate.firstHigh);
  });
  if (form == kForms.end() || text.size() < form->length || !Between(text[1], form->secondLow, form->secondHigh)) {
    return 0;
  }
  const std::string_view rest = text.substr(2, form->length - 2);
  const bool whole = std::all_of(rest.begin(), rest.end(), [](char byte) { return Between(byte, 0x80, 0xBF); });
  return whole ? form->length : 0;
}

}  // namespace check
