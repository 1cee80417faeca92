#include "check/before/connections.h"

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

#include "check/rules/catalogue.h"
#include "check/sql/query.h"
#include "db/statement_text.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"
#include "odbc/text.h"

namespace check {

namespace {

constexpr std::string_view kUnknown = "unknown";

// Of the usual code pages of one byte each has some, and none has all: é ü € ą ő й Щ № λ ğ א ž.
constexpr std::array<std::uint32_t, 12> kProbeLetters = {0xE9,  0xFC,   0x20AC, 0x105, 0x151, 0x439,
                                                         0x429, 0x2116, 0x3BB,  0x11F, 0x5D0, 0x17E};

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
  Finding finding(kind);
  finding.text = std::move(text);
  finding.query = std::move(query);
  return finding;
}

std::string InUtf8(std::uint32_t letter) {
  const auto byte = [](std::uint32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
  if (letter < 0x80) {
    return {byte(letter)};
  }
  if (letter < 0x800) {
    return {byte(0xC0U | letter >> 6U), byte(0x80U | (letter & 0x3FU))};
  }
  return {byte(0xE0U | letter >> 12U), byte(0x80U | (letter >> 6U & 0x3FU)), byte(0x80U | (letter & 0x3FU))};
}

std::string FromHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    unsigned value = 0;
    std::from_chars(hex.data() + i, hex.data() + i + 2, value, 16);
    bytes += static_cast<char>(static_cast<unsigned char>(value));
  }
  return bytes;
}

// Facts.

void AddSourceFacts(const odbc::DBConnection& source, Report& report) {
  report.facts.push_back("Source: " + Products(source) + ".");
  const std::string version = OptionalValue(source, "SELECT @@VERSION;");
  report.facts.push_back("Source: " + version.substr(0, version.find_first_of("\r\n")) + ".");
  report.facts.push_back("Source: schema version " +
                         OptionalValue(source, "SELECT [KeyValue] FROM [dbo].[SystemData] WHERE [KeyName] = 'dbver';") +
                         ".");

  std::string tables;
  for (const db::TableDescription& table : Catalogue()) {
    tables += (tables.empty() ? "'" : ", '") + std::string(table.name) + "'";
  }
  std::string collations;
  for (const TextRow& row :
       OptionalRows(source,
                    "SELECT DISTINCT c.collation_name, CAST(COLLATIONPROPERTY(c.collation_name, 'CodePage') AS "
                    "varchar(20)) FROM sys.columns c JOIN sys.tables t ON t.object_id = c.object_id WHERE "
                    "c.collation_name IS NOT NULL AND t.name IN (" +
                        tables + ");")) {
    collations += (collations.empty() ? "" : ", ") + row.at(0).value_or("") + " (code page " +
                  row.at(1).value_or(std::string(kUnknown)) + ")";
  }
  report.facts.push_back("Source: collations of the columns " +
                         (collations.empty() ? std::string(kUnknown) : collations) + ".");
  const std::string encrypted =
      OptionalValue(source, "SELECT encrypt_option FROM sys.dm_exec_connections WHERE session_id = @@SPID;");
  report.facts.push_back("Source: encryption " +
                         (encrypted == "TRUE"    ? std::string("on")
                          : encrypted == "FALSE" ? std::string("off")
                                                 : std::string(kUnknown)) +
                         ".");
}

void AddDestinationFacts(const odbc::DBConnection& destination, Report& report) {
  report.facts.push_back("Destination: " + Products(destination) + ".");
  report.facts.push_back("Destination: " + QueryValue(destination, "SELECT version()").value_or("") + ".");
  report.facts.push_back("Destination: database encoding " +
                         QueryValue(destination, "SHOW server_encoding").value_or("") + ", client encoding " +
                         QueryValue(destination, "SHOW client_encoding").value_or("") + ".");
  const std::vector<TextRow> ssl =
      OptionalRows(destination, "SELECT ssl::text, version FROM pg_stat_ssl WHERE pid = pg_backend_pid()");
  report.facts.push_back("Destination: encryption " +
                         (ssl.empty()                   ? std::string(kUnknown)
                          : ssl.front().at(0) == "true" ? "on, " + ssl.front().at(1).value_or("")
                                                        : std::string("off")) +
                         ".");
}

// Letters beyond ASCII.

/// What became of a letter.
struct Arrival {
  std::size_t bytes = 0;   ///< That the client sees.
  std::string arrivesAs;   ///< In UTF-8; empty when it is refused.
  std::string refusal;     ///< The diagnostics.
  bool comesBack = false;  ///< The destination gives the same bytes back.
};

/// Sends a text as a parameter, as the migrator does.
Arrival SendToDestination(const odbc::DBConnection& destination, const std::string& text) {
  const odbc::Statement statement(destination);
  std::string value = text;
  for (SQLUSMALLINT number = 1; number <= 2; ++number) {
    odbc::RequireSuccess(SQLBindParameter(statement.handle(), number, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR,
                                          value.size() + 1, 0, value.data(), 0, nullptr),
                         statement.handle());
  }
  const SQLRETURN executed = odbc::ExecuteDirect(
      statement.handle(), "SELECT encode(convert_to(CAST(? AS text), 'UTF8'), 'hex'), CAST(? AS text)");
  Arrival arrival{.bytes = text.size(), .arrivesAs = {}, .refusal = {}, .comesBack = false};
  if (!odbc::Succeeded(executed)) {
    arrival.refusal = odbc::GetStatementDiagnostics(statement.handle());
    if (arrival.refusal.find("State = 22") == std::string::npos) {
      throw std::runtime_error(arrival.refusal);
    }
    return arrival;
  }
  odbc::RequireSuccess(SQLFetch(statement.handle()), statement.handle());
  std::array<char, 64> hex{};
  std::array<char, 64> back{};
  odbc::RequireSuccess(SQLGetData(statement.handle(), 1, SQL_C_CHAR, hex.data(), hex.size(), nullptr),
                       statement.handle());
  odbc::RequireSuccess(SQLGetData(statement.handle(), 2, SQL_C_CHAR, back.data(), back.size(), nullptr),
                       statement.handle());
  arrival.arrivesAs = FromHex(hex.data());
  arrival.comesBack = text == back.data();
  return arrival;
}

/// The bytes of a letter as the source's driver gives them; nothing when the source's encoding does not have it or the
/// source cannot be asked for it.
std::optional<std::string> BytesFromSource(const odbc::DBConnection& source, std::uint32_t letter) {
  // A letter that the encoding lacks becomes another one in a varchar.
  const std::string text = "CONVERT(varchar(4), NCHAR(" + std::to_string(letter) + "))";
  const std::vector<TextRow> rows = OptionalRows(source, "SELECT " + text + ", UNICODE(" + text + ");");
  if (rows.empty() || rows.front().at(1) != std::to_string(letter)) {
    return std::nullopt;
  }
  return rows.front().at(0);
}

void CheckLetters(const odbc::DBConnection& source, const odbc::DBConnection& destination, Report& report) {
  if (QueryValue(destination, "SHOW server_encoding") == "SQL_ASCII") {
    report.general.push_back(GeneralFinding(finding::EncodingUnchecked,
                                            "The destination database has the encoding SQL_ASCII: it takes letters "
                                            "beyond ASCII as bytes, whatever they are.",
                                            std::nullopt));
    return;
  }
  std::string whole;
  std::string garbled;
  std::string refused;
  std::string refusal;
  std::size_t longest = 0;
  for (const std::uint32_t letter : kProbeLetters) {
    const std::optional<std::string> bytes = BytesFromSource(source, letter);
    if (!bytes) {
      continue;
    }
    const std::string shown = InUtf8(letter);
    const Arrival arrival = SendToDestination(destination, *bytes);
    longest = std::max(longest, arrival.bytes);
    if (!arrival.refusal.empty()) {
      refused += (refused.empty() ? "" : " ") + shown;
      refusal = refusal.empty() ? arrival.refusal : refusal;
    } else if (arrival.arrivesAs != shown || !arrival.comesBack) {
      garbled += (garbled.empty() ? "" : ", ") + shown + " as " + arrival.arrivesAs;
    } else {
      whole += (whole.empty() ? "" : " ") + shown;
    }
  }
  const std::string sent = whole + garbled + refused;
  report.facts.push_back(
      sent.empty() ? "Letters beyond ASCII: unknown, the source gives none to probe with."
                   : "Letters beyond ASCII: " + (whole.empty() ? "none of those probed arrives" : whole + " arrive") +
                         " as they are and come back; each takes up to " + std::to_string(longest) +
                         (longest == 1 ? " byte" : " bytes") + " where texts are cut by bytes.");
  const std::string advice =
      " The encodings of the two data sources have to agree: ClientCharset of the source, client_encoding of the "
      "destination.";
  if (!garbled.empty()) {
    report.general.push_back(GeneralFinding(
        finding::EncodingGarbles, "Letters beyond ASCII arrive as others without a notice: " + garbled + "." + advice,
        Query{Side::Destination, "SHOW client_encoding;"}));
  }
  if (!refused.empty()) {
    report.general.push_back(
        GeneralFinding(finding::EncodingRefuses,
                       "The destination refuses letters that the source's encoding has: " + refused +
                           ". A row with one of them ends the run." + advice + " " + refusal,
                       Query{Side::Destination, "SHOW client_encoding;"}));
  }
}

// Rights.

/// The table's own query for none of its rows.
std::string EmptyQuery(const db::TableDescription& table, std::string_view schema) {
  std::string sql = db::WithSchema(table.select, schema);
  if (sql.ends_with(';')) {
    sql.pop_back();
  }
  return sql + " WHERE 1 = 0;";
}

std::set<std::string, std::less<>> CheckSourceRights(const odbc::DBConnection& source, Report& report) {
  std::set<std::string, std::less<>> unreadable;
  for (const db::TableDescription& table : Catalogue()) {
    const std::string sql = EmptyQuery(table, source.schema());
    try {
      QueryRows(source, sql);
    } catch (const std::runtime_error& failure) {
      unreadable.emplace(table.name);
      report.general.push_back(GeneralFinding(finding::SourceCannotRead,
                                              "The source's table " + std::string(table.name) +
                                                  " cannot be read, and the run ends where it is its turn. " +
                                                  failure.what(),
                                              Query{Side::Source, sql}));
    }
  }
  return unreadable;
}

}  // namespace

void MakeReadOnly(const odbc::DBConnection& destination) {
  // A function and not SET, which psqlODBC refuses on a data source with ReadOnly = 1. It holds from the next
  // transaction on, and each statement is one.
  QueryValue(destination, "SELECT set_config('default_transaction_read_only', 'on', false)");
  if (QueryValue(destination, "SHOW transaction_read_only") != "on") {
    throw std::runtime_error("the destination's session cannot be made read-only");
  }
}

std::set<std::string, std::less<>> CheckConnections(odbc::DBConnection& source, const odbc::DBConnection& destination,
                                                    Report& report) {
  AddSourceFacts(source, report);
  AddDestinationFacts(destination, report);
  CheckLetters(source, destination, report);
  return CheckSourceRights(source, report);
}

}  // namespace check
