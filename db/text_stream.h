#ifndef BW_DB_TEXT_STREAM_H
#define BW_DB_TEXT_STREAM_H

#include <ostream>
#include <streambuf>
#include <string>

namespace db {

/// A stream into a text that keeps its storage when it is cleared: no allocation for a text that fits it.
class TextStream final : public std::ostream {
 public:
  TextStream() : std::ostream(nullptr) { rdbuf(&buffer_); }

  /// Empties the text; how the stream formats stays as it is.
  void ClearText() noexcept { buffer_.text.clear(); }

  const std::string& text() const noexcept { return buffer_.text; }

 private:
  struct Buffer final : std::streambuf {
    int_type overflow(int_type character) override {
      if (character != traits_type::eof()) {
        text.push_back(traits_type::to_char_type(character));
      }
      return traits_type::not_eof(character);
    }

    std::streamsize xsputn(const char* characters, std::streamsize count) override {
      text.append(characters, static_cast<std::size_t>(count));
      return count;
    }

    std::string text;
  };

  Buffer buffer_;
};

}  // namespace db

#endif  // BW_DB_TEXT_STREAM_H
