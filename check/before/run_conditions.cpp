#include "check/before/run_conditions.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

#include "check/connections/migrator_sessions.h"
#include "check/report/findings.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

// A server's own processes have no user; its autovacuum gives way. A prepared transaction has no process.
constexpr std::string_view kLocks = R"(
  SELECT coalesce(l.pid::text, ''),
    CASE WHEN l.pid IS NULL THEN 'A prepared transaction'
      ELSE concat('Session ', l.pid, ' of ', a.usename, ' (' || nullif(a.application_name, '') || ')') END,
    string_agg(DISTINCT c.relname, ', ') FILTER (WHERE l.granted),
    string_agg(DISTINCT c.relname, ', ') FILTER (WHERE NOT l.granted),
    date_trunc('second', a.xact_start)::text
  FROM pg_locks l JOIN pg_class c ON c.oid = l.relation LEFT JOIN pg_stat_activity a ON a.pid = l.pid
  WHERE l.database = (SELECT d.oid FROM pg_database d WHERE d.datname = current_database())
    AND l.relation = ANY (?::oid[]) AND l.pid IS DISTINCT FROM pg_backend_pid()
    AND (l.pid IS NULL OR a.usesysid IS NOT NULL)
  GROUP BY l.pid, a.usename, a.application_name, a.xact_start ORDER BY l.pid)";

std::set<staging::ObjectId> EmptiedTables(const staging::Destination& model) {
  std::set<staging::ObjectId> ids;
  for (const auto& [table, reach] : model.reaches) {
    ids.insert(reach.all.begin(), reach.all.end());
  }
  return ids;
}

Finding LockFinding(const TextRow& session, const RunSettings& settings) {
  Finding finding(finding::TableLocked, Text(session, 1));
  const std::optional<std::string>& held = session.at(2);
  const std::optional<std::string>& awaited = session.at(3);
  if (held) {
    finding.text += " holds a lock on " + *held;
  }
  if (awaited) {
    finding.text += (held ? " and waits for one on " : " waits for a lock on ") + *awaited;
  }
  if (session.at(4)) {
    finding.text += ", in a transaction since " + *session.at(4);
  }
  finding.text +=
      ". The run empties each table, which needs a lock of its own: it waits there until that session's "
      "transaction has ended";
  if (settings.lockTimeout != "0") {
    finding.cost = Cost::RunEnds;
    finding.text += ", and after lock_timeout, " + settings.lockTimeout + ", it ends (55P03)";
  }
  if (settings.statementTimeout != "0") {
    finding.cost = Cost::RunEnds;
    finding.text += ", and after statement_timeout, " + settings.statementTimeout + ", it ends (57014)";
  }
  finding.text += ".";
  const std::string process = Text(session, 0);
  finding.query = Query{
      .side = Side::Destination,
      .text = process.empty() ? "SELECT * FROM pg_prepared_xacts;"
                              : "SELECT a.pid, a.usename, a.state, a.query, l.relation::regclass, l.mode, l.granted "
                                "FROM pg_stat_activity a JOIN pg_locks l ON l.pid = a.pid WHERE l.relation IS NOT NULL "
                                "AND a.pid = " +
                                    process + ";"};
  return finding;
}

}  // namespace

RunSettings ReadRunSettings(const odbc::DBConnection& destination, Report& report) {
  const TextRow row = QueryRows(destination,
                                "SELECT current_setting('synchronous_commit'), current_setting('lock_timeout'), "
                                "current_setting('client_connection_check_interval', true), "
                                "current_setting('standard_conforming_strings'), current_setting('statement_timeout')")
                          .at(0);
  RunSettings settings{.waitsForDisk = row.at(0) != "off",
                       .lockTimeout = row.at(1).value_or("0"),
                       .statementTimeout = row.at(4).value_or("0")};
  report.facts.push_back("Destination: the run's session has synchronous_commit " + Text(row, 0) + ", lock_timeout " +
                         settings.lockTimeout + ", statement_timeout " + settings.statementTimeout +
                         ", client_connection_check_interval " + row.at(2).value_or("unknown to this server") +
                         ", standard_conforming_strings " + Text(row, 3) + ".");
  return settings;
}

void LookAtSessions(const odbc::DBConnection& destination, const staging::Destination& model,
                    const RunSettings& settings, Report& report) {
  const std::vector<MigratorSession> runs = FindSessionsAtWork(destination);
  for (const MigratorSession& run : runs) {
    report.general.emplace_back(finding::RunAtWork, "Session " + run.process + " of " + run.login +
                                                        " is the migrator's, in " + run.table +
                                                        ". A run is at work, or the server still works on what one "
                                                        "left behind. Wait for its end, then check again: two "
                                                        "runs at a time empty and fill the same tables.");
  }
  for (const TextRow& session : QueryRows(destination, kLocks, {ArrayOf(EmptiedTables(model))})) {
    if (std::ranges::find(runs, Text(session, 0), &MigratorSession::process) == runs.end()) {
      report.general.push_back(LockFinding(session, settings));
    }
  }
}

}  // namespace check
