#include "check/connections/migrator_sessions.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <thread>

#include "check/rules/catalogue.h"
#include "check/sql/query.h"
#include "db/statement_text.h"

namespace check {

namespace {

/// How the statements of one table begin.
struct Statements {
  std::string_view table;
  std::string truncate;
  std::string write;  ///< Up to the first parameter: the driver writes these in its own way.
};

std::vector<Statements> MigratorStatements(const odbc::DBConnection& destination) {
  std::vector<Statements> all;
  for (const db::TableDescription& table : Catalogue()) {
    const std::string write = db::WithSchema(table.write, destination.schema());
    all.push_back({.table = table.name,
                   .truncate = db::TruncateStatement(destination.schema(), table.name, table.truncation),
                   .write = write.substr(0, write.find('?'))});
  }
  return all;
}

std::vector<MigratorSession> FindMigratorSessions(const odbc::DBConnection& destination) {
  const std::vector<Statements> statements = MigratorStatements(destination);
  std::vector<MigratorSession> sessions;
  for (const TextRow& row :
       QueryRows(destination,
                 "SELECT CAST(pid AS text), usename, query, coalesce(wait_event_type, '') FROM pg_stat_activity "
                 "WHERE datname = current_database() AND pid <> pg_backend_pid() AND query IS NOT NULL ORDER BY pid")) {
    const std::string query = Text(row, 2);
    const auto own = std::ranges::find_if(statements, [&query](const Statements& each) {
      return query.starts_with(each.truncate) || query.starts_with(each.write);
    });
    if (own != statements.end()) {
      sessions.push_back({.process = Text(row, 0),
                          .login = Text(row, 1),
                          .table = std::string(own->table),
                          .waits = row.at(3) == "Lock"});
    }
  }
  return sessions;
}

}  // namespace

std::vector<MigratorSession> FindSessionsAtWork(const odbc::DBConnection& destination) {
  constexpr int attempts = 10;
  constexpr std::chrono::milliseconds pause(100);
  std::vector<MigratorSession> sessions = FindMigratorSessions(destination);
  for (int i = 0; i < attempts && !sessions.empty(); ++i) {
    std::this_thread::sleep_for(pause);
    sessions = FindMigratorSessions(destination);
  }
  return sessions;
}

}  // namespace check
