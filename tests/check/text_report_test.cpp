#include "check/report/text_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace check {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string Printed(const Report& report, Colour colour = Colour::Off) {
  std::ostringstream stream;
  PrintReport(stream, report, colour);
  return stream.str();
}

TableReport Table(const std::string& name, std::vector<Finding> findings = {}) {
  return {.table = name,
          .sourceRows = 24,
          .arrivingRows = 20,
          .destinationRows = std::nullopt,
          .unchangedRows = 18,
          .refusedRows = 2,
          .milliseconds = 1234,
          .findings = std::move(findings)};
}

Finding Found(const FindingKind& kind, const std::string& text = "It is so.") {
  Finding finding(kind);
  finding.text = text;
  return finding;
}

TEST(TextReport, WithoutFindings) {
  Report report;
  report.facts = {"Source: Microsoft SQL Server", "Destination: PostgreSQL"};
  report.tables = {Table("SystemData"), Table("LoadedSecuritiesClientPrices")};
  report.status = Status::GoesThroughUnchanged;
  report.verdict = "All 24 rows arrive.";

  EXPECT_EQ(Printed(report),
            R"(bw_db_check before

Source: Microsoft SQL Server
Destination: PostgreSQL

Table                                 Source      Arriving     Unchanged       Refused          Time
SystemData                                24            20            18             2       1.234 s
LoadedSecuritiesClientPrices              24            20            18             2       1.234 s

Goes through unchanged. All 24 rows arrive.
)");
}

TEST(TextReport, WithFindings) {
  Report report;
  report.facts = {"Source: Microsoft SQL Server"};
  report.general = {Found(finding::CannotForesee, "The login may not read Clients.")};
  Finding lost = Found(finding::NullEndsTable, "A NULL ends the table.");
  lost.columns = {"Comment"};
  lost.rows = 4;
  lost.keys = {"ClientCode = A", "ClientCode = B"};
  lost.query = Query{Side::Source, "SELECT [ClientCode]\n  FROM [dbo].[Clients]\n WHERE [Comment] IS NULL;\n"};
  Finding one = Found(finding::LogStale, "A trigger is there.");
  one.rows = 1;
  one.query = Query{Side::Destination, "SELECT 1;"};
  report.tables = {Table("SystemData"), Table("Clients", {lost, one}), Table("Orders"), Table("SecGroups")};
  report.status = Status::EndsInTable;
  report.runEndsIn = "Clients";
  report.foreseen = false;
  report.verdict = "It refuses a row.";

  EXPECT_EQ(Printed(report),
            R"(bw_db_check before

Source: Microsoft SQL Server

General
  Cannot foresee [cannot-foresee]
    The login may not read Clients.

Table                                 Source      Arriving     Unchanged       Refused          Time
SystemData                                24            20            18             2       1.234 s

Clients                                   24            20            18             2       1.234 s
  Rows lost, Comment, 4 rows [null-ends-table]
    A NULL ends the table.
    First rows: ClientCode = A; ClientCode = B
    SQL on the source:
      SELECT [ClientCode]
        FROM [dbo].[Clients]
       WHERE [Comment] IS NULL;
  Cannot foresee, 1 row [log-stale]
    A trigger is there.
    SQL on the destination:
      SELECT 1;

Orders                                    24            20            18             2       1.234 s
SecGroups                                 24            20            18             2       1.234 s

Ends in Clients, as far as can be foreseen. It refuses a row.
)");
}

TEST(TextReport, AfterARunShowsTheDestinationsRows) {
  Report report;
  report.command = Command::After;
  TableReport table = Table("Clients");
  table.destinationRows = 19;
  table.sourceRows.reset();
  table.milliseconds = 7;
  report.tables = {table};
  report.status = Status::Different;
  report.verdict = "Look at Clients.";

  EXPECT_EQ(Printed(report),
            R"(bw_db_check after

Table                                 Source      Expected   Destination          Time
Clients                                    ?            20            19       0.007 s

Different. Look at Clients.
)");
}

constexpr FindingKind kRefused{"a", Cost::RunRefused, ""};
constexpr FindingKind kEnds{"b", Cost::RunEnds, ""};
constexpr FindingKind kMissing{"c1", Cost::RowsLost, ""};
constexpr FindingKind kLost{"c2", Cost::RowsLost, ""};
constexpr FindingKind kWrong{"d", Cost::WrongRow, ""};
constexpr FindingKind kChanged{"e", Cost::ValueChanged, ""};
constexpr FindingKind kCut{"f", Cost::TextCut, ""};
constexpr FindingKind kForeseen{"g", Cost::CannotForesee, ""};

TEST(TextReport, FindingsAreSortedByCostAndStayInOrderOtherwise) {
  Report report;
  report.tables = {Table("Clients", {Found(kForeseen), Found(kCut), Found(kChanged), Found(kWrong), Found(kLost),
                                     Found(kMissing), Found(kEnds), Found(kRefused)})};

  EXPECT_THAT(Printed(report), HasSubstr(R"(
  Run refused [a]
    It is so.
  Run ends [b]
    It is so.
  Rows lost [c2]
    It is so.
  Rows lost [c1]
    It is so.
  Wrong row [d]
    It is so.
  Value changed [e]
    It is so.
  Text cut [f]
    It is so.
  Cannot foresee [g]
    It is so.
)"));
}

TEST(TextReport, BreaksLongTextsBetweenWords) {
  // With what stands in front, the first two words would take 101 bytes, and the next three take 100.
  const std::string first(94, 'a');
  const std::string third(37, 'c');
  const std::string fourth(55, 'd');
  const std::string tooLong(120, 'e');
  Report report;
  report.general = {Found(kEnds, first + " bb  " + third + "\n" + fourth + " f " + tooLong + " g")};

  EXPECT_THAT(Printed(report), HasSubstr("\n    " + first + "\n    bb " + third + " " + fourth + "\n    f\n    " +
                                         tooLong + "\n    g\n"));
}

TEST(TextReport, KeysThatDoNotFitOnALineAreNotBroken) {
  Report report;
  Finding finding = Found(kEnds);
  finding.keys = {"Code = '" + std::string(60, 'a') + "  b'", "Code = '" + std::string(60, 'c') + "'"};
  report.general = {finding};

  EXPECT_THAT(Printed(report), HasSubstr("\n    First rows:\n      Code = '" + std::string(60, 'a') +
                                         "  b'\n      Code = '" + std::string(60, 'c') + "'\n"));
}

TEST(TextReport, ShowsWhatArrivesBesideTheKey) {
  Report report;
  Finding finding = Found(kChanged);
  finding.keys = {"ID = 7", "ID = 8", "ID = 9"};
  finding.arrives = {"'65' arrives as 'A'", "", "'\xE9' arrives as ''"};
  report.general = {finding};

  EXPECT_THAT(Printed(report), HasSubstr("\n    First rows:\n      ID = 7: '65' arrives as 'A'\n"
                                         "      ID = 8\n"
                                         "      ID = 9: '\\xE9' arrives as ''\n"));
}

/// What the report shows of a query.
std::string PrintedQuery(const std::string& sql) {
  Report report;
  Finding finding = Found(kEnds);
  finding.query = Query{Side::Source, sql};
  report.general = {finding};
  const std::string printed = Printed(report);
  const std::string before = "    SQL on the source:\n";
  const std::size_t begin = printed.find(before) + before.size();
  return printed.substr(begin, printed.find("\n\n", begin) + 1 - begin);
}

TEST(TextReport, BreaksLongQueriesWhereThatMeansNothing) {
  const std::string ninetyTwo(92, 'a');
  EXPECT_EQ(PrintedQuery(ninetyTwo + " b"), "      " + ninetyTwo + " b\n");
  EXPECT_EQ(PrintedQuery("a " + ninetyTwo + " b"), "      a " + ninetyTwo + "\n      b\n");
  EXPECT_EQ(PrintedQuery(ninetyTwo + " bb c"), "      " + ninetyTwo + "\n      bb c\n");
  EXPECT_EQ(PrintedQuery(ninetyTwo + ninetyTwo + " b c"), "      " + ninetyTwo + ninetyTwo + "\n      b c\n");
  EXPECT_EQ(PrintedQuery(ninetyTwo + ninetyTwo), "      " + ninetyTwo + ninetyTwo + "\n");
}

TEST(TextReport, BreaksNoQueryInsideQuotes) {
  const std::string blanks(90, ' ');
  for (const std::string& quoted : {"'it''s" + blanks + "'", "\"a name" + blanks + "\"", "[a 'name" + blanks + "]"}) {
    EXPECT_EQ(PrintedQuery("SELECT " + quoted + " FROM t;"), "      SELECT\n      " + quoted + "\n      FROM t;\n");
  }
}

TEST(TextReport, BreaksNoQueryWithAComment) {
  const std::string query = "SELECT 1; -- " + std::string(60, 'a') + " " + std::string(60, 'b');
  EXPECT_EQ(PrintedQuery(query), "      " + query + "\n");
}

TEST(TextReport, ShowsControlCharactersAsNumbersEverywhere) {
  Report report;
  report.facts = {"fact\x1b[2J"};
  Finding finding = Found(kEnds, "text\x07");
  finding.keys = {"Code = 'a\nb\xE9'"};
  finding.query = Query{Side::Source, "SELECT\t'\x1b';"};
  report.general = {finding};
  report.verdict = "end\x1b[0m";

  const std::string printed = Printed(report);
  EXPECT_THAT(printed, HasSubstr("\nfact\\x1B[2J\n"));
  EXPECT_THAT(printed, HasSubstr("\n    text\\x07\n"));
  EXPECT_THAT(printed, HasSubstr("\n    First rows: Code = 'a\\x0Ab\\xE9'\n"));
  EXPECT_THAT(printed, HasSubstr("\n      SELECT\t'\\x1B';\n"));
  EXPECT_THAT(printed, HasSubstr(". end\\x1B[0m\n"));
}

TEST(TextReport, ColoursTheCostAndTheVerdict) {
  Report report;
  report.general = {Found(kEnds), Found(kWrong)};
  report.status = Status::CompleteWithChanges;
  report.verdict = "It ended.";

  const std::string printed = Printed(report, Colour::On);
  EXPECT_THAT(printed, HasSubstr("  \x1b[1;31mRun ends\x1b[0m [b]\n"));
  EXPECT_THAT(printed, HasSubstr("  \x1b[1;33mWrong row\x1b[0m [d]\n"));
  EXPECT_THAT(printed, HasSubstr("\n\x1b[1;33mComplete with changes. It ended.\x1b[0m\n"));
  EXPECT_THAT(Printed(report, Colour::Off), Not(HasSubstr("\x1b")));

  report.general.clear();
  EXPECT_THAT(Printed(report, Colour::On), HasSubstr("\n\x1b[1;32mComplete with changes. It ended.\x1b[0m\n"));
}

TEST(TextReport, BeginsWithWhatWasCompared) {
  Report report;
  report.identity.time = "2026-05-01 23:10:05 +0200";
  report.identity.host = "desk7";
  report.identity.programVersion = "1.0.0";
  report.identity.options = {"--json", "re\x1bport"};
  report.identity.source = {.dataSource = "BrantwellSource",
                            .login = "reader",
                            .schema = "dbo",
                            .server = "sql1",
                            .port = "1433",
                            .database = "brantwell",
                            .product = {},
                            .driver = {}};

  EXPECT_THAT(Printed(report), testing::StartsWith(R"(bw_db_check before
Version 1.0.0, 2026-05-01 23:10:05 +0200, on desk7, options --json re\x1Bport

Source: data source 'BrantwellSource', server 'sql1', port '1433', database 'brantwell', schema
'dbo', login 'reader'.
Destination: data source unknown, server unknown, port unknown, database unknown, schema unknown,
login unknown.
)"));
}

TEST(TextReport, SaysThatItIsPartial) {
  Report report;
  report.onlyTables = {"Clients"};
  report.status = Status::PartialUnchanged;
  report.verdict = "Nothing else.";

  EXPECT_EQ(Printed(report),
            R"(bw_db_check before

Partial report: only the tables below were looked at. It promises nothing about the whole run.

Partial, unchanged. Nothing else.
)");
}

TEST(TextReport, ShowsAcceptedFindings) {
  Report report;
  report.general = {Found(kEnds), Found(kWrong)};
  report.general.front().accepted = true;

  EXPECT_THAT(Printed(report), HasSubstr("\n  Run ends [b], accepted\n    It is so.\n  Wrong row [d]\n"));
}

}  // namespace
}  // namespace check
