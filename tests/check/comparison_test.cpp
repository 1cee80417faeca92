#include "check/after/comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using check::Compare;
using check::Comparison;
using check::ComparisonLimits;
using check::Example;
using check::Value;
using check::Values;
using testing::ElementsAre;
using testing::IsEmpty;

/// A row of the tests: its key and a text.
using Row = std::pair<std::int32_t, std::string>;
using Table = std::vector<Row>;

Values ValuesOf(const Row& row) {
  Value key;
  key.kind = Value::Kind::Int32;
  key.number = row.first;
  Value text;
  text.kind = Value::Kind::Text;
  text.text = row.second;
  return {key, text};
}

class TableRows : public check::KeyedRows {
 public:
  explicit TableRows(const Table& table) : table_(table) {}

  bool Next(Values& values) override {
    if (next_ == table_.size()) {
      return false;
    }
    values = ValuesOf(table_[next_++]);
    return true;
  }

  std::uint64_t Key(const Values& values) const override { return static_cast<std::uint64_t>(values[0].number); }

 private:
  const Table& table_;
  std::size_t next_ = 0;
};

Comparison CompareTables(const Table& expected, const Table& found, const ComparisonLimits& limits = {}) {
  return Compare([&expected] { return std::make_unique<TableRows>(expected); },
                 [&found] { return std::make_unique<TableRows>(found); }, [](std::uint64_t) {}, limits);
}

std::string Shown(const std::optional<Values>& values) {
  return values ? (*values)[0].Shown() + " " + (*values)[1].text : "-";
}

/// The examples as "position: values -> position: values".
std::vector<std::string> Shown(const std::vector<Example>& examples) {
  std::vector<std::string> texts;
  std::transform(examples.begin(), examples.end(), std::back_inserter(texts), [](const Example& example) {
    return std::to_string(example.expectedPosition) + ": " + Shown(example.expected) + " -> " +
           std::to_string(example.foundPosition) + ": " + Shown(example.found);
  });
  return texts;
}

TEST(Comparison, FindsNothingInEmptyTables) {
  const Comparison comparison = CompareTables({}, {});

  EXPECT_TRUE(comparison.Same());
  EXPECT_EQ(comparison.expectedRows, 0U);
  EXPECT_EQ(comparison.foundRows, 0U);
}

TEST(Comparison, DoesNotDependOnTheOrder) {
  const Comparison comparison =
      CompareTables({{1, "a"}, {2, "b"}, {3, "c"}, {2, "b"}}, {{2, "b"}, {3, "c"}, {2, "b"}, {1, "a"}});

  EXPECT_TRUE(comparison.Same());
  EXPECT_EQ(comparison.expectedRows, 4U);
  EXPECT_EQ(comparison.foundRows, 4U);
}

TEST(Comparison, FindsMissingRows) {
  const Comparison comparison = CompareTables({{1, "a"}, {2, "b"}, {3, "c"}}, {{2, "b"}});

  EXPECT_FALSE(comparison.Same());
  EXPECT_EQ(comparison.missing, 2U);
  EXPECT_EQ(comparison.unexpected, 0U);
  EXPECT_EQ(comparison.changed, 0U);
  EXPECT_THAT(Shown(comparison.firstMissing), ElementsAre("1: 1 a -> 0: -", "3: 3 c -> 0: -"));
  EXPECT_THAT(comparison.firstUnexpected, IsEmpty());
  EXPECT_THAT(comparison.firstChanged, IsEmpty());
}

TEST(Comparison, FindsUnexpectedRows) {
  const Comparison comparison = CompareTables({{2, "b"}}, {{9, "z"}, {2, "b"}});

  EXPECT_EQ(comparison.missing, 0U);
  EXPECT_EQ(comparison.unexpected, 1U);
  EXPECT_EQ(comparison.changed, 0U);
  EXPECT_THAT(Shown(comparison.firstUnexpected), ElementsAre("0: - -> 1: 9 z"));
}

TEST(Comparison, FindsEveryRowMissingFromAnEmptyTable) {
  const Comparison comparison = CompareTables({{1, "a"}, {2, "b"}}, {});

  EXPECT_EQ(comparison.missing, 2U);
  EXPECT_EQ(comparison.foundRows, 0U);
  EXPECT_TRUE(comparison.allPaired);
}

TEST(Comparison, PairsRowsOfTheSameKey) {
  const Comparison comparison =
      CompareTables({{1, "a"}, {2, "b"}, {3, "c"}, {4, "d"}}, {{5, "e"}, {3, "X"}, {2, "b"}, {1, "Y"}});

  EXPECT_EQ(comparison.missing, 1U);
  EXPECT_EQ(comparison.unexpected, 1U);
  EXPECT_EQ(comparison.changed, 2U);
  EXPECT_THAT(Shown(comparison.firstMissing), ElementsAre("4: 4 d -> 0: -"));
  EXPECT_THAT(Shown(comparison.firstUnexpected), ElementsAre("0: - -> 1: 5 e"));
  EXPECT_THAT(Shown(comparison.firstChanged), ElementsAre("1: 1 a -> 4: 1 Y", "3: 3 c -> 2: 3 X"));
}

TEST(Comparison, TellsTheHashesAndTheKeyOfAllChangedRows) {
  const Comparison comparison = CompareTables({{1, "a"}}, {{1, "b"}});

  ASSERT_EQ(comparison.changedRows.size(), 1U);
  EXPECT_EQ(comparison.changedRows[0].key, 1U);
  EXPECT_EQ(comparison.changedRows[0].expected, check::HashOf(ValuesOf({1, "a"})));
  EXPECT_EQ(comparison.changedRows[0].found, check::HashOf(ValuesOf({1, "b"})));
}

TEST(Comparison, CountsEqualRowsByTheirNumber) {
  const Comparison comparison = CompareTables({{1, "a"}, {1, "a"}, {1, "a"}}, {{1, "a"}});

  EXPECT_EQ(comparison.missing, 2U);
  EXPECT_EQ(comparison.unexpected, 0U);
  EXPECT_THAT(Shown(comparison.firstMissing), ElementsAre("1: 1 a -> 0: -"));
}

TEST(Comparison, PairsAsManyEqualRowsAsThereAre) {
  const Comparison comparison = CompareTables({{1, "a"}, {1, "a"}, {1, "a"}}, {{1, "b"}, {1, "b"}, {1, "c"}, {1, "d"}});

  EXPECT_EQ(comparison.missing, 0U);
  EXPECT_EQ(comparison.unexpected, 1U);
  EXPECT_EQ(comparison.changed, 3U);
}

TEST(Comparison, ShowsTheFirstFive) {
  Table expected;
  for (std::int32_t n = 1; n <= 100; ++n) {
    expected.emplace_back(n, "row");
  }
  const Table found(expected.begin() + 50, expected.end());

  const Comparison comparison = CompareTables(expected, found);

  EXPECT_EQ(comparison.missing, 50U);
  EXPECT_THAT(Shown(comparison.firstMissing), ElementsAre("1: 1 row -> 0: -", "2: 2 row -> 0: -", "3: 3 row -> 0: -",
                                                          "4: 4 row -> 0: -", "5: 5 row -> 0: -"));
}

TEST(Comparison, HearsOfAllRowsThatAreRead) {
  const Table table(10'000, {1, "a"});
  std::vector<std::uint64_t> heard;

  const Comparison comparison = Compare([&table] { return std::make_unique<TableRows>(table); },
                                        [&table] { return std::make_unique<TableRows>(table); },
                                        [&heard](std::uint64_t rows) { heard.push_back(rows); });

  EXPECT_TRUE(comparison.Same());
  EXPECT_GT(heard.size(), 1U);
  EXPECT_TRUE(std::is_sorted(heard.begin(), heard.end()));
  EXPECT_EQ(heard.back(), 20'000U);
}

class FailingRows : public check::KeyedRows {
 public:
  explicit FailingRows(int rows) : rows_(rows) {}
  bool Next(Values& values) override {
    values.clear();
    return rows_-- > 0 ? true : throw std::runtime_error("it broke");
  }
  std::uint64_t Key(const Values& /*values*/) const override { return 0; }

 private:
  int rows_;
};

/// Never ends by itself.
class EndlessRows : public check::KeyedRows {
 public:
  bool Next(Values& values) override {
    values.clear();
    return true;
  }
  std::uint64_t Key(const Values& /*values*/) const override { return 0; }
};

TEST(Comparison, ThrowsWhatASideThrowsAndEndsTheOther) {
  const check::OpenRows failing = [] { return std::make_unique<FailingRows>(3); };
  const check::OpenRows endless = [] { return std::make_unique<EndlessRows>(); };
  const check::RowsRead ignore = [](std::uint64_t) {};

  EXPECT_THROW(Compare(failing, endless, ignore), std::runtime_error);
  EXPECT_THROW(Compare(endless, failing, ignore), std::runtime_error);
}

TEST(Comparison, ThrowsWhenASideCannotBeOpened) {
  const check::OpenRows none = []() -> std::unique_ptr<check::KeyedRows> { throw std::runtime_error("no table"); };
  const check::OpenRows endless = [] { return std::make_unique<EndlessRows>(); };

  EXPECT_THROW(Compare(none, endless, [](std::uint64_t) {}), std::runtime_error);
  EXPECT_THROW(Compare(endless, none, [](std::uint64_t) {}), std::runtime_error);
}

/// What the comparison has to say, found in the plainest way.
struct Plain {
  std::uint64_t missing = 0;
  std::uint64_t unexpected = 0;
  std::uint64_t changed = 0;
};

Plain ComparePlainly(const Table& expected, const Table& found) {
  std::map<Row, std::int64_t> more;
  for (const Row& row : expected) {
    ++more[row];
  }
  for (const Row& row : found) {
    --more[row];
  }
  std::map<std::int32_t, std::pair<std::uint64_t, std::uint64_t>> byKey;
  for (const auto& [row, count] : more) {
    (count > 0 ? byKey[row.first].first : byKey[row.first].second) += static_cast<std::uint64_t>(std::abs(count));
  }
  Plain plain;
  for (const auto& [key, counts] : byKey) {
    const std::uint64_t pairs = std::min(counts.first, counts.second);
    plain.changed += pairs;
    plain.missing += counts.first - pairs;
    plain.unexpected += counts.second - pairs;
  }
  return plain;
}

/// Tables of a few hundred rows, many of them equal, and the same with some rows left out, added and changed.
std::pair<Table, Table> RandomTables(std::mt19937& random) {
  const auto pick = [&random](std::uint32_t count) { return static_cast<std::int32_t>(random() % count); };
  Table expected;
  const std::int32_t keys = 1 + pick(300);
  for (std::int32_t n = pick(400); n > 0; --n) {
    expected.emplace_back(pick(static_cast<std::uint32_t>(keys)), std::string(1, static_cast<char>('a' + pick(3))));
  }
  Table found = expected;
  for (std::int32_t n = pick(30); n > 0 && !found.empty(); --n) {
    const auto at = found.begin() + pick(static_cast<std::uint32_t>(found.size()));
    const std::int32_t what = pick(3);
    if (what == 0) {
      found.erase(at);
    } else if (what == 1) {
      at->second += "x";
    } else {
      found.emplace_back(pick(400), "new");
    }
  }
  std::shuffle(found.begin(), found.end(), random);
  return {expected, found};
}

TEST(Comparison, AgreesWithAPlainOne) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    const auto [expected, found] = RandomTables(random);
    const Plain plain = ComparePlainly(expected, found);

    const Comparison comparison = CompareTables(expected, found);

    ASSERT_EQ(comparison.missing, plain.missing) << round;
    ASSERT_EQ(comparison.unexpected, plain.unexpected) << round;
    ASSERT_EQ(comparison.changed, plain.changed) << round;
    ASSERT_EQ(comparison.expectedRows, expected.size()) << round;
    ASSERT_EQ(comparison.foundRows, found.size()) << round;
    ASSERT_TRUE(comparison.allPaired);
  }
}

TEST(Comparison, FindsTheSameInManyPasses) {
  std::mt19937 random(2);
  for (int round = 0; round < 100; ++round) {
    const auto [expected, found] = RandomTables(random);
    const Plain plain = ComparePlainly(expected, found);

    const Comparison comparison = CompareTables(expected, found, {.records = 2, .pairing = 1000, .shown = 5});

    ASSERT_EQ(comparison.missing, plain.missing) << round;
    ASSERT_EQ(comparison.unexpected, plain.unexpected) << round;
    ASSERT_EQ(comparison.changed, plain.changed) << round;
  }
}

TEST(Comparison, LooksAtFewRowsInOnePass) {
  Table expected;
  Table found;
  for (std::int32_t n = 0; n < 100; ++n) {
    expected.emplace_back(n, "a");
    found.emplace_back(n, "a");
    // One row too many in the bucket of each.
    found.emplace_back(n, "a");
  }
  const auto passes = [&expected, &found](std::size_t records) {
    int opened = 0;
    const Comparison comparison = Compare([&] { return ++opened, std::make_unique<TableRows>(expected); },
                                          [&found] { return std::make_unique<TableRows>(found); }, [](std::uint64_t) {},
                                          {.records = records, .pairing = 1000, .shown = 5});
    EXPECT_EQ(comparison.unexpected, 100U);
    return opened;
  };

  // The first look, the closer ones, and the one for the examples.
  EXPECT_EQ(passes(1000), 1 + 1 + 1);
  EXPECT_EQ(passes(150), 1 + 2 + 1);
  EXPECT_EQ(passes(30), 1 + 10 + 1);
}

TEST(Comparison, HoldsEqualRowsOnlyOnce) {
  Table expected(5000, {1, "a"});
  Table found(4000, {1, "a"});
  found.insert(found.end(), 500, {1, "b"});

  const Comparison comparison = CompareTables(expected, found, {.records = 4, .pairing = 1000, .shown = 5});

  EXPECT_EQ(comparison.missing, 500U);
  EXPECT_EQ(comparison.unexpected, 0U);
  EXPECT_EQ(comparison.changed, 500U);
}

// With more differing rows than may be paired, both sides keep the rows of the same keys.
TEST(Comparison, PairsPartOfTooManyRows) {
  Table expected;
  Table found;
  for (std::int32_t n = 0; n < 1000; ++n) {
    expected.emplace_back(n * 7919 % 1000, "a");
    found.emplace_back(999 - n, "b");
  }

  const Comparison comparison = CompareTables(expected, found, {.records = 1000, .pairing = 50, .shown = 5});

  EXPECT_FALSE(comparison.allPaired);
  EXPECT_GE(comparison.changed, 50U);
  EXPECT_LE(comparison.changed, 120U);
  EXPECT_EQ(comparison.missing + comparison.changed, 1000U);
  EXPECT_EQ(comparison.unexpected + comparison.changed, 1000U);
  EXPECT_EQ(comparison.firstChanged.size(), 5U);
}

TEST(Comparison, ShowsTheFirstOfTooManyMissingRows) {
  Table expected;
  for (std::int32_t n = 1000; n > 0; --n) {
    expected.emplace_back(n, "a");
  }

  const Comparison comparison = CompareTables(expected, {}, {.records = 1000, .pairing = 50, .shown = 2});

  EXPECT_EQ(comparison.missing, 1000U);
  EXPECT_TRUE(comparison.allPaired);
  EXPECT_THAT(Shown(comparison.firstMissing), ElementsAre("1: 1000 a -> 0: -", "2: 999 a -> 0: -"));
}

/// Another order each time that it is opened.
TEST(Comparison, FindsItsExamplesInAnyOrder) {
  Table expected;
  for (std::int32_t n = 0; n < 500; ++n) {
    expected.emplace_back(n, "a");
  }
  Table found = expected;
  found[17].second = "changed";
  found.erase(found.begin() + 400);
  std::mt19937 random(3);

  const Comparison comparison = Compare([&expected] { return std::make_unique<TableRows>(expected); },
                                        [&]() -> std::unique_ptr<check::KeyedRows> {
                                          std::shuffle(found.begin(), found.end(), random);
                                          return std::make_unique<TableRows>(found);
                                        },
                                        [](std::uint64_t) {});

  ASSERT_EQ(comparison.firstChanged.size(), 1U);
  EXPECT_EQ(Shown(comparison.firstChanged[0].expected), "17 a");
  EXPECT_EQ(Shown(comparison.firstChanged[0].found), "17 changed");
  EXPECT_THAT(Shown(comparison.firstMissing), ElementsAre("401: 400 a -> 0: -"));
}

}  // namespace
