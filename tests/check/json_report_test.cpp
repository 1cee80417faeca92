#include "check/report/json_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace check {
namespace {

using testing::HasSubstr;

/// How the report writes a text.
std::string Written(const std::string& text) {
  Report report;
  report.verdict = text;
  const std::string json = JsonReport(report);
  const std::string before = "\"verdict\": ";
  const std::string after = ",\n  \"run_ends_in\"";
  const std::size_t begin = json.find(before) + before.size();
  return json.substr(begin, json.find(after) - begin);
}

TEST(JsonReport, WithoutAnything) {
  Report report;
  report.verdict = "All is well.";
  report.status = Status::GoesThroughUnchanged;

  EXPECT_EQ(JsonReport(report), R"({
  "format": "bw_db_check report",
  "version": 2,
  "program_version": "",
  "command": "before",
  "status": "goes-through-unchanged",
  "status_line": "Goes through unchanged",
  "foreseen": true,
  "verdict": "All is well.",
  "run_ends_in": null,
  "partial": false,
  "exit_code": 0,
  "findings": 0,
  "time": "",
  "host": "",
  "options": [],
  "compared": {
    "source": {
      "data_source": "",
      "server": "",
      "port": "",
      "database": "",
      "login": "",
      "schema": "",
      "product": "",
      "driver": ""
    },
    "destination": {
      "data_source": "",
      "server": "",
      "port": "",
      "database": "",
      "login": "",
      "schema": "",
      "product": "",
      "driver": ""
    }
  },
  "facts": [],
  "general": [],
  "tables": []
}
)");
}

TEST(JsonReport, WithEverything) {
  Report report;
  report.command = Command::After;
  report.facts = {"Source: Microsoft SQL Server", "Destination: PostgreSQL"};
  report.general = {Finding(finding::LogMissing)};
  Finding missing(finding::RowsMissing);
  missing.columns = {"Comment", "ClientCode"};
  missing.rows = 18446744073709551615U;
  missing.keys = {"ClientCode = A", "ClientCode = B"};
  missing.arrives = {"'a' arrives as 'b'"};
  missing.text = "They are not there.";
  missing.accepted = true;
  missing.query = Query{Side::Destination, "SELECT 1\nFROM \"Clients\";"};
  report.tables = {{.table = "Clients",
                    .sourceRows = 24,
                    .arrivingRows = 20,
                    .destinationRows = 19,
                    .unchangedRows = std::nullopt,
                    .refusedRows = std::nullopt,
                    .milliseconds = 12,
                    .findings = {Finding(finding::TextCut), missing}},
                   {.table = "Orders",
                    .sourceRows = std::nullopt,
                    .arrivingRows = std::nullopt,
                    .destinationRows = std::nullopt,
                    .unchangedRows = 0,
                    .refusedRows = 7,
                    .milliseconds = 0,
                    .findings = {}}};
  report.runEndsIn = "Orders";
  report.verdict = "Look at Clients.";
  report.status = Status::Different;
  report.onlyTables = {"Clients", "Orders"};
  report.identity = {.source = {.dataSource = "BrantwellSource",
                                .login = "reader",
                                .schema = "dbo",
                                .server = "sql1",
                                .port = "1433",
                                .database = "brantwell",
                                .product = "Microsoft SQL Server 15",
                                .driver = "libtdsodbc.so 1"},
                     .destination = {.dataSource = "BrantwellDestination",
                                     .login = "writer",
                                     .schema = "public",
                                     .server = "pg1",
                                     .port = "5432",
                                     .database = "bw",
                                     .product = "PostgreSQL 15",
                                     .driver = "psqlodbcw.so 13"},
                     .time = "2026-05-01 23:10:05 +0200",
                     .host = "desk7",
                     .programVersion = "1.0.0",
                     .options = {"--json", "a b.json"}};

  EXPECT_EQ(JsonReport(report), R"({
  "format": "bw_db_check report",
  "version": 2,
  "program_version": "1.0.0",
  "command": "after",
  "status": "different",
  "status_line": "Partial, different",
  "foreseen": true,
  "verdict": "Look at Clients.",
  "run_ends_in": "Orders",
  "partial": true,
  "exit_code": 1,
  "findings": 3,
  "time": "2026-05-01 23:10:05 +0200",
  "host": "desk7",
  "options": [
    "--json",
    "a b.json"
  ],
  "compared": {
    "source": {
      "data_source": "BrantwellSource",
      "server": "sql1",
      "port": "1433",
      "database": "brantwell",
      "login": "reader",
      "schema": "dbo",
      "product": "Microsoft SQL Server 15",
      "driver": "libtdsodbc.so 1"
    },
    "destination": {
      "data_source": "BrantwellDestination",
      "server": "pg1",
      "port": "5432",
      "database": "bw",
      "login": "writer",
      "schema": "public",
      "product": "PostgreSQL 15",
      "driver": "psqlodbcw.so 13"
    }
  },
  "facts": [
    "Source: Microsoft SQL Server",
    "Destination: PostgreSQL"
  ],
  "general": [
    {
      "id": "log-missing",
      "cost": "cannot-foresee",
      "columns": [],
      "rows": null,
      "keys": [],
      "arrives": [],
      "text": "",
      "query": null,
      "accepted": false
    }
  ],
  "tables": [
    {
      "table": "Clients",
      "source_rows": 24,
      "arriving_rows": 20,
      "unchanged_rows": null,
      "refused_rows": null,
      "destination_rows": 19,
      "milliseconds": 12,
      "findings": [
        {
          "id": "rows-missing",
          "cost": "rows-lost",
          "columns": [
            "Comment",
            "ClientCode"
          ],
          "rows": 18446744073709551615,
          "keys": [
            "ClientCode = A",
            "ClientCode = B"
          ],
          "arrives": [
            "'a' arrives as 'b'"
          ],
          "text": "They are not there.",
          "query": {
            "side": "destination",
            "text": "SELECT 1\nFROM \"Clients\";"
          },
          "accepted": true
        },
        {
          "id": "text-cut",
          "cost": "text-cut",
          "columns": [],
          "rows": null,
          "keys": [],
          "arrives": [],
          "text": "",
          "query": null,
          "accepted": false
        }
      ]
    },
    {
      "table": "Orders",
      "source_rows": null,
      "arriving_rows": null,
      "unchanged_rows": 0,
      "refused_rows": 7,
      "destination_rows": null,
      "milliseconds": 0,
      "findings": []
    }
  ]
}
)");
}

TEST(JsonReport, NamesEveryCost) {
  EXPECT_EQ(NameOf(Cost::RunRefused), "run-refused");
  EXPECT_EQ(NameOf(Cost::RunEnds), "run-ends");
  EXPECT_EQ(NameOf(Cost::RowsLost), "rows-lost");
  EXPECT_EQ(NameOf(Cost::WrongRow), "wrong-row");
  EXPECT_EQ(NameOf(Cost::ValueChanged), "value-changed");
  EXPECT_EQ(NameOf(Cost::TextCut), "text-cut");
  EXPECT_EQ(NameOf(Cost::CannotForesee), "cannot-foresee");
}

TEST(JsonReport, NamesEveryStatus) {
  EXPECT_EQ(NameOf(Status::GoesThroughUnchanged), "goes-through-unchanged");
  EXPECT_EQ(NameOf(Status::GoesThroughWithChanges), "goes-through-with-changes");
  EXPECT_EQ(NameOf(Status::EndsInTable), "ends-in-table");
  EXPECT_EQ(NameOf(Status::Refused), "refused");
  EXPECT_EQ(NameOf(Status::Complete), "complete");
  EXPECT_EQ(NameOf(Status::CompleteWithChanges), "complete-with-changes");
  EXPECT_EQ(NameOf(Status::Incomplete), "incomplete");
  EXPECT_EQ(NameOf(Status::Different), "different");
}

TEST(JsonReport, WritesTheCostOfTheCase) {
  Report report;
  report.general = {Finding(finding::TextCut)};
  report.general.front().cost = Cost::ValueChanged;
  EXPECT_THAT(JsonReport(report), HasSubstr("\"cost\": \"value-changed\""));
}

TEST(JsonReport, FindingOfOneTableMakesTheExitCode) {
  Report report;
  report.tables.emplace_back();
  EXPECT_THAT(JsonReport(report), HasSubstr("\"exit_code\": 0,\n"));
  report.tables.front().findings = {Finding(finding::TextCut)};
  EXPECT_THAT(JsonReport(report), HasSubstr("\"exit_code\": 1,\n"));
}

TEST(JsonReport, AcceptedFindingsMakeNoExitCode) {
  Report report;
  report.general = {Finding(finding::LogMissing)};
  report.general.front().accepted = true;
  EXPECT_THAT(JsonReport(report), HasSubstr("\"exit_code\": 0,\n"));
  report.tables.emplace_back().findings = {Finding(finding::TextCut)};
  EXPECT_THAT(JsonReport(report), HasSubstr("\"exit_code\": 1,\n"));
}

TEST(JsonReport, EscapesWhatJsonWantsEscaped) {
  EXPECT_EQ(Written(R"(a "quoted" back\slash /)"), R"("a \"quoted\" back\\slash /")");
  EXPECT_EQ(Written(std::string("\0\x01\t\n\x1F\x7F", 6)), R"("\u0000\u0001\t\n\u001f\u007f")");
}

TEST(JsonReport, WritesCharactersBeyondAsciiAsTheirNumbers) {
  EXPECT_EQ(Written("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\x88"), R"("\u00e9\u20ac\ud83d\udcc8")");
}

TEST(JsonReport, WritesBytesThatAreNoUtf8AsTheirNumbers) {
  EXPECT_EQ(Written("\xEF\xE0z\xFF"), R"("\u00ef\u00e0z\u00ff")");
  EXPECT_EQ(Written("caf\xC3"), R"("caf\u00c3")");
}

}  // namespace
}  // namespace check
