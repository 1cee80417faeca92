#ifndef BW_DB_TABLES_NULL_VALUES_H
#define BW_DB_TABLES_NULL_VALUES_H

#include <cstdint>
#include <limits>

namespace db {

/// What the destination's negotiated orders hold in place of NULL.
inline constexpr double kNullDouble = 1e50;
inline constexpr std::int32_t kNullInt32 = std::numeric_limits<std::int32_t>::min();

}  // namespace db

#endif  // BW_DB_TABLES_NULL_VALUES_H
