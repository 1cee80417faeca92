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

Converter OpenConverter(const char* to, const char* from) {
  iconv_t converter = iconv_open(to, from);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): iconv reports failure by this pointer
  if (converter == reinterpret_cast<iconv_t>(-1)) {
    throw std::system_error(errno, std::generic_category(), std::string(to) + " from " + from);
  }
  return Converter(converter);
}

/// One character converted, empty where there is none for it.
std::string Converted(const Converter& converter, std::string_view character) {
  std::array<char, kLongestCharacter> buffer{};
  // iconv takes a non-const pointer but does not write to the input.
  char* in = const_cast<char*>(character.data());
  std::size_t left = character.size();
  char* out = buffer.data();
  std::size_t room = buffer.size();
  const bool failed = iconv(converter.get(), &in, &left, &out, &room) == static_cast<std::size_t>(-1);
  // Of some code pages the last character comes only now, in case a combining one had followed.
  iconv(converter.get(), nullptr, nullptr, &out, &room);
  return failed ? std::string{} : std::string(buffer.data(), out);
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

std::size_t PositionOf(const CodePage& codePage) {
  return static_cast<std::size_t>(&codePage - std::begin(kCodePages));
}

const CodePage& CodePageAt(std::size_t position) {
  return kCodePages[position];
}

const CodePage& FindCollation(std::string_view name) {
  const auto* found = std::find_if(std::begin(kCodePages), std::end(kCodePages),
                                   [=](const CodePage& page) { return EqualsIgnoringCase(page.collationName, name); });
  if (found == std::end(kCodePages)) {
    throw std::invalid_argument("collation " + std::string(name) + " is not supported");
  }
  return *found;
}

TextEncoder::TextEncoder(const CodePage& codePage) {
  if (codePage.maxCharacterSize > 1) {
    converter_ = OpenConverter(codePage.encoding, "UTF-8");
    return;
  }
  const Converter decoder = OpenConverter("UTF-8", codePage.encoding);
  for (int byte = 0x80; byte <= 0xFF; ++byte) {
    const char encoded = static_cast<char>(byte);
    std::string character = Converted(decoder, {&encoded, 1});
    if (!character.empty()) {
      upperHalf_.emplace(std::move(character), encoded);
    }
  }
}

std::string_view TextEncoder::Encode(std::string_view utf8, std::size_t maxSize) {
  if (IsAscii(utf8)) {
    return utf8.substr(0, maxSize);
  }
  encoded_.clear();
  while (!utf8.empty()) {
    const std::size_t length = std::max<std::size_t>(Utf8SequenceLength(utf8), 1);
    const std::string encoded = EncodeCharacter(utf8.substr(0, length));
    if (encoded_.size() + encoded.size() > maxSize) {
      break;
    }
    encoded_ += encoded;
    utf8.remove_prefix(length);
  }
  return encoded_;
}

std::string TextEncoder::EncodeCharacter(std::string_view utf8) const {
  if (utf8.size() == 1 && IsAscii(utf8)) {
    return std::string(utf8);
  }
  if (!converter_) {
    const auto found = upperHalf_.find(std::string(utf8));
    return {found == upperHalf_.end() ? '?' : found->second};
  }
  std::string encoded = Converted(converter_, utf8);
  return encoded.empty() ? "?" : encoded;
}

}  // namespace tds
