#ifndef BW_CHECK_AFTER_COMPARISON_H
#define BW_CHECK_AFTER_COMPARISON_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "check/rules/row_stream.h"

/// Compares the rows of two sides as multisets, in constant memory and whatever their order.
namespace check {

/// A row stream whose rows have a key, by which a row that is missing on one side is paired with one on the other that
/// took its place.
class KeyedRows : public RowStream {
 public:
  /// The key of the row read last, which is in `values`.
  virtual std::uint64_t Key(const Values& values) const = 0;
};

/// Opens one side's rows anew for each pass.
using OpenRows = std::function<std::unique_ptr<KeyedRows>()>;

/// An expected row and the one that is there in its place.
struct ChangedRow {
  std::uint64_t key = 0;
  RowHash expected;
  RowHash found;
  std::uint64_t expectedPosition = 0;  ///< From 1, in reading order.
  std::uint64_t foundPosition = 0;     ///< The same on the other side.
};

/// A differing row with its values. Where a side changes meanwhile, values may be missing.
struct Example {
  std::uint64_t key = 0;
  std::uint64_t expectedPosition = 0;  ///< 0 when nothing is expected.
  std::uint64_t foundPosition = 0;     ///< 0 when nothing is there.
  std::optional<Values> expected;
  std::optional<Values> found;
};

struct Comparison {
  std::uint64_t expectedRows = 0;
  std::uint64_t foundRows = 0;
  std::uint64_t missing = 0;     ///< Expected, and neither there nor replaced by another row of the same key.
  std::uint64_t unexpected = 0;  ///< There, neither expected nor in the place of an expected one.
  std::uint64_t changed = 0;     ///< Expected, and there with other values.

  /// Whether all differing rows were looked at for pairs. Where there are too many, those with the smallest keys are:
  /// `changed` is then the least that it can be, `missing` and `unexpected` the most.
  bool allPaired = true;

  std::vector<ChangedRow> changedRows;

  /// The first few of each kind by their position.
  std::vector<Example> firstMissing;
  std::vector<Example> firstUnexpected;
  std::vector<Example> firstChanged;

  bool Same() const noexcept { return missing + unexpected + changed == 0; }
};

/// How much a comparison may hold in memory.
struct ComparisonLimits {
  std::size_t records = 1'000'000;  ///< Rows that are looked at more closely in one pass, 40 bytes each.
  std::size_t pairing = 200'000;    ///< Differing rows of each side that are paired, up to twice 40 bytes each.
  std::size_t shown = 5;            ///< Examples of each kind.
};

/// Hears of the rows that were read, of both sides together and of all passes.
using RowsRead = std::function<void(std::uint64_t rows)>;

/// Reads both sides at the same time, each in a thread of its own, and so does whatever `expected` and `found` do;
/// `rowsRead` is called by the caller's thread only.
///
/// \throws what the streams throw.
Comparison Compare(const OpenRows& expected, const OpenRows& found, const RowsRead& rowsRead,
                   const ComparisonLimits& limits = {});

}  // namespace check

#endif  // BW_CHECK_AFTER_COMPARISON_H
