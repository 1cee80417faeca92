#include "db/field_text.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

namespace {

constexpr char kUntouched = '\x7F';

/// The number's text; what is behind its room must be untouched.
template <class Number>
std::string Text(Number number) {
  std::array<char, 2 * db::kFieldTextSize<Number>> room;
  room.fill(kUntouched);
  char* const end = db::WriteFieldText(room.data(), number);
  for (std::size_t i = db::kFieldTextSize<Number>; i < room.size(); ++i) {
    EXPECT_EQ(room[i], kUntouched) << number;
  }
  return std::string(room.data(), end);
}

std::string InsertedText(double number) {
  std::array<char, 32> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%g", number));
  return text.data();
}

TEST(FieldText, IntegersOfTheWholeRange) {
  EXPECT_EQ(Text(std::int32_t{0}), "0");
  EXPECT_EQ(Text(std::int32_t{-7}), "-7");
  EXPECT_EQ(Text(std::numeric_limits<std::int32_t>::min()), "-2147483648");
  EXPECT_EQ(Text(std::numeric_limits<std::int32_t>::max()), "2147483647");
}

TEST(FieldText, TextsUpToTheirFirstZeroOrTheEndOfTheField) {
  std::array<char, 8> room{};
  const char field[4] = {'a', 'b', '\0', 'c'};
  EXPECT_EQ(db::WriteFieldText(room.data(), field, sizeof(field)), room.data() + 2);
  EXPECT_STREQ(room.data(), "ab");
  const char full[3] = {'x', 'y', 'z'};
  EXPECT_EQ(db::WriteFieldText(room.data(), full, sizeof(full)), room.data() + 3);
  EXPECT_STREQ(room.data(), "xyz");
}

TEST(FieldText, WholeNumbers) {
  EXPECT_EQ(Text(0.0), "0");
  EXPECT_EQ(Text(-0.0), "-0");
  EXPECT_EQ(Text(1.0), "1");
  EXPECT_EQ(Text(-10.0), "-10");
  EXPECT_EQ(Text(100.0), "100");
  EXPECT_EQ(Text(100200.0), "100200");
  EXPECT_EQ(Text(123456.0), "123456");
  EXPECT_EQ(Text(999999.0), "999999");
}

TEST(FieldText, NumbersWithAFraction) {
  EXPECT_EQ(Text(1234.56), "1234.56");
  EXPECT_EQ(Text(-101.25), "-101.25");
  EXPECT_EQ(Text(12345.6), "12345.6");
  EXPECT_EQ(Text(1.5), "1.5");
  EXPECT_EQ(Text(10.05), "10.05");
  EXPECT_EQ(Text(3.14159265), "3.14159");
  EXPECT_EQ(Text(2.000001), "2");
}

TEST(FieldText, NumbersBelowOne) {
  EXPECT_EQ(Text(0.1), "0.1");
  EXPECT_EQ(Text(-0.05), "-0.05");
  EXPECT_EQ(Text(0.0025), "0.0025");
  EXPECT_EQ(Text(0.1234567), "0.123457");
  EXPECT_EQ(Text(0.0001), "0.0001");
  EXPECT_EQ(Text(-0.000123456789), "-0.000123457");
  EXPECT_EQ(Text(0.99999951), "1");
  EXPECT_EQ(Text(0.000099999951), "0.0001");
  EXPECT_EQ(Text(0.00009999994), "9.99999e-05");
  EXPECT_EQ(Text(0.00001), "1e-05");
}

TEST(FieldText, NumbersOfMoreThanSixDigits) {
  EXPECT_EQ(Text(1000000.0), "1e+06");
  EXPECT_EQ(Text(1234567.0), "1.23457e+06");
  EXPECT_EQ(Text(-1200000.0), "-1.2e+06");
  EXPECT_EQ(Text(999999.5), "1e+06");
  EXPECT_EQ(Text(9007199254740991.0), "9.0072e+15");
  EXPECT_EQ(Text(1892734650000001.0), "1.89273e+15");
  EXPECT_EQ(Text(1234567890123456789.0), "1.23457e+18");
  EXPECT_EQ(Text(9.99999449e21), "9.99999e+21");
  EXPECT_EQ(Text(9.9999996e21), "1e+22");
  EXPECT_EQ(Text(1e22), "1e+22");
  EXPECT_EQ(Text(-1.5e300), "-1.5e+300");
}

TEST(FieldText, NumbersInTheMiddleBetweenTwoTextsGetTheEvenDigit) {
  EXPECT_EQ(Text(1234565.0), "1.23456e+06");
  EXPECT_EQ(Text(1234575.0), "1.23458e+06");
  EXPECT_EQ(Text(262144.5), "262144");
  EXPECT_EQ(Text(262145.5), "262146");
  EXPECT_EQ(Text(0.5), "0.5");
  EXPECT_EQ(Text(8192.125), "8192.12");
  EXPECT_EQ(Text(8192.375), "8192.38");
}

TEST(FieldText, NumbersNextToTheMiddleAreRoundedByWhatTheyAre) {
  EXPECT_EQ(Text(std::nextafter(262144.5, 1e9)), "262145");
  EXPECT_EQ(Text(std::nextafter(262145.5, 0)), "262145");
  // As a double it is 1.00000500000000003.
  EXPECT_EQ(Text(1.000005), "1.00001");
  // As a double it is 1.00005499999999992.
  EXPECT_EQ(Text(1.000055), "1.00005");
}

TEST(FieldText, NumbersThatAreNone) {
  EXPECT_EQ(Text(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(Text(-std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(Text(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(Text(std::numeric_limits<double>::denorm_min()), "4.94066e-324");
}

TEST(FieldText, PricesQuantitiesAndOrderNumbersAreWhatTheCLibraryPrints) {
  std::mt19937_64 random(29);
  const auto below = [&](std::uint64_t bound) { return static_cast<double>(random() % bound); };
  for (int i = 0; i < 50'000; ++i) {
    const double scale = std::pow(10, below(12));
    for (const double number : {below(100'000'000) / scale, (below(2'000'000) + 0.5) / scale, below(1'000'000) * scale,
                                below(std::uint64_t{1} << 62) / scale}) {
      ASSERT_EQ(Text(number), InsertedText(number)) << std::hexfloat << number;
      ASSERT_EQ(Text(-number), InsertedText(-number)) << std::hexfloat << number;
    }
  }
}

TEST(FieldText, NumbersAroundThePowersOfTenAreWhatTheCLibraryPrints) {
  for (const double power : {1e-5, 1e-4, 1e-3, 1e-2, 1e-1, 1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8, 1e9,
                             1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22, 1e23}) {
    for (int steps = -1000; steps <= 1000; ++steps) {
      const auto number = std::bit_cast<double>(std::bit_cast<std::int64_t>(power) + steps);
      ASSERT_EQ(Text(number), InsertedText(number)) << std::hexfloat << number;
    }
  }
}

}  // namespace
