#include "check/before/renumbering.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>

namespace check {
namespace {

Renumbering Of(std::initializer_list<std::int32_t> numbers) {
  Renumbering renumbering;
  for (const std::int32_t number : numbers) {
    renumbering.Add(number);
  }
  return renumbering;
}

TEST(Renumbering, KeepsTheMeaningOfNumbersWithoutGaps) {
  const Renumbering renumbering = Of({1, 2, 3});
  EXPECT_FALSE(renumbering.LastChanged());
  for (const std::int32_t number : {-1, 0, 1, 2, 3, 4, 100}) {
    EXPECT_TRUE(renumbering.KeepsMeaning(number)) << number;
  }
}

TEST(Renumbering, ChangesTheMeaningOfTheNumbersBehindAGap) {
  const Renumbering renumbering = Of({1, 2, 5, 6});
  EXPECT_TRUE(renumbering.LastChanged());
  EXPECT_EQ(renumbering.size(), 4U);
  EXPECT_TRUE(renumbering.KeepsMeaning(1));
  EXPECT_TRUE(renumbering.KeepsMeaning(2));
  // They named no row and will name those that were 5 and 6.
  EXPECT_FALSE(renumbering.KeepsMeaning(3));
  EXPECT_FALSE(renumbering.KeepsMeaning(4));
  // They will name no row.
  EXPECT_FALSE(renumbering.KeepsMeaning(5));
  EXPECT_FALSE(renumbering.KeepsMeaning(6));
  EXPECT_TRUE(renumbering.KeepsMeaning(7));
}

TEST(Renumbering, TellsSwappedNumbers) {
  const Renumbering renumbering = Of({2, 1, 3});
  EXPECT_FALSE(renumbering.KeepsMeaning(1));
  EXPECT_FALSE(renumbering.KeepsMeaning(2));
  EXPECT_TRUE(renumbering.KeepsMeaning(3));
}

TEST(Renumbering, FindsNumbersWhoseOrderIsReversed) {
  const Renumbering renumbering = Of({5, 4, 3, 2, 1});
  EXPECT_FALSE(renumbering.KeepsMeaning(5));
  EXPECT_FALSE(renumbering.KeepsMeaning(4));
  EXPECT_TRUE(renumbering.KeepsMeaning(3));
  EXPECT_FALSE(renumbering.KeepsMeaning(2));
  EXPECT_FALSE(renumbering.KeepsMeaning(1));
}

TEST(Renumbering, SaysThatANumberIsThereTwice) {
  Renumbering renumbering;
  EXPECT_TRUE(renumbering.Add(1));
  EXPECT_TRUE(renumbering.Add(2));
  EXPECT_FALSE(renumbering.Add(2));
  EXPECT_TRUE(renumbering.Add(4));
  EXPECT_TRUE(renumbering.KeepsMeaning(2));
  EXPECT_TRUE(renumbering.KeepsMeaning(4));
  EXPECT_FALSE(renumbering.KeepsMeaning(3));
}

TEST(Renumbering, ReachesBothEndsOfTheNumbers) {
  const Renumbering renumbering = Of({INT32_MIN, INT32_MAX});
  EXPECT_FALSE(renumbering.KeepsMeaning(INT32_MIN));
  EXPECT_FALSE(renumbering.KeepsMeaning(INT32_MAX));
  EXPECT_FALSE(renumbering.KeepsMeaning(1));
  EXPECT_TRUE(renumbering.KeepsMeaning(0));
}

}  // namespace
}  // namespace check
