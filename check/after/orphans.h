#ifndef BW_CHECK_AFTER_ORPHANS_H
#define BW_CHECK_AFTER_ORPHANS_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "check/report/finding.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check {

/// A column that refers to a row of another table.
struct Reference {
  std::string_view column;
  std::string_view table;        ///< The one that it refers to.
  std::string_view tableColumn;  ///< The number there.
  enum class Kind : std::uint8_t {
    Translated,  ///< Holds the row's new number.
    ByPosition,  ///< Holds the old number of the pool at that position.
    Kept,        ///< Holds the same number as in the source.
  } kind;
  std::optional<std::int32_t> ofNull{};  ///< What stands in place of NULL: refers to nothing.
};

/// Those of a table.
std::vector<Reference> ReferencesOf(const db::TableDescription& table);

/// The rows of a destination table that refer to a row that is not there, as far as the source had it: one finding, or
/// none.
///
/// \throws std::runtime_error with the diagnostics.
std::vector<Finding> CheckOrphans(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                                  const db::TableDescription& table, const Reference& reference);

}  // namespace check

#endif  // BW_CHECK_AFTER_ORPHANS_H
