#include "db/field_text.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace db {

namespace {

// The digits of a double that a new stream shows.
constexpr int kDigits = 6;
constexpr std::uint32_t kAboveDigits = 1'000'000;

constexpr int kLowestPower = -4;
constexpr std::array kPowersOfTen = {1e-4, 1e-3, 1e-2, 1e-1, 1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8, 1e9,
                                     1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

constexpr double PowerOfTen(int exponent) {
  return kPowersOfTen[static_cast<std::size_t>(exponent - kLowestPower)];
}

/// The decimal exponent of a number from 1e-4 to below 1e22.
int ExponentOf(double magnitude) {
  static_assert(std::numeric_limits<double>::is_iec559);
  constexpr int fractionBits = 52;
  constexpr int bias = 1023;
  const int binary = static_cast<int>(std::bit_cast<std::uint64_t>(magnitude) >> fractionBits) - bias;
  // 1233 / 4096 is the logarithm of 2, near enough for these numbers; it gives the exponent or the one below it.
  const int exponent = (binary * 1233) >> 12;
  return magnitude >= PowerOfTen(exponent + 1) ? exponent + 1 : exponent;
}

/// Writes any number, several times as slowly.
char* WriteSlowly(char* to, double magnitude) noexcept {
  return std::to_chars(to, to + kFieldTextSize<double>, magnitude, std::chars_format::general, kDigits).ptr;
}

/// Six digits as they are shown: with the point behind the first one and an exponent, or with the point where it
/// belongs. The zeros at the end are left out.
char* WriteDigits(char* to, std::uint32_t digits, int exponent) noexcept {
  static_assert(std::endian::native == std::endian::little, "the first digit is in the lowest byte");
  constexpr int byteBits = 8;
  // Two digits in every 16 bits, then the tens of all three pairs at once: for them a tenth is 103 / 1024.
  const std::uint64_t pairs =
      digits / 10'000 | std::uint64_t{digits / 100 % 100} << 2 * byteBits | std::uint64_t{digits % 100} << 4 * byteBits;
  const std::uint64_t tens = pairs * 103 >> 10 & 0x000F'000F'000F;
  std::uint64_t text = tens | (pairs - 10 * tens) << byteBits;
  const int count = (std::numeric_limits<std::uint64_t>::digits - std::countl_zero(text) + byteBits - 1) / byteBits;
  text |= 0x30'30'30'30'30'30;

  if (exponent < 0) {
    constexpr std::string_view zeros = "0.000";
    zeros.copy(to, zeros.size());
    to += 1 - exponent;
    std::memcpy(to, &text, sizeof(text));
    return to + count;
  }
  const int point = exponent < kDigits ? exponent + 1 : 1;
  std::memcpy(to, &text, sizeof(text));
  to += point;
  if (count > point) {
    *to++ = '.';
    text >>= byteBits * point;
    std::memcpy(to, &text, sizeof(text));
    to += count - point;
  }
  if (exponent >= kDigits) {
    *to++ = 'e';
    *to++ = '+';
    *to++ = static_cast<char>('0' + exponent / 10);
    *to++ = static_cast<char>('0' + exponent % 10);
  }
  return to;
}

}  // namespace

char* WriteFieldText(char* to, std::int32_t number) noexcept {
  return std::to_chars(to, to + kFieldTextSize<std::int32_t>, number).ptr;
}

char* WriteFieldText(char* to, double number) noexcept {
  if (std::signbit(number)) {
    *to++ = '-';
  }
  const double magnitude = std::fabs(number);
  if (magnitude == 0) {
    *to++ = '0';
    return to;
  }
  // Outside, the decimal exponent has another form, or no exact power scales the number.
  if (!(magnitude >= 1e-4 && magnitude < 1e22)) {
    return WriteSlowly(to, magnitude);
  }
  const int exponent = ExponentOf(magnitude);
  const int shift = kDigits - 1 - exponent;
  // Six digits before the point. The power is exact, so the result is off by its own rounding only: less than 1e-9.
  const double scaled = shift >= 0 ? magnitude * PowerOfTen(shift) : magnitude / PowerOfTen(-shift);
  const auto below = static_cast<std::uint32_t>(scaled);
  const double rest = scaled - below;
  // Next to the middle between two texts the last digit depends on more than that.
  if (std::fabs(rest - 0.5) < 1e-6) {
    return WriteSlowly(to, magnitude);
  }
  const std::uint32_t rounded = rest < 0.5 ? below : below + 1;
  return rounded < kAboveDigits ? WriteDigits(to, rounded, exponent) : WriteDigits(to, rounded / 10, exponent + 1);
}

char* WriteFieldText(char* to, const char* text, std::size_t size) noexcept {
  for (; size != 0 && *text != '\0'; --size) {
    *to++ = *text++;
  }
  return to;
}

}  // namespace db
