#ifndef BW_CHECK_AFTER_IDENTITIES_H
#define BW_CHECK_AFTER_IDENTITIES_H

#include <string>
#include <vector>

#include "check/report/finding.h"
#include "odbc/connection.h"

namespace check {

/// What is wrong with the sequences of a table's columns: one has given its last number, or gives next a number that a
/// row has, or will come to one. `table` is written as in SQL.
///
/// \throws odbc::Error when the destination cannot be asked.
std::vector<Finding> CheckIdentities(const odbc::DBConnection& destination, const std::string& table);

}  // namespace check

#endif  // BW_CHECK_AFTER_IDENTITIES_H
