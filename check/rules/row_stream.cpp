#include "check/rules/row_stream.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string_view>

namespace check {

namespace {

/// The bits of a number that stand for it: equal for equal numbers, as 0 and -0 are, and for every NaN.
std::uint64_t BitsOf(double real) {
  if (std::isnan(real)) {
    return std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN());
  }
  return std::bit_cast<std::uint64_t>(real == 0 ? 0.0 : real);
}

/// Mixes words into two lanes. Each step of a lane can be undone, so two sequences that differ in one word only never
/// meet in it.
class Mixer {
 public:
  void Add(std::uint64_t word) {
    first_ = Fold((first_ ^ word) * 0x9FB21C651E98DF25U);
    second_ = Fold((std::rotl(second_, 23) + word) * 0xD6E8FEB86659FD93U);
  }

  void Add(std::string_view text) {
    while (text.size() >= sizeof(std::uint64_t)) {
      Add(WordOf(text.substr(0, sizeof(std::uint64_t))));
      text.remove_prefix(sizeof(std::uint64_t));
    }
    // The length is added before the text, so the zeros that fill up a rest cannot be taken for bytes of it.
    if (!text.empty()) {
      Add(WordOf(text));
    }
  }

  RowHash Finish() const { return {.high = Finalise(first_), .low = Finalise(second_)}; }

 private:
  static std::uint64_t Fold(std::uint64_t lane) { return lane ^ (lane >> 32); }

  static std::uint64_t WordOf(std::string_view bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data(), bytes.size());
    return word;
  }

  static std::uint64_t Finalise(std::uint64_t lane) {
    lane = (lane ^ (lane >> 33)) * 0xFF51AFD7ED558CCDU;
    lane = (lane ^ (lane >> 33)) * 0xC4CEB9FE1A85EC53U;
    return lane ^ (lane >> 33);
  }

  std::uint64_t first_ = 0x243F6A8885A308D3U;
  std::uint64_t second_ = 0x13198A2E03707344U;
};

/// A word that tells a value's kind and a number of 32 bits.
std::uint64_t Tagged(Value::Kind kind, std::uint32_t number) {
  return static_cast<std::uint64_t>(kind) << 32 | number;
}

}  // namespace

bool Value::operator==(const Value& other) const {
  if (kind != other.kind) {
    return false;
  }
  switch (kind) {
    case Kind::Null:
      return true;
    case Kind::Int32:
      return number == other.number;
    case Kind::Double:
      return BitsOf(real) == BitsOf(other.real);
    case Kind::Text:
      return text == other.text;
    case Kind::Token:
      return token == other.token;
  }
  return false;
}

std::string Value::Shown() const {
  switch (kind) {
    case Kind::Null:
      break;
    case Kind::Int32:
    case Kind::Token:
      return std::to_string(number);
    case Kind::Double: {
      std::array<char, 32> digits{};
      return {digits.data(), std::to_chars(digits.begin(), digits.end(), real).ptr};
    }
    case Kind::Text:
      return "'" + text + "'";
  }
  return "NULL";
}

RowHash HashOf(const Values& values) {
  Mixer mixer;
  for (const Value& value : values) {
    switch (value.kind) {
      case Value::Kind::Null:
        mixer.Add(Tagged(value.kind, 0));
        break;
      case Value::Kind::Int32:
        mixer.Add(Tagged(value.kind, static_cast<std::uint32_t>(value.number)));
        break;
      case Value::Kind::Double:
        mixer.Add(Tagged(value.kind, 0));
        mixer.Add(BitsOf(value.real));
        break;
      case Value::Kind::Text:
        mixer.Add(Tagged(value.kind, static_cast<std::uint32_t>(value.text.size())));
        mixer.Add(value.text);
        break;
      case Value::Kind::Token:
        mixer.Add(Tagged(value.kind, 0));
        mixer.Add(value.token);
        break;
    }
  }
  return mixer.Finish();
}

}  // namespace check
