#include "check/report/finding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace check {
namespace {

using testing::ElementsAre;

Finding Replaced(const std::string& column, std::uint64_t rows = 3) {
  Finding finding(finding::NullReplaced);
  finding.columns = {column};
  finding.rows = rows;
  finding.keys = {"ID = 1"};
  finding.text = "NULL arrives as a value.";
  finding.query = Query{Side::Source, "SELECT [ID], [" + column + "] FROM t WHERE [" + column + "] IS NULL;"};
  return finding;
}

std::vector<Finding> Merged(std::vector<Finding> findings) {
  Report report;
  report.tables.emplace_back().findings = std::move(findings);
  MergeColumns(report);
  return report.tables.front().findings;
}

TEST(MergeColumns, MakesOneFindingOfThoseThatDifferByTheirColumn) {
  const std::vector<Finding> merged = Merged({Replaced("A"), Finding(finding::TextCut), Replaced("B"), Replaced("C")});

  ASSERT_EQ(merged.size(), 2U);
  EXPECT_THAT(merged[0].columns, ElementsAre("A", "B", "C"));
  EXPECT_EQ(merged[0].rows, 3U);
  EXPECT_EQ(merged[0].query->text,
            "SELECT [ID], [A] FROM t WHERE [A] IS NULL;\nSELECT [ID], [B] FROM t WHERE [B] IS NULL;\n"
            "SELECT [ID], [C] FROM t WHERE [C] IS NULL;");
  EXPECT_EQ(merged[1].kind, &finding::TextCut);
}

TEST(MergeColumns, KeepsApartWhatDiffersOtherwise) {
  Finding otherKeys = Replaced("B");
  otherKeys.keys = {"ID = 2"};
  Finding otherArrivals = Replaced("B");
  otherArrivals.arrives = {"NULL arrives as -1"};
  Finding otherText = Replaced("B");
  otherText.text = "Another text.";
  Finding otherCost = Replaced("B");
  otherCost.cost = Cost::RunEnds;
  Finding otherSide = Replaced("B");
  otherSide.query->side = Side::Destination;
  Finding otherKind(finding::ValueChanged);
  otherKind.columns = {"B"};
  for (const Finding& other :
       {Replaced("B", 4), otherKeys, otherArrivals, otherText, otherCost, otherSide, otherKind}) {
    EXPECT_EQ(Merged({Replaced("A"), other}).size(), 2U);
  }
}

TEST(MergeColumns, KeepsFindingsWithoutColumnsApart) {
  EXPECT_EQ(Merged({Finding(finding::CannotForesee), Finding(finding::CannotForesee)}).size(), 2U);
}

TEST(StatusLine, SaysTheStatusInWords) {
  Report report;
  report.status = Status::CompleteWithChanges;
  EXPECT_EQ(StatusLine(report), "Complete with changes");
  report.status = Status::EndsInTable;
  report.runEndsIn = "Clients";
  EXPECT_EQ(StatusLine(report), "Ends in Clients");
  report.status = Status::GoesThroughUnchanged;
  report.foreseen = false;
  EXPECT_EQ(StatusLine(report), "Goes through unchanged, as far as can be foreseen");
  report.command = Command::After;
  report.status = Status::Complete;
  EXPECT_EQ(StatusLine(report), "Complete, as far as can be compared");
}

TEST(StatusLine, OfAPartialReportSaysSo) {
  Report report;
  report.onlyTables = {"Clients"};
  report.status = Status::PartialWithChanges;
  EXPECT_EQ(StatusLine(report), "Partial, with changes");
  report.status = Status::PartialUnchanged;
  EXPECT_EQ(StatusLine(report), "Partial, unchanged");
  report.status = Status::Different;
  EXPECT_EQ(StatusLine(report), "Partial, different");
  report.status = Status::EndsInTable;
  EXPECT_EQ(StatusLine(report), "Partial, ends in a table that is not shown");
}

TEST(IsUnchanged, WithoutFindingsAndWithAllRows) {
  Report report;
  report.tables.emplace_back();
  report.tables.front().sourceRows = 3;
  EXPECT_TRUE(report.IsUnchanged());  // Nothing says otherwise.
  report.tables.front().unchangedRows = 3;
  EXPECT_TRUE(report.IsUnchanged());
  report.tables.front().unchangedRows = 2;
  EXPECT_FALSE(report.IsUnchanged());
}

TEST(IsUnchanged, WithFindings) {
  Report report;
  report.general = {Finding(finding::DestinationReadOnly)};  // About no row.
  EXPECT_TRUE(report.IsUnchanged());
  report.tables.emplace_back().findings = {Finding(finding::CannotForesee)};
  EXPECT_TRUE(report.IsUnchanged());
  report.tables.emplace_back().findings = {Finding(finding::PointsElsewhere)};
  EXPECT_FALSE(report.IsUnchanged());
}

TEST(HasAllFigures, OnlyWhereNoneIsUnknown) {
  Report report;
  EXPECT_TRUE(report.HasAllFigures());
  TableReport& table = report.tables.emplace_back();
  table.sourceRows = 1;
  table.arrivingRows = 1;
  EXPECT_FALSE(report.HasAllFigures());
  table.unchangedRows = 0;
  EXPECT_TRUE(report.HasAllFigures());
}

}  // namespace
}  // namespace check
