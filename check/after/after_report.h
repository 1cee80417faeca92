#ifndef BW_CHECK_AFTER_AFTER_REPORT_H
#define BW_CHECK_AFTER_AFTER_REPORT_H

#include <optional>
#include <string>
#include <vector>

#include "check/after/database_comparison.h"
#include "check/after/log_reader.h"
#include "check/after/run_end.h"
#include "check/report/finding.h"
#include "odbc/connection.h"

namespace check {

/// How the run ended, and what says so.
struct Decision {
  AllFigures figures;
  LogJudgement judgement;
  std::optional<MigrationLog> log;  ///< Where it can be relied on.
  RunEnd end;
};

/// Adds the tables, the findings and the verdict to the report. `log` is the one that was found, whatever it is worth.
///
/// \throws odbc::Error when the destination cannot be asked.
void ReportAfter(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                 const DatabaseComparison& compared, const std::vector<std::string>& chosen, const Decision& decision,
                 const std::optional<MigrationLog>& log, Report& report);

}  // namespace check

#endif  // BW_CHECK_AFTER_AFTER_REPORT_H
