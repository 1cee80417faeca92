#include "check/staging/session.h"

#include <sql.h>
#include <sqlext.h>

#include <stdexcept>

#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "odbc/diagnostics.h"

namespace check::staging {

namespace {

bool IsReadOnlyDataSource(const odbc::DBConnection& destination) {
  return DriverInfo(destination, SQL_DATA_SOURCE_READ_ONLY).value_or("").starts_with('Y');
}

bool PreparesOnServer(const odbc::DBConnection& destination) {
  // psqlODBC says that it cannot describe parameters when its data source has UseServerSidePrepare = 0.
  SQLUSMALLINT describes = SQL_FALSE;
  return odbc::Succeeded(SQLGetFunctions(destination.connection(), SQL_API_SQLDESCRIBEPARAM, &describes)) &&
         describes == SQL_TRUE;
}

/// A function and not SET, which psqlODBC refuses on a data source with ReadOnly = 1.
void Set(const odbc::DBConnection& destination, const std::string& name, const std::string& value) {
  QueryValue(destination, "SELECT set_config(?, ?, false)", {name, value});
}

}  // namespace

Writability BeginSession(const odbc::DBConnection& destination) {
  if (QueryValue(destination, "SELECT pg_is_in_recovery()::text") == "true") {
    throw std::runtime_error(
        "the destination is a standby, which cannot be written to: the run would end at its first table");
  }
  const TextRow right = QueryRows(destination,
                                  "SELECT has_database_privilege(current_database(), 'TEMP')::text, "
                                  "format('GRANT TEMP ON DATABASE %I TO %I;', current_database(), current_user)")
                            .at(0);
  if (right.at(0) != "true") {
    throw MissingTempRight("the destination's login may not create temporary tables, which the check needs: " +
                           Text(right, 1));
  }
  const Writability writability{
      .readOnlyByDefault = QueryValue(destination, "SHOW default_transaction_read_only") == "on",
      .readOnlyDataSource = IsReadOnlyDataSource(destination),
      .preparesOnServer = PreparesOnServer(destination)};
  Set(destination, "default_transaction_read_only", "off");
  Set(destination, "lock_timeout", "30s");
  Set(destination, "statement_timeout", "4h");
  // Temporary tables bear the names of the tables that they are copies of, which functions must still find.
  QueryValue(destination,
             "SELECT set_config('search_path', concat_ws(', ', nullif(current_setting('search_path'), ''), 'pg_temp'), "
             "false)");
  return writability;
}

void EndCreation(const odbc::DBConnection& destination) {
  // It holds from the next transaction on, and each statement is one.
  Set(destination, "default_transaction_read_only", "on");
  if (QueryValue(destination, "SHOW transaction_read_only") != "on") {
    throw std::runtime_error("the destination's session cannot be made read-only");
  }
}

std::string WhoBlocks(const odbc::DBConnection& destination) {
  constexpr std::string_view sql = R"(
    SELECT concat('session ', a.pid, ' of ', a.usename, ' (' || nullif(a.application_name, '') || ')',
      CASE WHEN NOT bool_and(l.granted) THEN ' waits for a lock on ' WHEN bool_or(l.mode = 'AccessExclusiveLock')
        THEN ' has locked ' ELSE ' uses ' END,
      string_agg(DISTINCT l.relation::regclass::text, ', '), ' since ' || date_trunc('second', a.xact_start))
    FROM pg_locks l JOIN pg_stat_activity a ON a.pid = l.pid JOIN pg_class c ON c.oid = l.relation
    WHERE c.relkind IN ('r', 'p') AND l.pid <> pg_backend_pid()
      AND l.database = (SELECT d.oid FROM pg_database d WHERE d.datname = current_database())
      AND EXISTS (SELECT FROM pg_locks x WHERE x.database = l.database AND x.relation = l.relation
        AND x.mode = 'AccessExclusiveLock')
    GROUP BY a.pid, a.usename, a.application_name, a.xact_start ORDER BY a.pid)";
  return Joined(QueryRows(destination, sql), "; ", [](const TextRow& row) { return Text(row, 0); });
}

}  // namespace check::staging
