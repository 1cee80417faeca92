#include "check/sql/sql_text.h"

#include <utf8cpp/utf8.h>

#include <cstddef>
#include <cstdint>

#include "check/report/characters.h"

namespace check {

namespace {

/// The text between two marks, with the second one doubled inside.
std::string Enclosed(char open, std::string_view text, char close) {
  std::string enclosed(1, open);
  for (const char c : text) {
    enclosed.append(c == close ? 2 : 1, c);
  }
  return enclosed + close;
}

std::string OfBytes(Side side, std::string_view bytes) {
  std::string hex;
  for (const char byte : bytes) {
    hex += Hex(static_cast<unsigned char>(byte), 2);
  }
  return side == Side::Source ? "CAST(0x" + hex + " AS varchar(8000))"
                              : "convert_from(decode('" + hex + "', 'hex'), pg_client_encoding())";
}

/// Builds an expression of parts that are joined.
class Concatenation {
 public:
  explicit Concatenation(Side side) : side_(side) {}

  void Add(const Character& character) {
    const std::uint32_t number = character.number;
    if (IsControl(number) || number == '\\' || number == '$') {
      AddPart((side_ == Side::Destination ? "chr("
               : number < 0x80            ? "CHAR("
                                          : "NCHAR(") +
              std::to_string(number) + ')');
    } else {
      quoted_.append(number == '\'' ? "''" : character.bytes);
      beyondAscii_ = beyondAscii_ || number >= 0x80;
    }
  }

  std::string Take() {
    if (!quoted_.empty() || parts_ == 0) {
      EndQuoted();
    }
    return parts_ == 1 ? expression_ : '(' + expression_ + ')';
  }

 private:
  void AddPart(const std::string& part) {
    if (!quoted_.empty()) {
      EndQuoted();
    }
    Join(part);
  }

  void EndQuoted() {
    // Without the N, SQL Server reads the characters of one code page only.
    Join((side_ == Side::Source && beyondAscii_ ? "N'" : "'") + quoted_ + '\'');
    quoted_.clear();
    beyondAscii_ = false;
  }

  void Join(const std::string& part) {
    expression_ += parts_++ == 0 ? "" : side_ == Side::Source ? " + " : " || ";
    expression_ += part;
  }

  Side side_;
  std::string expression_;
  std::size_t parts_ = 0;
  std::string quoted_;  ///< The part that has not ended yet, without its quotes.
  bool beyondAscii_ = false;
};

}  // namespace

std::string QuotedName(Side side, std::string_view name) {
  if (side == Side::Source) {
    return Enclosed('[', name, ']');
  }
  std::string escaped;
  bool controls = false;
  for (std::string_view rest = name; !rest.empty();) {
    const Character character = TakeCharacter(rest);
    if (character.isUtf8 && IsControl(character.number)) {
      escaped += "!" + Hex(character.number, 4);  // None of them has more digits.
      controls = true;
    } else {
      escaped.append(character.bytes).append(character.bytes == "!" ? "!" : "");
    }
  }
  return controls ? "U&" + Enclosed('"', escaped, '"') + " UESCAPE '!'" : Enclosed('"', name, '"');
}

std::string Quoted(std::string_view name) {
  return QuotedName(Side::Destination, name);
}

std::string NumberAs(const std::string& number, const std::string& type) {
  // Some types write 1 as 1.0, which no integer is read from.
  return "CAST(regexp_replace(CAST((" + number + ") AS text), '[.]0+$', '') AS " + type + ")";
}

std::string Literal(std::string_view text) {
  return Enclosed('\'', text, '\'');
}

std::string Literal(Side side, std::string_view text) {
  if (!utf8::is_valid(text)) {
    return OfBytes(side, text);
  }
  Concatenation expression(side);
  while (!text.empty()) {
    expression.Add(TakeCharacter(text));
  }
  return expression.Take();
}

}  // namespace check
