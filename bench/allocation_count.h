#ifndef BW_BENCH_ALLOCATION_COUNT_H
#define BW_BENCH_ALLOCATION_COUNT_H

#include <cstddef>

namespace bench {

/// How often this program has called operator new so far. Linking this replaces operator new for the whole program; not
/// for programs with threads.
std::size_t AllocationCount() noexcept;

}  // namespace bench

#endif  // BW_BENCH_ALLOCATION_COUNT_H
