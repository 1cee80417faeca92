#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <string>

#include "db/columns.h"
#include "db/tables/system_data.h"
#include "db/text_stream.h"

namespace {

struct Position {
  std::int32_t PosID;
  char Code[4];
  double OpenBalance;
};

constexpr std::array kColumns = {db::Int32<&Position::PosID>, db::Char<&Position::Code>,
                                 db::Double<&Position::OpenBalance>};

/// What is inserted into a TextStream, which has a shorter way, and into any other stream.
std::string Text(const Position& position) {
  db::TextStream text;
  db::PrintRow<kColumns>(text, position);
  std::ostringstream stream;
  db::PrintRow<kColumns>(stream, position);
  EXPECT_EQ(text.text(), stream.str());
  return text.text();
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
  EXPECT_EQ(printed(std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(RowText, PrintsEveryDoubleAsAStreamInsertsIt) {
  std::mt19937_64 bits(29);  // any double, by its bits
  for (int i = 0; i < 100'000; ++i) {
    const auto value = std::bit_cast<double>(bits());
    std::ostringstream inserted;
    inserted << value;
    ASSERT_EQ(Text({0, "", value}), "[PosID] = 0, [Code] = , [OpenBalance] = " + inserted.str() + ";");
  }
}

TEST(RowText, FormatsNumbersAsTheStreamIsSet) {
  const std::string expected = "[PosID] = 1, [Code] = a, [OpenBalance] = 2.50;";
  std::ostringstream stream;
  stream << std::fixed << std::setprecision(2);
  db::PrintRow<kColumns>(stream, Position{1, "a", 2.5});
  EXPECT_EQ(stream.str(), expected);
  db::TextStream text;
  text << std::fixed << std::setprecision(2);
  db::PrintRow<kColumns>(text, Position{1, "a", 2.5});
  EXPECT_EQ(text.text(), expected);
}

TEST(RowText, ContinuesTheTextOfTheStream) {
  db::TextStream text;
  text << "row ";
  db::PrintRow<kColumns>(text, Position{1, "a", 2.5}) << " end";
  EXPECT_EQ(text.text(), "row [PosID] = 1, [Code] = a, [OpenBalance] = 2.5; end");
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
