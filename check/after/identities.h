#ifndef BW_CHECK_AFTER_IDENTITIES_H
#define BW_CHECK_AFTER_IDENTITIES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/report/finding.h"
#include "odbc/connection.h"

namespace check {

/// A column of the destination that numbers itself from a sequence.
struct Identity {
  std::string column;
  std::string sequence;  ///< With its schema, quoted.
  std::int64_t start = 1;
  std::int64_t increment = 1;
  std::optional<std::int64_t> next;  ///< The number that it gives next; none when the role may not see it.
};

/// Those of a table.
///
/// \throws std::runtime_error with the diagnostics.
std::vector<Identity> ReadIdentities(const odbc::DBConnection& destination, std::string_view table);

/// What is wrong with them: the next number is one that a row has, or will be one later.
///
/// \throws std::runtime_error with the diagnostics.
std::vector<Finding> CheckIdentities(const odbc::DBConnection& destination, std::string_view table,
                                     const std::vector<Identity>& identities);

}  // namespace check

#endif  // BW_CHECK_AFTER_IDENTITIES_H
