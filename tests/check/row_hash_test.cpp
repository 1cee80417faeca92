#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "check/rules/row_stream.h"

namespace {

using check::HashOf;
using check::RowHash;
using check::Value;
using check::Values;

Value Null() {
  return {};
}

Value Int32(std::int32_t number) {
  Value value;
  value.kind = Value::Kind::Int32;
  value.number = number;
  return value;
}

Value Double(double real) {
  Value value;
  value.kind = Value::Kind::Double;
  value.real = real;
  return value;
}

Value Text(std::string text) {
  Value value;
  value.kind = Value::Kind::Text;
  value.text = std::move(text);
  return value;
}

Value Token(std::uint64_t token, std::int32_t number) {
  Value value;
  value.kind = Value::Kind::Token;
  value.token = token;
  value.number = number;
  return value;
}

void ExpectEqual(const Value& one, const Value& other) {
  EXPECT_TRUE(one == other);
  EXPECT_EQ(HashOf({one}), HashOf({other}));
}

void ExpectDifferent(const Values& one, const Values& other) {
  EXPECT_FALSE(one == other);
  EXPECT_NE(HashOf(one).high, HashOf(other).high);
  EXPECT_NE(HashOf(one).low, HashOf(other).low);
}

TEST(RowHash, IsTheSameForEqualValues) {
  ExpectEqual(Null(), Null());
  ExpectEqual(Int32(-7), Int32(-7));
  ExpectEqual(Double(0.1), Double(0.1));
  ExpectEqual(Text("Zürich"), Text("Zürich"));
  ExpectEqual(Token(9, 1), Token(9, 1));
}

TEST(RowHash, TellsValuesApart) {
  ExpectDifferent({Int32(1)}, {Int32(2)});
  ExpectDifferent({Double(0.3)}, {Double(0.1 + 0.2)});
  ExpectDifferent({Text("a")}, {Text("b")});
  ExpectDifferent({Token(1, 1)}, {Token(2, 1)});
}

TEST(RowHash, TellsKindsApart) {
  ExpectDifferent({Null()}, {Int32(0)});
  ExpectDifferent({Null()}, {Text("")});
  ExpectDifferent({Int32(0)}, {Double(0)});
  ExpectDifferent({Int32(0)}, {Text("")});
  ExpectDifferent({Int32(5)}, {Token(0, 5)});
}

TEST(RowHash, TellsNegativeNumbersFromPositiveOnes) {
  ExpectDifferent({Int32(-1)}, {Int32(1)});
  ExpectDifferent({Double(-1)}, {Double(1)});
  ExpectDifferent({Int32(std::numeric_limits<std::int32_t>::min())}, {Int32(0)});
}

TEST(RowHash, TakesNegativeZeroForZero) {
  ExpectEqual(Double(0.0), Double(-0.0));
}

TEST(RowHash, TakesEveryNanForTheSame) {
  ExpectEqual(Double(std::numeric_limits<double>::quiet_NaN()), Double(-std::numeric_limits<double>::quiet_NaN()));
  ExpectDifferent({Double(std::numeric_limits<double>::quiet_NaN())},
                  {Double(std::numeric_limits<double>::infinity())});
}

TEST(RowHash, ComparesAReferenceByWhatTheRowHolds) {
  ExpectEqual(Token(9, 1), Token(9, 2));
}

TEST(RowHash, DependsOnTheOrderOfTheValues) {
  ExpectDifferent({Int32(1), Int32(2)}, {Int32(2), Int32(1)});
}

TEST(RowHash, TellsWhereOneTextEndsAndTheNextBegins) {
  ExpectDifferent({Text("ab"), Text("c")}, {Text("a"), Text("bc")});
  ExpectDifferent({Text(""), Text("abcdefgh")}, {Text("abcdefgh"), Text("")});
  ExpectDifferent({Text("abcdefgh")}, {Text("abcdefgh"), Text("")});
}

TEST(RowHash, TellsTextsApartThatEndWithZerosOrBlanks) {
  ExpectDifferent({Text("a")}, {Text(std::string("a\0", 2))});
  ExpectDifferent({Text("a")}, {Text("a ")});
  ExpectDifferent({Text("12345678")}, {Text(std::string("12345678\0", 9))});
}

TEST(RowHash, TellsEverySingleBitOfALongTextApart) {
  const std::string text(37, 'x');
  std::set<std::uint64_t> high{HashOf({Text(text)}).high};
  std::set<std::uint64_t> low{HashOf({Text(text)}).low};
  for (std::size_t byte = 0; byte < text.size(); ++byte) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string changed = text;
      changed[byte] = static_cast<char>(changed[byte] ^ (1 << bit));
      high.insert(HashOf({Text(changed)}).high);
      low.insert(HashOf({Text(changed)}).low);
    }
  }
  EXPECT_EQ(high.size(), 37U * 8 + 1);
  EXPECT_EQ(low.size(), 37U * 8 + 1);
}

// The rows of a table are often numbered: neither half may repeat or crowd into few buckets.
TEST(RowHash, SpreadsNumberedRows) {
  constexpr std::int32_t rows = 200'000;
  std::set<std::uint64_t> high;
  std::set<std::uint64_t> low;
  std::vector<int> buckets(1U << 16U);
  for (std::int32_t n = 0; n < rows; ++n) {
    const RowHash hash = HashOf({Int32(n), Text("same"), Double(1.5)});
    high.insert(hash.high);
    low.insert(hash.low);
    ++buckets[hash.high >> 48U];
  }
  EXPECT_EQ(high.size(), 200'000U);
  EXPECT_EQ(low.size(), 200'000U);
  // About three in each of 65,536 buckets; 20 in one would be a chance of one in some billions.
  EXPECT_LT(*std::max_element(buckets.begin(), buckets.end()), 20);
}

TEST(ShownValue, IsWhatAPersonReads) {
  EXPECT_EQ(Null().Shown(), "NULL");
  EXPECT_EQ(Int32(-5).Shown(), "-5");
  EXPECT_EQ(Double(0.1).Shown(), "0.1");
  EXPECT_EQ(Double(1e50).Shown(), "1e+50");
  EXPECT_EQ(Text("it's").Shown(), "'it's'");
  EXPECT_EQ(Token(123456789, 7).Shown(), "7");
}

}  // namespace
