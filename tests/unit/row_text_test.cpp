#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <random>
#include <span>
#include <sstream>
#include <string>

#include "db/columns.h"
#include "db/tables/system_data.h"

namespace {

struct Position {
  std::int32_t PosID;
  char Code[4];
  double OpenBalance;
};

constexpr std::array kColumns = {db::Int32<&Position::PosID>, db::Char<&Position::Code>,
                                 db::Double<&Position::OpenBalance>};

std::span<const db::Column<Position>> ColumnsOf(const Position& /*row*/) {
  return kColumns;
}

using db::operator<<;

/// What is appended to a text and inserted into a new stream.
std::string Text(const Position& position) {
  std::string text;
  db::Append(text, position);
  std::ostringstream stream;
  stream << position;
  EXPECT_EQ(text, stream.str());
  return text;
}

TEST(RowText, LabelsEachFieldAndEndsWithASemicolon) {
  EXPECT_EQ(Text({7, "abc", 1.5}), "[PosID] = 7, [Code] = abc, [OpenBalance] = 1.5;");
}

TEST(RowText, PrintsNegativeNumbersWithTheirSign) {
  EXPECT_EQ(Text({-7, "", -0.25}), "[PosID] = -7, [Code] = , [OpenBalance] = -0.25;");
}

TEST(RowText, PrintsTheWholeRangeOfIntegers) {
  EXPECT_EQ(Text({std::numeric_limits<std::int32_t>::min(), "", 0}),
            "[PosID] = -2147483648, [Code] = , [OpenBalance] = 0;");
  EXPECT_EQ(Text({std::numeric_limits<std::int32_t>::max(), "", 0}),
            "[PosID] = 2147483647, [Code] = , [OpenBalance] = 0;");
}

TEST(RowText, PrintsDoublesWithSixDigits) {
  EXPECT_EQ(Text({0, "", 1234567.0}), "[PosID] = 0, [Code] = , [OpenBalance] = 1.23457e+06;");
  EXPECT_EQ(Text({0, "", 123456.7}), "[PosID] = 0, [Code] = , [OpenBalance] = 123457;");
  EXPECT_EQ(Text({0, "", 0.00001234567}), "[PosID] = 0, [Code] = , [OpenBalance] = 1.23457e-05;");
  EXPECT_EQ(Text({0, "", 1e50}), "[PosID] = 0, [Code] = , [OpenBalance] = 1e+50;");
  EXPECT_EQ(Text({0, "", 0.1}), "[PosID] = 0, [Code] = , [OpenBalance] = 0.1;");
}

TEST(RowText, PrintsDoublesAtTheEdgesOfSixDigits) {
  const auto printed = [](double value) {
    const std::string text = Text({0, "", value});
    const std::string before = "[PosID] = 0, [Code] = , [OpenBalance] = ";
    return text.substr(before.size(), text.size() - before.size() - 1);
  };
  EXPECT_EQ(printed(999999), "999999");
  EXPECT_EQ(printed(999999.4), "999999");
  EXPECT_EQ(printed(999999.5), "1e+06");
  EXPECT_EQ(printed(0.0001), "0.0001");
  EXPECT_EQ(printed(0.00001), "1e-05");
  EXPECT_EQ(printed(1e300), "1e+300");
  EXPECT_EQ(printed(-1e-300), "-1e-300");
  EXPECT_EQ(printed(-0.0), "-0");
  EXPECT_EQ(printed(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(printed(-std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(printed(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(printed(-std::numeric_limits<double>::quiet_NaN()), "-nan");
  EXPECT_EQ(printed(std::numeric_limits<double>::denorm_min()), "4.94066e-324");
}

TEST(RowText, PrintsDoublesInTheMiddleBetweenTwoTextsWithTheEvenDigit) {
  EXPECT_EQ(Text({0, "", 262144.5}), "[PosID] = 0, [Code] = , [OpenBalance] = 262144;");
  EXPECT_EQ(Text({0, "", 262145.5}), "[PosID] = 0, [Code] = , [OpenBalance] = 262146;");
}

void ExpectAppendedAsInserted(double value) {
  std::string appended;
  db::Append(appended, value);
  std::ostringstream inserted;
  inserted << value;
  ASSERT_EQ(appended, inserted.str()) << std::hexfloat << value;
}

TEST(RowText, AppendsEveryDoubleAsANewStreamInsertsIt) {
  std::mt19937_64 random(29);
  constexpr std::uint64_t fraction = (std::uint64_t{1} << 52) - 1;
  constexpr std::uint64_t sign = ~(~std::uint64_t{0} >> 1);
  const auto below = [&random](std::uint64_t bound) { return static_cast<double>(random() % bound); };
  for (int i = 0; i < 100'000; ++i) {
    const std::uint64_t bits = random();
    ExpectAppendedAsInserted(std::bit_cast<double>(bits));                             // any double
    ExpectAppendedAsInserted(std::bit_cast<double>(bits & (sign | fraction)));         // denormal
    ExpectAppendedAsInserted(std::bit_cast<double>(bits | (~fraction & ~sign)));       // not a number
    ExpectAppendedAsInserted((below(2'000'000) + 0.5) / std::pow(10, below(12)));      // price, also between two texts
    ExpectAppendedAsInserted(below(std::uint64_t{1} << 62) / std::pow(10, below(6)));  // order number
  }
}

TEST(RowText, FormatsNumbersAsTheStreamIsSet) {
  std::ostringstream stream;
  stream << std::fixed << std::setprecision(2) << Position{1, "a", 2.5};
  EXPECT_EQ(stream.str(), "[PosID] = 1, [Code] = a, [OpenBalance] = 2.50;");
}

TEST(RowText, ContinuesTheText) {
  std::string text = "row ";
  db::Append(text, Position{1, "a", 2.5});
  EXPECT_EQ(text, "row [PosID] = 1, [Code] = a, [OpenBalance] = 2.5;");
  std::ostringstream stream;
  stream << "row " << Position{1, "a", 2.5} << " end";
  EXPECT_EQ(stream.str(), "row [PosID] = 1, [Code] = a, [OpenBalance] = 2.5; end");
}

TEST(RowText, EndsATextAtItsFirstZero) {
  Position position{1, "abc", 0};
  position.Code[1] = '\0';
  EXPECT_EQ(Text(position), "[PosID] = 1, [Code] = a, [OpenBalance] = 0;");
}

TEST(RowText, NeverReadsBehindATextField) {
  Position position{1, "", 0};
  std::memcpy(position.Code, "abcd", 4);
  EXPECT_EQ(Text(position), "[PosID] = 1, [Code] = abcd, [OpenBalance] = 0;");
}

TEST(RowText, ShowsSystemDataByKeyAndValue) {
  std::ostringstream stream;
  stream << db::DBRowSystemData{"dbver", "29"};
  EXPECT_EQ(stream.str(), "[KeyName] = dbver, [KeyValue] = 29;");
}

}  // namespace
