#ifndef BW_CHECK_AFTER_AFTER_H
#define BW_CHECK_AFTER_AFTER_H

#include <filesystem>
#include <string>
#include <vector>

#include "check/cli/progress.h"
#include "check/report/finding.h"
#include "odbc/connection.h"

namespace check {

/// Proves what a run of the migrator did: every table's rows against the source's as the migrator's rules let them
/// through, and the log against both. `tables` limits the report to these tables; none means all.
///
/// \throws std::runtime_error when one of the sides cannot be asked.
Report CheckAfter(odbc::DBConnection& source, const odbc::DBConnection& trial, odbc::DBConnection& destination,
                  const std::filesystem::path& log, const std::vector<std::string>& tables, Progress& progress);

}  // namespace check

#endif  // BW_CHECK_AFTER_AFTER_H
