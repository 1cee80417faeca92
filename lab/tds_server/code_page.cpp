#include "lab/tds_server/code_page.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "lab/tds_server/text.h"

namespace tds {

namespace {

constexpr CodePage kCodePages[] = {
    {1252, "CP1252", "SQL_Latin1_General_CP1_CI_AS", {0x09, 0x04, 0xD0, 0x00, 0x34}},
    {1251, "CP1251", "Cyrillic_General_CI_AS", {0x19, 0x04, 0xD0, 0x00, 0x00}},
    {65001, "UTF-8", "Latin1_General_100_CI_AS_SC_UTF8", {0x09, 0x04, 0xD0, 0x24, 0x00}},
};

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<std::uint8_t>(c) < 0x80; });
}

}  // namespace

const CodePage& FindCodePage(int number) {
  const auto* found = std::find_if(std::begin(kCodePages), std::end(kCodePages),
                                   [=](const CodePage& page) { return page.number == number; });
  if (found == std::end(kCodePages)) {
    throw std::invalid_argument("code page " + std::to_string(number) + " is not supported");
  }
  return *found;
}

TextEncoder::TextEncoder(const CodePage& codePage) {
  iconv_t converter = iconv_open(codePage.encoding, "UTF-8");
  // NOLINTNEXTLINE(performance-no-int-to-ptr): iconv reports failure by this pointer
  if (converter == reinterpret_cast<iconv_t>(-1)) {
    throw std::system_error(errno, std::generic_category(), codePage.encoding);
  }
  converter_.reset(converter);
}

std::string_view TextEncoder::Encode(std::string_view utf8, std::size_t maxSize) {
  if (IsAscii(utf8)) {
    return utf8.substr(0, maxSize);
  }
  encoded_.resize(maxSize);
  char* out = encoded_.data();
  std::size_t room = maxSize;
  while (!utf8.empty() && room > 0) {
    // iconv takes a non-const pointer but does not write to the input.
    char* in = const_cast<char*>(utf8.data());
    std::size_t left = utf8.size();
    const std::size_t result = iconv(converter_.get(), &in, &left, &out, &room);
    utf8.remove_prefix(utf8.size() - left);
    if (result == static_cast<std::size_t>(-1)) {
      // A bad sequence may come to light just when the room is used up.
      if (errno == E2BIG || room == 0) {
        break;
      }
      *out++ = '?';
      --room;
      utf8.remove_prefix(std::max<std::size_t>(Utf8SequenceLength(utf8), 1));
    }
  }
  return std::string_view(encoded_).substr(0, maxSize - room);
}

}  // namespace tds
