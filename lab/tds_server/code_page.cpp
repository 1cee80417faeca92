#include "lab/tds_server/code_page.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "lab/tds_server/text.h"

namespace tds {

namespace {

constexpr CodePage kCodePages[] = {
    {1250, "CP1250", 1, "Polish_CI_AS", {0x15, 0x04, 0xD0, 0x00, 0x00}},
    {1251, "CP1251", 1, "Cyrillic_General_CI_AS", {0x19, 0x04, 0xD0, 0x00, 0x00}},
    {1252, "CP1252", 1, "SQL_Latin1_General_CP1_CI_AS", {0x09, 0x04, 0xD0, 0x00, 0x34}},
    {1253, "CP1253", 1, "Greek_CI_AS", {0x08, 0x04, 0xD0, 0x00, 0x00}},
    {1254, "CP1254", 1, "Turkish_CI_AS", {0x1F, 0x04, 0xD0, 0x00, 0x00}},
    {1255, "CP1255", 1, "Hebrew_CI_AS", {0x0D, 0x04, 0xD0, 0x00, 0x00}},
    {1256, "CP1256", 1, "Arabic_CI_AS", {0x01, 0x04, 0xD0, 0x00, 0x00}},
    {1257, "CP1257", 1, "Lithuanian_CI_AS", {0x27, 0x04, 0xD0, 0x00, 0x00}},
    {1258, "CP1258", 1, "Vietnamese_CI_AS", {0x2A, 0x04, 0xD0, 0x00, 0x00}},
    {932, "CP932", 2, "Japanese_CI_AS", {0x11, 0x04, 0xD0, 0x00, 0x00}},
    {936, "CP936", 2, "Chinese_PRC_CI_AS", {0x04, 0x08, 0xD0, 0x00, 0x00}},
    {949, "CP949", 2, "Korean_Wansung_CI_AS", {0x12, 0x04, 0xD0, 0x00, 0x00}},
    {950, "CP950", 2, "Chinese_Taiwan_Stroke_CI_AS", {0x04, 0x04, 0xD0, 0x00, 0x00}},
    {65001, "UTF-8", 4, "Latin1_General_100_CI_AS_SC_UTF8", {0x09, 0x04, 0xD0, 0x24, 0x00}},
};

// Of all code pages, in bytes.
constexpr std::size_t kLongestCharacter = 4;

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

const CodePage& FindCollation(std::string_view name) {
  const auto* found = std::find_if(std::begin(kCodePages), std::end(kCodePages),
                                   [=](const CodePage& page) { return EqualsIgnoringCase(page.collationName, name); });
  if (found == std::end(kCodePages)) {
    throw std::invalid_argument("collation " + std::string(name) + " is not supported");
  }
  return *found;
}

TextEncoder::TextEncoder(const CodePage& codePage) : maxCharacterSize_(codePage.maxCharacterSize) {
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
  encoded_.clear();
  std::array<char, kLongestCharacter> character{};
  while (!utf8.empty()) {
    const std::size_t length = std::max<std::size_t>(Utf8SequenceLength(utf8), 1);
    const std::size_t size = EncodeCharacter(utf8.substr(0, length), character.data());
    if (encoded_.size() + size > maxSize) {
      break;
    }
    encoded_.append(character.data(), size);
    utf8.remove_prefix(length);
  }
  return encoded_;
}

/// One by one: iconv would write a character that Windows-1258 lacks as a letter and a combining mark.
std::size_t TextEncoder::EncodeCharacter(std::string_view utf8, char* out) {
  // iconv takes a non-const pointer but does not write to the input.
  char* in = const_cast<char*>(utf8.data());
  std::size_t left = utf8.size();
  char* end = out;
  std::size_t room = maxCharacterSize_;
  if (iconv(converter_.get(), &in, &left, &end, &room) == static_cast<std::size_t>(-1)) {
    iconv(converter_.get(), nullptr, nullptr, nullptr, nullptr);
    *out = '?';
    return 1;
  }
  return maxCharacterSize_ - room;
}

}  // namespace tds
