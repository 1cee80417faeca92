#ifndef BW_CHECK_BEFORE_REFUSAL_H
#define BW_CHECK_BEFORE_REFUSAL_H

#include <optional>
#include <string>
#include <vector>

#include "check/report/finding.h"
#include "odbc/connection.h"

namespace check {

/// Why the migrator would end before it empties a table: another kind of server, another schema version. Nothing when
/// it would not. Both sides are connected; reads the schema version as the migrator does.
std::optional<Finding> WhyRunRefused(odbc::DBConnection& source, const odbc::DBConnection& destination);

/// The report on such a run. `tables` are the chosen ones.
Report RefusedReport(const Finding& refusal, const std::vector<std::string>& tables);

}  // namespace check

#endif  // BW_CHECK_BEFORE_REFUSAL_H
