#ifndef BW_TESTS_SUPPORT_PROFILE_FILE_RESTATEMENT_H
#define BW_TESTS_SUPPORT_PROFILE_FILE_RESTATEMENT_H

#include <cstddef>
#include <string>
#include <vector>

namespace support {

/// The format of an initialization file told once more, as plainly as possible and without a thought for speed: the
/// whole content is taken apart, then the value is looked for.
class ProfileFileRestatement {
 public:
  explicit ProfileFileRestatement(std::string content) {
    if (content.substr(0, 3) == "\xEF\xBB\xBF") {
      content = content.substr(3);
    }
    std::string line;
    content += '\n';
    for (const char c : content) {
      if (c == '\n' || c == '\r') {
        TakeLine(Trimmed(line));
        line = "";
      } else {
        line += c;
      }
    }
  }

  std::string Value(const std::string& section, const std::string& key, std::size_t maxLength) const {
    for (const Section& candidate : sections_) {
      if (LowerCase(candidate.name) != LowerCase(section)) {
        continue;
      }
      for (const Entry& entry : candidate.entries) {
        if (LowerCase(entry.key) == LowerCase(key)) {
          return WithoutQuotes(entry.value).substr(0, maxLength);
        }
      }
      return "";  // The later sections of the name do not count.
    }
    return "";
  }

 private:
  struct Entry {
    std::string key;
    std::string value;
  };
  struct Section {
    std::string name;
    std::vector<Entry> entries;
  };

  void TakeLine(const std::string& line) {
    if (line.empty() || line[0] == ';') {
      return;
    }
    std::size_t firstBracket = line.size();
    std::size_t firstEquals = line.size();
    for (std::size_t i = line.size(); i-- > 0;) {
      if (line[i] == ']') {
        firstBracket = i;
      }
      if (line[i] == '=') {
        firstEquals = i;
      }
    }
    if (line[0] == '[') {
      sections_.push_back({UpToAZeroByte(Trimmed(line.substr(1, firstBracket - 1))), {}});
    } else if (firstEquals != line.size() && !sections_.empty()) {
      sections_.back().entries.push_back(
          {UpToAZeroByte(Trimmed(line.substr(0, firstEquals))), UpToAZeroByte(Trimmed(line.substr(firstEquals + 1)))});
    }
  }

  static bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\v' || c == '\f' || c == '\x1A'; }

  static std::string Trimmed(std::string text) {
    while (!text.empty() && IsBlank(text.back())) {
      text.pop_back();
    }
    while (!text.empty() && IsBlank(text.front())) {
      text.erase(0, 1);
    }
    return text;
  }

  static std::string LowerCase(std::string text) {
    for (char& c : text) {
      if (c >= 'A' && c <= 'Z') {
        c = static_cast<char>(c + 32);
      }
    }
    return text;
  }

  static std::string WithoutQuotes(const std::string& text) {
    for (const char quote : {'"', '\''}) {
      if (text.size() >= 2 && text.front() == quote && text.back() == quote) {
        return text.substr(1, text.size() - 2);
      }
    }
    return text;
  }

  static std::string UpToAZeroByte(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size() && text[i] != '\0'; ++i) {
      result += text[i];
    }
    return result;
  }

  std::vector<Section> sections_;
};

}  // namespace support

#endif  // BW_TESTS_SUPPORT_PROFILE_FILE_RESTATEMENT_H
