#include "check/after/comparison.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <iterator>
#include <limits>
#include <tuple>
#include <utility>

namespace check {

namespace {

constexpr std::size_t kBuckets = std::size_t{1} << 16U;
constexpr std::uint64_t kRowsBetweenReports = 4096;
constexpr std::chrono::milliseconds kTimeBetweenReports{100};

std::size_t BucketOf(const RowHash& hash) {
  return static_cast<std::size_t>(hash.high >> 48U);
}

/// What is known of a row whose values are gone, or of several equal ones.
struct Record {
  RowHash hash;
  std::uint64_t key = 0;
  std::uint64_t position = 0;  ///< Of the first one.
  std::uint64_t rows = 1;
};

bool ByHash(const Record& one, const Record& other) {
  return std::tie(one.hash, one.position) < std::tie(other.hash, other.position);
}

bool ByKey(const Record& one, const Record& other) {
  return std::tie(one.key, one.position) < std::tie(other.key, other.position);
}

bool ByPosition(const Record& one, const Record& other) {
  return one.position < other.position;
}

/// The rows of one side in a bucket: how many, and their sum.
struct Bucket {
  std::uint64_t rows = 0;
  RowHash sum;

  void Add(const RowHash& hash) {
    ++rows;
    sum.high += hash.high;
    sum.low += hash.low;
  }

  bool operator==(const Bucket&) const = default;
};

using Buckets = std::vector<Bucket>;

/// Records of which equal ones become one when there is no more room.
class RecordSet {
 public:
  explicit RecordSet(std::size_t room) : room_(room) {}

  void Add(const Record& record) {
    if (records_.size() >= room_) {
      Join();
      // Rows that are all different stay; the buckets were chosen so that they are not too many.
      room_ = std::max(room_, 2 * records_.size());
    }
    records_.push_back(record);
  }

  /// Sorted by hash, each hash once.
  const std::vector<Record>& Join() {
    std::sort(records_.begin(), records_.end(), ByHash);
    std::size_t last = 0;
    for (std::size_t i = 1; i < records_.size(); ++i) {
      if (records_[i].hash == records_[last].hash) {
        records_[last].rows += records_[i].rows;
      } else {
        records_[++last] = records_[i];
      }
    }
    records_.resize(records_.empty() ? 0 : last + 1);
    return records_;
  }

 private:
  std::size_t room_;
  std::vector<Record> records_;
};

/// The rows of one side that the other has not. When there are too many, those with the smallest keys are kept, so that
/// both sides keep rows of the same keys; and those that come first.
class Unmatched {
 public:
  explicit Unmatched(const ComparisonLimits& limits) : kept_(limits.pairing), first_(limits.shown) {}

  void Add(const Record& record) {
    rows_ += record.rows;
    AddFirst(record);
    if (record.key > largestKey_) {
      return;
    }
    records_.push_back(record);
    if (records_.size() >= 2 * kept_) {
      const auto end = records_.begin() + static_cast<std::ptrdiff_t>(kept_);
      std::nth_element(records_.begin(), end, records_.end(), ByKey);
      largestKey_ = end->key;
      records_.erase(end, records_.end());
      all_ = false;
    }
  }

  std::uint64_t rows() const noexcept { return rows_; }
  bool all() const noexcept { return all_; }

  /// Sorted by key.
  std::vector<Record> Take() {
    for (const Record& record : firstRecords_) {
      const bool kept = std::any_of(records_.begin(), records_.end(),
                                    [&record](const Record& each) { return each.position == record.position; });
      if (!kept) {
        records_.push_back(record);
      }
    }
    std::sort(records_.begin(), records_.end(), ByKey);
    return std::move(records_);
  }

 private:
  void AddFirst(const Record& record) {
    firstRecords_.insert(std::upper_bound(firstRecords_.begin(), firstRecords_.end(), record, ByPosition), record);
    if (firstRecords_.size() > first_) {
      firstRecords_.pop_back();
    }
  }

  std::size_t kept_;
  std::size_t first_;
  std::uint64_t rows_ = 0;
  std::uint64_t largestKey_ = std::numeric_limits<std::uint64_t>::max();
  bool all_ = true;
  std::vector<Record> records_;
  std::vector<Record> firstRecords_;
};

/// A row whose values are to be shown.
struct Wanted {
  RowHash hash;
  std::optional<Values>* values;
};

/// Takes the values of the wanted rows.
auto TakeValuesOf(std::vector<Wanted>& wanted) {
  return [&wanted](const Values& values, const RowHash& hash, std::uint64_t, const KeyedRows&) {
    const auto found = std::find_if(wanted.begin(), wanted.end(), [&hash](const Wanted& each) {
      return each.hash == hash && !each.values->has_value();
    });
    if (found != wanted.end()) {
      *found->values = values;
      wanted.erase(found);
    }
  };
}

/// Which rows a pass looks at.
enum class Look : std::uint8_t { No, Match, Alone };

class Comparer {
 public:
  Comparer(const OpenRows& expected, const OpenRows& found, const RowsRead& rowsRead, const ComparisonLimits& limits)
      : expected_(expected),
        found_(found),
        rowsRead_(rowsRead),
        limits_(limits),
        missing_(limits),
        unexpected_(limits) {}

  Comparison Run() {
    Buckets expected(kBuckets);
    Buckets found(kBuckets);
    ReadBoth([&expected](const Values&, const RowHash& hash, std::uint64_t,
                         const KeyedRows&) { expected[BucketOf(hash)].Add(hash); },
             [&found](const Values&, const RowHash& hash, std::uint64_t, const KeyedRows&) {
               found[BucketOf(hash)].Add(hash);
             });
    for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
      comparison_.expectedRows += expected[bucket].rows;
      comparison_.foundRows += found[bucket].rows;
    }
    if (expected != found) {
      Match(expected, found);
      Pair();
      FetchExamples();
    }
    return std::move(comparison_);
  }

 private:
  /// Reads one side; `take` gets values, hash, position and stream of each row. Always to the end: reading a table may
  /// leave behind what later tables need.
  template <class Take>
  static void Read(const OpenRows& open, std::atomic<bool>& stop, std::atomic<std::uint64_t>& count, Take take,
                   const std::function<void()>& report) {
    const std::unique_ptr<KeyedRows> rows = open();
    Values values;
    std::uint64_t position = 0;
    while (!stop.load(std::memory_order_relaxed) && rows->Next(values)) {
      ++position;
      take(values, HashOf(values), position, *rows);
      if (position % kRowsBetweenReports == 0) {
        count += kRowsBetweenReports;
        report();
      }
    }
    count += position % kRowsBetweenReports;
  }

  template <class TakeExpected, class TakeFound>
  void ReadBoth(TakeExpected takeExpected, TakeFound takeFound) {
    std::atomic<bool> stop = false;
    std::future<void> other = std::async(std::launch::async, [this, &stop, takeExpected] {
      try {
        Read(expected_, stop, rows_, takeExpected, [] {});
      } catch (...) {
        stop = true;
        throw;
      }
    });
    try {
      Read(found_, stop, rows_, takeFound, [this] { rowsRead_(rows_); });
      while (other.wait_for(kTimeBetweenReports) != std::future_status::ready) {
        rowsRead_(rows_);
      }
    } catch (...) {
      // The future waits for its thread when it is destroyed.
      stop = true;
      throw;
    }
    other.get();
    rowsRead_(rows_);
  }

  /// Finds the rows that one side has and the other has not, in as many passes as the memory asks for.
  void Match(const Buckets& expected, const Buckets& found) {
    std::size_t next = 0;
    while (next < kBuckets) {
      std::vector<Look> looks(kBuckets, Look::No);
      std::uint64_t records = 0;
      bool any = false;
      for (; next < kBuckets; ++next) {
        if (expected[next] == found[next]) {
          continue;
        }
        const bool alone = expected[next].rows == 0 || found[next].rows == 0;
        const std::uint64_t more = alone ? 0 : expected[next].rows + found[next].rows;
        if (records > 0 && records + more > limits_.records) {
          break;
        }
        records += more;
        looks[next] = alone ? Look::Alone : Look::Match;
        any = true;
      }
      if (any) {
        MatchIn(looks);
      }
    }
  }

  void MatchIn(const std::vector<Look>& looks) {
    RecordSet expected(limits_.records / 2);
    RecordSet found(limits_.records / 2);
    const auto collect = [&looks](RecordSet& records, Unmatched& unmatched) {
      return [&looks, &records, &unmatched](const Values& values, const RowHash& hash, std::uint64_t position,
                                            const KeyedRows& rows) {
        const Look look = looks[BucketOf(hash)];
        if (look != Look::No) {
          const Record record{.hash = hash, .key = rows.Key(values), .position = position, .rows = 1};
          look == Look::Alone ? unmatched.Add(record) : records.Add(record);
        }
      };
    };
    ReadBoth(collect(expected, missing_), collect(found, unexpected_));
    MergeMatching(expected.Join(), found.Join());
  }

  void MergeMatching(const std::vector<Record>& expected, const std::vector<Record>& found) {
    auto left = expected.begin();
    auto right = found.begin();
    while (left != expected.end() || right != found.end()) {
      if (right == found.end() || (left != expected.end() && left->hash < right->hash)) {
        missing_.Add(*left++);
      } else if (left == expected.end() || right->hash < left->hash) {
        unexpected_.Add(*right++);
      } else {
        AddRest(missing_, *left, left->rows, right->rows);
        AddRest(unexpected_, *right, right->rows, left->rows);
        ++left;
        ++right;
      }
    }
  }

  static void AddRest(Unmatched& unmatched, Record record, std::uint64_t rows, std::uint64_t matched) {
    if (rows > matched) {
      record.rows = rows - matched;
      unmatched.Add(record);
    }
  }

  /// Makes pairs of rows that have the same key.
  void Pair() {
    comparison_.missing = missing_.rows();
    comparison_.unexpected = unexpected_.rows();
    comparison_.allPaired = (missing_.all() && unexpected_.all()) || missing_.rows() == 0 || unexpected_.rows() == 0;
    std::vector<Record> expected = missing_.Take();
    std::vector<Record> found = unexpected_.Take();
    auto left = expected.begin();
    auto right = found.begin();
    while (left != expected.end() && right != found.end()) {
      if (left->key != right->key) {
        ++(left->key < right->key ? left : right);
        continue;
      }
      const std::uint64_t rows = std::min(left->rows, right->rows);
      comparison_.changedRows.push_back({.key = left->key,
                                         .expected = left->hash,
                                         .found = right->hash,
                                         .expectedPosition = left->position,
                                         .foundPosition = right->position});
      comparison_.changed += rows;
      left->rows -= rows;
      right->rows -= rows;
      const bool leftDone = left->rows == 0;
      const bool rightDone = right->rows == 0;
      left += leftDone ? 1 : 0;
      right += rightDone ? 1 : 0;
    }
    comparison_.missing -= comparison_.changed;
    comparison_.unexpected -= comparison_.changed;
    firstMissing_ = FirstLeft(expected);
    firstUnexpected_ = FirstLeft(found);
    std::sort(comparison_.changedRows.begin(), comparison_.changedRows.end(),
              [](const ChangedRow& one, const ChangedRow& other) {
                return std::tie(one.expectedPosition, one.foundPosition) <
                       std::tie(other.expectedPosition, other.foundPosition);
              });
  }

  /// The first of the records that were not paired.
  std::vector<Record> FirstLeft(std::vector<Record>& records) const {
    records.erase(std::remove_if(records.begin(), records.end(), [](const Record& record) { return record.rows == 0; }),
                  records.end());
    std::sort(records.begin(), records.end(), ByPosition);
    records.resize(std::min(records.size(), limits_.shown));
    return std::move(records);
  }

  /// Reads the values of the rows that are shown. They are found by what they hold: a server may give its rows in
  /// another order the next time.
  void FetchExamples() {
    for (const Record& record : firstMissing_) {
      Example& example = comparison_.firstMissing.emplace_back();
      example.key = record.key;
      example.expectedPosition = record.position;
    }
    for (const Record& record : firstUnexpected_) {
      Example& example = comparison_.firstUnexpected.emplace_back();
      example.key = record.key;
      example.foundPosition = record.position;
    }
    std::vector<Wanted> expected;
    std::vector<Wanted> found;
    for (std::size_t i = 0; i < firstMissing_.size(); ++i) {
      expected.push_back({firstMissing_[i].hash, &comparison_.firstMissing[i].expected});
    }
    for (std::size_t i = 0; i < firstUnexpected_.size(); ++i) {
      found.push_back({firstUnexpected_[i].hash, &comparison_.firstUnexpected[i].found});
    }
    const std::size_t changed = std::min(comparison_.changedRows.size(), limits_.shown);
    comparison_.firstChanged.resize(changed);
    for (std::size_t i = 0; i < changed; ++i) {
      const ChangedRow& row = comparison_.changedRows[i];
      Example& example = comparison_.firstChanged[i];
      example.key = row.key;
      example.expectedPosition = row.expectedPosition;
      example.foundPosition = row.foundPosition;
      expected.push_back({row.expected, &example.expected});
      found.push_back({row.found, &example.found});
    }
    ReadBoth(TakeValuesOf(expected), TakeValuesOf(found));
  }

  const OpenRows& expected_;
  const OpenRows& found_;
  const RowsRead& rowsRead_;
  const ComparisonLimits& limits_;
  std::atomic<std::uint64_t> rows_ = 0;
  Comparison comparison_;
  Unmatched missing_;
  Unmatched unexpected_;
  std::vector<Record> firstMissing_;
  std::vector<Record> firstUnexpected_;
};

}  // namespace

Comparison Compare(const OpenRows& expected, const OpenRows& found, const RowsRead& rowsRead,
                   const ComparisonLimits& limits) {
  return Comparer(expected, found, rowsRead, limits).Run();
}

}  // namespace check
