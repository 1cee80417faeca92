#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <type_traits>

#include "bench/allocation_count.h"
#include "bench/row_steps.h"
#include "db/tables/table_list.h"

namespace {

constexpr std::size_t kRows = 1000;

template <class List>
struct AsTestTypes;

template <class... Pairs>
struct AsTestTypes<db::TableList<Pairs...>> {
  using Type = testing::Types<Pairs...>;
};

/// The allocations of a step in all rows behind the first one.
template <class Pair>
std::size_t AllocationsAfterTheFirstRow(bench::Step step) {
  bench::ResetIdentifiers();
  bench::RowSteps<Pair> steps;
  steps.Do(step);
  const std::size_t before = bench::AllocationCount();
  for (std::size_t row = 1; row < kRows; ++row) {
    steps.Do(step);
  }
  return bench::AllocationCount() - before;
}

TEST(AllocationCount, CountsEveryAllocation) {
  const std::size_t before = bench::AllocationCount();
  // Called by name: the compiler may leave out a pair of expressions.
  ::operator delete(::operator new(1));
  ::operator delete[](::operator new[](1));
  EXPECT_EQ(bench::AllocationCount() - before, 2U);
}

template <class Pair>
class Allocations : public testing::Test {};

TYPED_TEST_SUITE(Allocations, AsTestTypes<db::Tables>::Type);

TYPED_TEST(Allocations, FetchTakesNoneButThePlaceOfAPoolInItsMap) {
  constexpr bool recordsEachRow = std::is_same_v<typename TypeParam::RowType, db::DBRowPoolOrders>;
  EXPECT_EQ(AllocationsAfterTheFirstRow<TypeParam>(bench::Step::Fetch), recordsEachRow ? kRows - 1 : 0);
}

TYPED_TEST(Allocations, RowTextTakesNoneAfterTheFirstRow) {
  EXPECT_EQ(AllocationsAfterTheFirstRow<TypeParam>(bench::Step::Text), 0U);
}

TYPED_TEST(Allocations, LogTakesNone) {
  EXPECT_EQ(AllocationsAfterTheFirstRow<TypeParam>(bench::Step::Log), 0U);
}

// Identifiers that a procedure assigns take a place in a map, but the typical one has its place already.
TYPED_TEST(Allocations, WriteTakesNone) {
  EXPECT_EQ(AllocationsAfterTheFirstRow<TypeParam>(bench::Step::Write), 0U);
}

}  // namespace
