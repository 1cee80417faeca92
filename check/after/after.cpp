#include "check/after/after.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <stdexcept>

#include "check/after/after_report.h"
#include "check/after/database_comparison.h"
#include "check/after/log_reader.h"
#include "check/after/run_end.h"
#include "check/after/wording.h"
#include "check/connections/connections.h"
#include "check/connections/migrator_sessions.h"
#include "check/rules/catalogue.h"

namespace check {

namespace {

/// What reads a table waits for what waits for its lock.
void RequireNoneWaits(const std::vector<MigratorSession>& sessions) {
  const auto waiting = std::ranges::find_if(sessions, [](const MigratorSession& session) { return session.waits; });
  if (waiting != sessions.end()) {
    throw std::runtime_error("session " + waiting->process + " of " + waiting->login +
                             " is the migrator's, and waits for a lock on " + waiting->table +
                             ". A server goes on waiting when the program was killed: pg_terminate_backend ends that");
  }
}

/// Rows that the rules or the destination keep from being written, so that the run ends.
std::uint64_t EndingRows(const staging::StagedTable& staged) {
  std::uint64_t rows = staged.refusedRows;
  for (const auto& [key, remarked] : staged.remarks) {
    if (key.remark == staging::Remark::ReferenceMissing || key.remark == staging::Remark::ReferenceNotMigrated) {
      rows += remarked.rows;
    }
  }
  return rows;
}

/// `endedIn` is the table in which the run ended, if it is known to have ended before its end.
std::optional<TableFigures> FiguresOf(const TableResult& result, const staging::Staged& staged,
                                      std::optional<std::size_t> endedIn) {
  const staging::StagedTable& table = *result.staged;
  TableFigures figures;
  figures.arriving = staged.endsIn == result.table->name ? table.arrivingRows : table.storedRows;
  figures.refused = EndingRows(table);
  if (result.rows) {
    figures.present = result.rows->present;
    figures.missing = result.rows->missing;
    figures.unexpected = result.rows->unexpected;
    figures.different = result.rows->different;
    figures.missingAtEnd = result.rows->missingAtEnd;
    figures.isEmptiedAgain = figures.present == 0 && !result.emptiedBy.empty() &&
                             (!endedIn || PlaceOf(result.emptiedBy.front()) <= *endedIn);
    if (figures.isEmptiedAgain) {
      figures.missing = 0;
    }
    return figures;
  }
  if (!result.exists) {
    figures.missing = table.storedRows;
    figures.missingAtEnd = true;
    return figures;
  }
  return std::nullopt;
}

Decision DecideWith(const DatabaseComparison& compared, const std::optional<MigrationLog>& log, bool atWork,
                    std::optional<std::size_t> endedIn) {
  Decision decision;
  decision.figures.resize(Catalogue().size());
  for (const TableResult& result : compared.results()) {
    decision.figures[PlaceOf(result.table->name)] = FiguresOf(result, compared.staged(), endedIn);
  }
  decision.judgement = JudgeLog(log, decision.figures);
  if (decision.judgement.worth == LogJudgement::Worth::Reliable) {
    decision.log = log;
  }
  decision.end = FindRunEnd(decision.figures, decision.log, atWork);
  return decision;
}

/// `workingOn` is the table that a run is still at work on, if that is known.
Decision Decide(const DatabaseComparison& compared, const std::optional<MigrationLog>& log, bool atWork,
                std::optional<std::size_t> workingOn) {
  Decision decision = DecideWith(compared, log, atWork, std::nullopt);
  if (decision.end.state == RunEnd::State::Incomplete && decision.end.table) {
    // A table that the run did not come to has emptied no other one.
    decision = DecideWith(compared, log, atWork, decision.end.table);
  }
  if (workingOn) {
    decision.end.table = workingOn;
  }
  return decision;
}

}  // namespace

Report CheckAfter(odbc::DBConnection& source, const odbc::DBConnection& trial, odbc::DBConnection& destination,
                  const std::filesystem::path& logPath, const std::vector<std::string>& tables, Progress& progress) {
  Report report;
  report.command = Command::After;
  report.onlyTables = tables;
  progress.Begin("log");
  const LogStamp logStamp = StampOf(logPath);
  const std::optional<MigrationLog> log = ReadLog(logPath);
  progress.Begin("connections");
  const std::set<std::string, std::less<>> unread = CheckConnections(source, destination, report);
  if (log) {
    report.facts.push_back(LogFact(*log));
  }
  const std::vector<MigratorSession> sessions = FindSessionsAtWork(destination);
  RequireNoneWaits(sessions);
  DatabaseComparison compared(source, trial, destination, progress);
  compared.Run(tables, unread, report);
  const std::optional<Finding> atWork = AtWorkFinding(sessions, StampOf(logPath) != logStamp);
  if (atWork) {
    report.general.push_back(*atWork);
  }
  const std::optional<std::size_t> workingOn =
      sessions.size() == 1 ? std::optional(PlaceOf(sessions.front().table)) : std::nullopt;
  const Decision decision = Decide(compared, log, atWork.has_value(), workingOn);
  compared.CompareReferences(decision.end.state == RunEnd::State::Incomplete ? decision.end.table : std::nullopt);
  ReportAfter(source, destination, compared, tables, decision, log, report);
  return report;
}

}  // namespace check
