#include "check/connections/connections.h"

#include <sql.h>
#include <sqlext.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "check/connections/encryption.h"
#include "check/rules/catalogue.h"
#include "check/rules/source_reader.h"
#include "check/sql/query.h"
#include "odbc/diagnostics.h"

namespace check {

namespace {

/// Throws when the driver does not say.
std::string RequiredInfo(const odbc::DBConnection& connection, SQLUSMALLINT type) {
  const std::optional<std::string> info = DriverInfo(connection, type);
  if (!info) {
    throw std::runtime_error(odbc::GetConnectionDiagnostics(connection.connection()));
  }
  return *info;
}

std::string Products(const odbc::DBConnection& connection) {
  return RequiredInfo(connection, SQL_DBMS_NAME) + " " + RequiredInfo(connection, SQL_DBMS_VER) + ", driver " +
         RequiredInfo(connection, SQL_DRIVER_NAME) + " " + RequiredInfo(connection, SQL_DRIVER_VER);
}

std::string ValueIfKnown(const odbc::DBConnection& connection, std::string_view sql) {
  const std::optional<TextRow> row = OptionalRow(connection, sql);
  return row ? row->front().value_or("unknown") : "unknown";
}

void AddEncryption(Side side, const Encryption& encryption, Report& report) {
  report.facts.push_back(EncryptionFact(side, encryption));
  if (std::optional<Finding> finding = UnencryptedFinding(side, encryption)) {
    report.general.push_back(std::move(*finding));
  }
}

void AddSourceFacts(const odbc::DBConnection& source, Report& report) {
  report.facts.push_back("Source: " + Products(source) + ".");
  const std::string version = ValueIfKnown(source, "SELECT @@VERSION;");
  report.facts.push_back("Source: " + version.substr(0, version.find_first_of("\r\n")) + ".");
  report.facts.push_back("Source: schema version " +
                         ValueIfKnown(source, "SELECT [KeyValue] FROM [dbo].[SystemData] WHERE [KeyName] = 'dbver';") +
                         ".");
  AddEncryption(Side::Source, SourceEncryption(source), report);
}

void AddDestinationFacts(const odbc::DBConnection& destination, Report& report) {
  report.facts.push_back("Destination: " + Products(destination) + ".");
  report.facts.push_back("Destination: " + QueryValue(destination, "SELECT version()").value_or("") + ".");
  report.facts.push_back("Destination: database encoding " +
                         QueryValue(destination, "SHOW server_encoding").value_or("") + ", client encoding " +
                         QueryValue(destination, "SHOW client_encoding").value_or("") + ".");
  AddEncryption(Side::Destination, DestinationEncryption(destination), report);
}

std::set<std::string, std::less<>> CheckSourceRights(const odbc::DBConnection& source, Report& report) {
  std::set<std::string, std::less<>> unreadable;
  for (const db::TableDescription& table : Catalogue()) {
    const std::string sql = rules::EmptyQuery(table, source.schema());
    try {
      QueryRows(source, sql);
    } catch (const std::runtime_error& failure) {
      unreadable.emplace(table.name);
      Finding& finding = report.general.emplace_back(
          finding::SourceCannotRead, "The source's table " + std::string(table.name) +
                                         " cannot be read: the run ends at this table. " + failure.what());
      finding.query = Query{.side = Side::Source, .text = sql};
    }
  }
  return unreadable;
}

}  // namespace

std::set<std::string, std::less<>> CheckConnections(odbc::DBConnection& source, const odbc::DBConnection& destination,
                                                    Report& report) {
  AddSourceFacts(source, report);
  AddDestinationFacts(destination, report);
  return CheckSourceRights(source, report);
}

}  // namespace check
