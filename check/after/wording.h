#ifndef BW_CHECK_AFTER_WORDING_H
#define BW_CHECK_AFTER_WORDING_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/after/log_reader.h"
#include "check/after/reference_comparison.h"
#include "check/after/row_comparison.h"
#include "check/after/run_end.h"
#include "check/connections/migrator_sessions.h"
#include "check/report/finding.h"
#include "check/rules/rules.h"

/// The sentences of the report after a run.
namespace check {

/// What the log is, for a person.
std::string LogFact(const MigrationLog& log);

/// What is wrong with the log, if anything is.
std::optional<Finding> LogFinding(const LogJudgement& judgement, const std::optional<MigrationLog>& log);

/// What works on the destination or at the log, if anything does.
std::optional<Finding> AtWorkFinding(const std::vector<MigratorSession>& sessions, bool logGrows);

/// Why the run ended, to follow "because". `refusal` is why the destination refuses a row of the table, if it does.
std::string EndReason(const RunEnd& end, const std::optional<MigrationLog>& log, const std::string& refusal);

/// The differences of one table, each with a query. `source` is the source's table as it is written in SQL, `logged`
/// what the log counts.
std::vector<Finding> DifferenceFindings(const RowComparison& comparison, const ComparedTable& table,
                                        const RowDifferences& differences, const std::string& source,
                                        bool missingAreTheEnd, std::optional<std::uint64_t> logged);

Finding DanglingFinding(const WrongReferences& references, const ComparedTable& table, const std::string& column,
                        const ComparedTable& referred, const std::string& number);

/// Rows whose numbers lead elsewhere because they are kept.
Finding ElsewhereFinding(const WrongReferences& references, const ComparedTable& table, const rules::ColumnRule& rule);

/// Rows whose numbers lead elsewhere because the rows that they refer to have other numbers than by the source's order.
Finding ExchangedFinding(const WrongReferences& references, const ComparedTable& table, const rules::ColumnRule& rule);

/// "A", "A and B" or "A, B and C".
std::string Listed(const std::vector<std::string>& names);

}  // namespace check

#endif  // BW_CHECK_AFTER_WORDING_H
