#include "check/before/refusal.h"

#include <stdexcept>

#include "check/report/findings.h"

namespace check {

namespace {

std::string KindOf(const odbc::DBConnection& side) {
  return side.serverKind() == odbc::ServerKind::SqlServer ? "a Microsoft SQL Server" : "a PostgreSQL";
}

}  // namespace

std::optional<Finding> WhyRunRefused(odbc::DBConnection& source, const odbc::DBConnection& destination) {
  for (const bool isSource : {true, false}) {
    if ((isSource ? source : destination).serverKind() == odbc::ServerKind::Unknown) {
      return Finding(
          finding::WrongServer,
          std::string("The server of the ") + (isSource ? "source" : "destination") +
              " is neither a Microsoft SQL Server nor a PostgreSQL: the migrator ends and prints no message.");
    }
  }
  if (source.serverKind() != odbc::ServerKind::SqlServer || destination.serverKind() != odbc::ServerKind::PostgreSql) {
    return Finding(finding::WrongServer,
                   "The source is " + KindOf(source) + " and the destination " + KindOf(destination) +
                       ": the migrator ends with \"Error: Migration is only possible from Microsoft SQL Server to "
                       "PostgreSQL\".");
  }
  try {
    if (source.CheckSchemaVersion()) {
      return std::nullopt;
    }
  } catch (const std::runtime_error& error) {
    return Finding(
        finding::WrongSchemaVersion,
        std::string("The source's schema version cannot be read: the migrator ends, with this in its log only: ") +
            error.what());
  }
  return Finding(finding::WrongSchemaVersion,
                 "The source's schema version is not 29: the migrator ends with \"Error: Migration is possible only "
                 "for version 29 of the Brantwell database\".");
}

Report RefusedReport(const Finding& refusal, const std::vector<std::string>& tables) {
  Report report;
  report.general.push_back(refusal);
  report.onlyTables = tables;
  report.status = Status::Refused;
  report.verdict = "The migrator will end before it empties a table.";
  return report;
}

}  // namespace check
