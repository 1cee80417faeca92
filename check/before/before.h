#ifndef BW_CHECK_BEFORE_BEFORE_H
#define BW_CHECK_BEFORE_BEFORE_H

#include <string>
#include <vector>

#include "check/cli/progress.h"
#include "check/report/finding.h"
#include "odbc/connection.h"

namespace check {

/// Predicts what a run of the migrator will do. `tables` limits the report to these tables; none means all. What a
/// table needs of earlier ones is read all the same.
///
/// `trial` is a second connection to the source, see characters::Characters.
///
/// \throws std::runtime_error when one of the sides cannot be asked.
Report CheckBefore(odbc::DBConnection& source, const odbc::DBConnection& trial, odbc::DBConnection& destination,
                   const std::vector<std::string>& tables, Progress& progress);

}  // namespace check

#endif  // BW_CHECK_BEFORE_BEFORE_H
