#ifndef BW_BENCH_TYPICAL_VALUES_H
#define BW_BENCH_TYPICAL_VALUES_H

#include <cstdint>
#include <string_view>

namespace bench {

/// What every field of a row holds, by its type. The integer is an identifier, too, wherever one is looked up.
inline constexpr std::int32_t kTypicalInteger = 20231222;
inline constexpr double kTypicalDouble = 1234.56;
/// Cut to what fits into the field.
inline constexpr std::string_view kTypicalText = "SECURITY";

}  // namespace bench

#endif  // BW_BENCH_TYPICAL_VALUES_H
