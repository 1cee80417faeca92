#ifndef BW_CHECK_STAGING_ROW_FINDINGS_H
#define BW_CHECK_STAGING_ROW_FINDINGS_H

#include <string>
#include <string_view>

#include "check/report/finding.h"
#include "check/staging/staging.h"

namespace check::staging {

/// After the text of a finding whose query cannot name all of its rows.
inline const std::string kOnlyFirstRows = " The query shows the first five rows only.";

/// The findings about a table's rows, in words: the same before and after a run. `sourceSchema` is the source's schema
/// prefix; it goes into the queries.
void AddRowFindings(const StagedTable& table, const std::string& sourceSchema, TableReport& report);

/// The finding that the truncate of a later table empties a table again. `path` is the table as SQL writes it.
Finding EmptiedAgainFinding(const std::string& path, std::string_view by);

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_ROW_FINDINGS_H
