#include "config/profile_file.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

namespace config {

namespace {

// The last one is the end of a legacy text file.
constexpr std::string_view kBlanks = " \t\v\f\x1A";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view UpToAZeroByte(std::string_view text) {
  return text.substr(0, text.find('\0'));
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

/// The name in a section header. The closing bracket may be missing, and may have any text behind it.
std::optional<std::string_view> SectionName(std::string_view line) {
  if (!line.starts_with('[')) {
    return std::nullopt;
  }
  line.remove_prefix(1);
  return UpToAZeroByte(Trim(line.substr(0, line.find(']'))));
}

/// The lines of a file, each ended by LF, CR or both, without blanks around them and without a byte-order mark.
class Lines {
 public:
  explicit Lines(const std::string& path) : file_(path, std::ios_base::in | std::ios_base::binary) {}

  /// The next line, which lives until the one after it is asked for.
  std::optional<std::string_view> Next() {
    if (start_ > text_.size()) {
      if (!std::getline(file_, text_)) {
        return std::nullopt;
      }
      start_ = atBeginning_ && text_.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
      atBeginning_ = false;
    }
    const std::size_t end = std::min(text_.find('\r', start_), text_.size());
    const std::string_view line = std::string_view(text_).substr(start_, end - start_);
    start_ = end + 1;
    return Trim(line);
  }

 private:
  std::ifstream file_;
  std::string text_;       // What was read up to an LF.
  std::size_t start_ = 1;  // Where the next line begins in it; behind its end when all of it was given out.
  bool atBeginning_ = true;
};

/// Calls `visit` with the name and the value of each key of the first section of that name, until it returns false.
template <class Visit>
void VisitKeys(const std::string& path, std::string_view section, Visit visit) {
  Lines lines(path);
  bool inSection = false;
  while (const std::optional<std::string_view> line = lines.Next()) {
    if (const std::optional<std::string_view> name = SectionName(*line)) {
      if (inSection) {
        return;
      }
      inSection = EqualNames(*name, section);
      continue;
    }
    const std::size_t equals = line->find('=');
    if (!inSection || line->starts_with(';') || equals == std::string_view::npos) {
      continue;
    }
    if (!visit(UpToAZeroByte(Trim(line->substr(0, equals))), Trim(line->substr(equals + 1)))) {
      return;
    }
  }
}

}  // namespace

bool ProfileFileExists(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (status.type() == std::filesystem::file_type::none) {
    throw std::filesystem::filesystem_error("exists", path, error);
  }
  return std::filesystem::exists(status);
}

std::string ReadProfileString(const std::string& path, const std::string& section, const std::string& key,
                              std::size_t maxLength) {
  std::string found;
  VisitKeys(path, section, [&](std::string_view name, std::string_view value) {
    const bool isKey = EqualNames(name, key);
    if (isKey) {
      found = Unquote(UpToAZeroByte(value)).substr(0, maxLength);
    }
    return !isKey;
  });
  return found;
}

std::vector<std::string> ReadSectionNames(const std::string& path) {
  std::vector<std::string> names;
  Lines lines(path);
  while (const std::optional<std::string_view> line = lines.Next()) {
    if (const std::optional<std::string_view> name = SectionName(*line)) {
      names.emplace_back(*name);
    }
  }
  return names;
}

std::vector<std::string> ReadKeyNames(const std::string& path, const std::string& section) {
  std::vector<std::string> names;
  VisitKeys(path, section, [&names](std::string_view name, std::string_view /*value*/) {
    names.emplace_back(name);
    return true;
  });
  return names;
}

}  // namespace config
