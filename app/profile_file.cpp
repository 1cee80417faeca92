#include "app/profile_file.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <string_view>

namespace app {

namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Not std::tolower: the names are compared alike whatever the locale.
constexpr char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualNames(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
}

std::string_view Unquote(std::string_view value) {
  const bool quoted =
      value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
  return quoted ? value.substr(1, value.size() - 2) : value;
}

std::optional<std::string_view> SectionName(std::string_view line) {
  const std::size_t end = line.rfind(']');
  if (!line.starts_with('[') || end == std::string_view::npos) {
    return std::nullopt;
  }
  return Trim(line.substr(1, end - 1));
}

}  // namespace

std::string ReadProfileString(const std::string& path, const std::string& section, const std::string& key,
                              std::size_t maxLength) {
  std::ifstream file(path, std::ios_base::in | std::ios_base::binary);
  bool inSection = false;
  bool firstLine = true;
  for (std::string text; std::getline(file, text); firstLine = false) {
    std::string_view line = text;
    if (firstLine && line.starts_with(kByteOrderMark)) {
      line.remove_prefix(kByteOrderMark.size());
    }
    line = Trim(line);
    if (line.empty() || line.front() == ';') {
      continue;
    }
    if (const std::optional<std::string_view> name = SectionName(line)) {
      if (inSection) {
        break;
      }
      inSection = EqualNames(*name, section);
      continue;
    }
    const std::size_t equals = line.find('=');
    if (inSection && equals != std::string_view::npos && EqualNames(Trim(line.substr(0, equals)), key)) {
      const std::string_view value = Unquote(Trim(line.substr(equals + 1)));
      return std::string(value.substr(0, std::min(value.find('\0'), maxLength)));
    }
  }
  return {};
}

}  // namespace app
