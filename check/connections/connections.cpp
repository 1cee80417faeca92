#include "check/connections/connections.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "check/connections/encryption.h"
#include "check/rules/catalogue.h"
#include "check/rules/source_reader.h"
#include "check/sql/query.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"
#include "odbc/text.h"

namespace check {

namespace {

constexpr std::string_view kUnknown = "unknown";

std::string Info(const odbc::DBConnection& connection, SQLUSMALLINT type) {
  std::array<char, 512> text{};
  if (!odbc::Succeeded(
          SQLGetInfo(connection.connection(), type, text.data(), static_cast<SQLSMALLINT>(text.size()), nullptr))) {
    throw std::runtime_error(odbc::GetConnectionDiagnostics(connection.connection()));
  }
  return text.data();
}

std::string Products(const odbc::DBConnection& connection) {
  return Info(connection, SQL_DBMS_NAME) + " " + Info(connection, SQL_DBMS_VER) + ", driver " +
         Info(connection, SQL_DRIVER_NAME) + " " + Info(connection, SQL_DRIVER_VER);
}

/// The rows of a query that a server may not have an answer to, or not for this login; none then.
std::vector<TextRow> OptionalRows(const odbc::DBConnection& connection, const std::string& sql) {
  try {
    return QueryRows(connection, sql);
  } catch (const std::runtime_error&) {
    return {};
  }
}

std::string OptionalValue(const odbc::DBConnection& connection, const std::string& sql) {
  const std::vector<TextRow> rows = OptionalRows(connection, sql);
  return rows.empty() ? std::string(kUnknown) : rows.front().front().value_or(std::string(kUnknown));
}

Finding GeneralFinding(const FindingKind& kind, std::string text, std::optional<Query> query) {
  Finding finding(kind, std::move(text));
  finding.query = std::move(query);
  return finding;
}

// Facts.

void AddEncryption(Side side, const Encryption& encryption, Report& report) {
  report.facts.push_back(EncryptionFact(side, encryption));
  if (std::optional<Finding> finding = UnencryptedFinding(side, encryption)) {
    report.general.push_back(std::move(*finding));
  }
}

void AddSourceFacts(const odbc::DBConnection& source, Report& report) {
  report.facts.push_back("Source: " + Products(source) + ".");
  const std::string version = OptionalValue(source, "SELECT @@VERSION;");
  report.facts.push_back("Source: " + version.substr(0, version.find_first_of("\r\n")) + ".");
  report.facts.push_back("Source: schema version " +
                         OptionalValue(source, "SELECT [KeyValue] FROM [dbo].[SystemData] WHERE [KeyName] = 'dbver';") +
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

// Rights.

std::set<std::string, std::less<>> CheckSourceRights(const odbc::DBConnection& source, Report& report) {
  std::set<std::string, std::less<>> unreadable;
  for (const db::TableDescription& table : Catalogue()) {
    const std::string sql = rules::EmptyQuery(table, source.schema());
    try {
      QueryRows(source, sql);
    } catch (const std::runtime_error& failure) {
      unreadable.emplace(table.name);
      report.general.push_back(GeneralFinding(finding::SourceCannotRead,
                                              "The source's table " + std::string(table.name) +
                                                  " cannot be read: the run ends at this table. " + failure.what(),
                                              Query{Side::Source, sql}));
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
