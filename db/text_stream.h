#ifndef BW_DB_TEXT_STREAM_H
#define BW_DB_TEXT_STREAM_H

#include <cstddef>
#include <ios>
#include <locale>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <typeinfo>

namespace db {

/// A stream into a text that keeps its storage when it is cleared: no allocation for a text that fits it. Besides what
/// is inserted it takes parts that are written to the text itself, which is several times as fast.
class TextStream final : public std::ostream {
 public:
  TextStream() : std::ostream(nullptr) {
    rdbuf(&buffer_);
    buffer_.pubimbue(getloc());
  }

  /// The stream, if it is a TextStream that formats what is inserted as a new stream in the "C" locale does.
  static TextStream* FormattingAsNew(std::ostream& stream) {
    if (typeid(stream) != typeid(TextStream)) {
      return nullptr;
    }
    auto& text = static_cast<TextStream&>(stream);
    const bool asNew = text.flags() == (std::ios_base::skipws | std::ios_base::dec) && text.precision() == 6 &&
                       text.width() == 0 && text.buffer_.hasClassicLocale;
    return asNew ? &text : nullptr;
  }

  /// Empties the text; how the stream formats stays as it is.
  void ClearText() noexcept { buffer_.text.clear(); }

  /// Adds a part as it is.
  TextStream& Append(std::string_view part) {
    buffer_.text.append(part);
    return *this;
  }

  /// Adds a part that is written by `char* write(char* to)`, which has room for `size` characters and returns the end.
  template <class Write>
  TextStream& Append(std::size_t size, Write write) {
    std::string& text = buffer_.text;
    const std::size_t before = text.size();
    text.resize(before + size);
    text.resize(static_cast<std::size_t>(write(text.data() + before) - text.data()));
    return *this;
  }

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

    void imbue(const std::locale& locale) override { hasClassicLocale = locale == std::locale::classic(); }

    std::string text;
    bool hasClassicLocale = true;
  };

  Buffer buffer_;
};

}  // namespace db

#endif  // BW_DB_TEXT_STREAM_H
