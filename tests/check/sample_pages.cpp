#include <cstdio>
#include <iostream>
#include <map>
#include <string>

#include "check/report/html_report.h"

/// Prints a page of a made-up report, whose name is the only argument.
namespace {

using check::Finding;
using check::Report;

check::TableReport Table(const std::string& name, std::uint64_t source, std::uint64_t arriving, std::uint64_t unchanged,
                         std::uint64_t refused) {
  check::TableReport table;
  table.table = name;
  table.sourceRows = source;
  table.arrivingRows = arriving;
  table.unchangedRows = unchanged;
  table.refusedRows = refused;
  return table;
}

Finding Found(const check::FindingKind& kind, const std::string& column, std::uint64_t rows, const std::string& text) {
  Finding finding(kind);
  finding.columns = {column};
  finding.rows = rows;
  finding.keys = {"ID = 1", "ID = 2"};
  finding.arrives = {"'a' arrives as 'b'"};
  finding.text = text;
  finding.query = check::Query{check::Side::Source, "SELECT [ID], [" + column + "]\nFROM dbo.[Clients];"};
  return finding;
}

Report Sample() {
  Report report;
  report.identity = {.source = {.dataSource = "BrantwellSource",
                                .login = "bw_reader",
                                .schema = "dbo",
                                .server = "SQL1",
                                .port = "1433",
                                .database = "brantwell",
                                .product = "Microsoft SQL Server 15.00.2000",
                                .driver = "libtdsodbc.so 01.03.0017"},
                     .destination = {.dataSource = "BrantwellDestination",
                                     .login = "bw_migrator",
                                     .schema = "public",
                                     .server = "pg1",
                                     .port = "5432",
                                     .database = "brantwell",
                                     .product = "PostgreSQL 15.0.10",
                                     .driver = "psqlodbcw.so 13.02.0000"},
                     .time = "2026-05-01 21:40:12 +0200",
                     .host = "desk7",
                     .programVersion = "1.0.0",
                     .options = {"--html", "page.html"}};
  report.facts = {"Destination: encryption on, TLSv1.3."};
  return report;
}

Report Clean() {
  Report report = Sample();
  report.status = check::Status::GoesThroughUnchanged;
  report.verdict = "Of 24 rows, 24 will arrive unchanged.";
  report.tables = {Table("SystemData", 0, 0, 0, 0), Table("Clients", 24, 24, 24, 0)};
  return report;
}

Report Before() {
  Report report = Sample();
  report.status = check::Status::EndsInTable;
  report.runEndsIn = "Orders";
  report.foreseen = false;
  report.verdict = "The destination refuses a row.";
  report.general = {Finding(check::finding::CannotForesee)};
  report.general.front().text = "Something general.";
  report.tables = {Table("Clients", 24, 24, 20, 0), Table("Orders", 100, 40, 30, 5), Table("SecGroups", 7, 0, 0, 0)};
  report.tables[2].arrivingRows.reset();
  report.tables[2].unchangedRows.reset();
  report.tables[2].refusedRows.reset();
  report.tables[0].findings = {Found(check::finding::TextCut, "Comment", 4, "The text is cut."),
                               Found(check::finding::NullReplaced, "Mode", 3, "NULL arrives as a value.")};
  report.tables[0].findings.back().accepted = true;
  report.tables[1].findings = {Found(check::finding::RowRefused, "Price", 5, "It is refused.")};
  return report;
}

Report Refused() {
  Report report = Sample();
  report.status = check::Status::Refused;
  report.verdict = "Another kind of server.";
  report.general = {Finding(check::finding::WrongServer)};
  report.general.front().text = "The source is something else.";
  return report;
}

Report After() {
  Report report = Sample();
  report.command = check::Command::After;
  report.status = check::Status::Different;
  report.verdict = "Look at Clients.";
  report.onlyTables = {"Clients"};
  report.tables = {Table("Clients", 24, 22, 20, 0)};
  report.tables[0].destinationRows = 23;
  report.tables[0].findings = {Found(check::finding::RowsMissing, "ID", 3, "Not there."),
                               Found(check::finding::RowsUnexpected, "ID", 4, "Not brought."),
                               Found(check::finding::RowsDifferent, "Mode", 2, "Other values.")};
  return report;
}

Report Hundreds() {
  Report report = Before();
  report.tables.clear();
  for (int i = 0; i < 22; ++i) {
    check::TableReport& table =
        report.tables.emplace_back(Table("Table" + std::to_string(i), 1'000'000, 900'000, 1, 0));
    for (int j = 0; j < 30; ++j) {
      table.findings.push_back(Found(check::finding::TextCut, "Column" + std::to_string(j), 9, "Cut."));
    }
  }
  return report;
}

Report Hostile() {
  const std::string hostile =
      "</script><script>window.harmed = 1</script><img src=x onerror='window.harmed = 1'>"
      "<a href=\"javascript:window.harmed = 1\">{nonce}{report}<!--\x1b[2J\u202Eevil&lt;";
  const std::string noUtf8 = hostile + "\xE9";
  Report report = Before();
  report.verdict = noUtf8;
  report.runEndsIn = hostile;
  report.identity.host = hostile;
  report.identity.source.server = hostile;
  report.facts = {noUtf8};
  for (check::TableReport& table : report.tables) {
    table.table = hostile;
    for (Finding& finding : table.findings) {
      finding.columns = {hostile};
      finding.keys = {hostile};
      finding.arrives = {hostile};
      finding.text = noUtf8;
      finding.query->text = hostile;
    }
  }
  return report;
}

}  // namespace

int main(int argc, char** argv) {
  const std::map<std::string, Report (*)()> pages = {{"clean", Clean}, {"before", Before},     {"refused", Refused},
                                                     {"after", After}, {"hundreds", Hundreds}, {"hostile", Hostile}};
  const auto page = argc == 2 ? pages.find(argv[1]) : pages.end();
  if (page == pages.end()) {
    return 2;
  }
  std::cout << check::HtmlReport(page->second());
  return 0;
}
