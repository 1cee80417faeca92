#include "check/after/run_end.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "check/rules/catalogue.h"

namespace check {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Reason = RunEnd::Reason;
using State = RunEnd::State;
using Worth = LogJudgement::Worth;

constexpr std::size_t kTables = 22;
constexpr std::size_t kLast = 21;

TableFigures Full(std::uint64_t rows = 10) {
  return {.arriving = rows, .present = rows};
}

/// Of ten rows, those that are there.
TableFigures Begun(std::uint64_t rows) {
  return {.arriving = 10, .present = rows, .missing = 10 - rows, .missingAtEnd = true};
}

TableFigures WithHoles(std::uint64_t rows) {
  return {.arriving = 10, .present = rows, .missing = 10 - rows, .missingAtEnd = false};
}

TableFigures Changed() {
  return {.arriving = 10, .present = 10, .different = 1};
}

/// Ten rows of the source, of which one is refused; there are those before it.
TableFigures EndedAtRefusal(std::uint64_t before) {
  return {.arriving = before, .refused = 1, .present = before, .missing = 9 - before, .missingAtEnd = true};
}

/// Those of a run that came to its end.
AllFigures AllFull() {
  return {kTables, Full()};
}

/// Those of a run that ended in a table and found all empty.
AllFigures EndedIn(std::size_t table, std::uint64_t rows) {
  AllFigures figures = AllFull();
  for (std::size_t i = table; i < kTables; ++i) {
    figures[i] = Begun(i == table ? rows : 0);
  }
  return figures;
}

/// A log of ten rows for each of the first tables, with a summary.
MigrationLog Completing(std::size_t tables) {
  MigrationLog log;
  for (std::size_t i = 0; i < tables; ++i) {
    log.tables.push_back({.name = std::string(Catalogue()[i].name), .rows = 10, .completed = true});
  }
  return log;
}

MigrationLog BreakingOffIn(std::size_t table, std::uint64_t rows) {
  MigrationLog log = Completing(table);
  log.tables.push_back({.name = std::string(Catalogue()[table].name), .rows = rows, .completed = false});
  return log;
}

MigrationLog FailingIn(std::size_t table, std::uint64_t rows, std::string_view error = "SQL Error: no") {
  MigrationLog log = BreakingOffIn(table, rows);
  log.error = error;
  return log;
}

struct Expected {
  State state;
  Reason reason;
  std::optional<std::size_t> table;
};

void ExpectEnd(const AllFigures& figures, const std::optional<MigrationLog>& log, const Expected& expected,
               bool atWork = false) {
  const RunEnd end = FindRunEnd(figures, log, atWork);
  EXPECT_EQ(end.state, expected.state);
  EXPECT_EQ(end.reason, expected.reason);
  EXPECT_EQ(end.table, expected.table);
}

constexpr Expected kComplete{.state = State::Complete, .reason = Reason::None, .table = std::nullopt};
constexpr Expected kDifferent{.state = State::Different, .reason = Reason::None, .table = std::nullopt};

Expected Incomplete(std::size_t table, Reason reason) {
  return {.state = State::Incomplete, .reason = reason, .table = table};
}

// A complete run is complete whatever its log says.

TEST(RunEnd, IsNoneWhenAllIsThere) {
  ExpectEnd(AllFull(), Completing(kTables), kComplete);
  ExpectEnd(AllFull(), std::nullopt, kComplete);
  ExpectEnd(AllFull(), MigrationLog{}, kComplete);
}

TEST(RunEnd, IsNoneWhenAllIsThereAndTheLogBreaksOffAnywhere) {
  for (std::size_t table = 0; table < kTables; ++table) {
    ExpectEnd(AllFull(), BreakingOffIn(table, 7), kComplete);
    ExpectEnd(AllFull(), Completing(table), kComplete);
    ExpectEnd(AllFull(), FailingIn(table, 10), kComplete);
  }
}

TEST(RunEnd, IsNoneWhenWhatCouldBeComparedIsThere) {
  AllFigures figures = AllFull();
  figures[4] = std::nullopt;
  ExpectEnd(figures, Completing(4), kComplete);
}

// The tables alone.

TEST(RunEnd, IsInTheTableThatLacksRowsWhenNoLaterOneIsFull) {
  ExpectEnd(EndedIn(9, 3), std::nullopt, Incomplete(9, Reason::RowsEnd));
  ExpectEnd(EndedIn(9, 0), std::nullopt, Incomplete(9, Reason::RowsEnd));
  ExpectEnd(EndedIn(0, 0), std::nullopt, Incomplete(0, Reason::RowsEnd));
}

TEST(RunEnd, IsInTheTableThatLacksRowsWhenLaterOnesHoldOlderRows) {
  AllFigures figures = EndedIn(9, 3);
  figures[11] = {.arriving = 10, .present = 12, .missing = 4, .unexpected = 6};
  figures[12] = {.arriving = 10, .present = 10, .different = 10, .missingAtEnd = false};
  figures[12]->missing = 1;
  ExpectEnd(figures, std::nullopt, Incomplete(9, Reason::RowsEnd));
}

TEST(RunEnd, IsNotInATableBeforeAFullOne) {
  AllFigures figures = AllFull();
  figures[9] = WithHoles(8);
  ExpectEnd(figures, std::nullopt, kDifferent);
  figures[9] = Begun(3);
  ExpectEnd(figures, std::nullopt, kDifferent);
  figures = EndedIn(9, 3);
  figures[3] = WithHoles(8);
  ExpectEnd(figures, std::nullopt, Incomplete(9, Reason::RowsEnd));
}

TEST(RunEnd, TablesWithoutRowsToMigrateSayNothing) {
  AllFigures figures = EndedIn(9, 3);
  figures[10] = Full(0);
  figures[15] = Full(0);
  ExpectEnd(figures, std::nullopt, Incomplete(9, Reason::RowsEnd));
}

TEST(RunEnd, IsNotInATableWithRowsThatNobodyExpects) {
  AllFigures figures = AllFull();
  for (std::size_t i = 9; i < kTables; ++i) {
    figures[i] = TableFigures{.arriving = 10, .present = 11, .missing = 1, .unexpected = 2};
  }
  ExpectEnd(figures, std::nullopt, kDifferent);
}

TEST(RunEnd, CannotBeToldInTheLastTableWithRows) {
  AllFigures figures = AllFull();
  figures[kLast] = Begun(4);
  const Expected undecided{.state = State::Different, .reason = Reason::Undecided, .table = kLast};
  ExpectEnd(figures, std::nullopt, undecided);
  // It breaks off earlier: the run went on, but nobody knows how far.
  ExpectEnd(figures, BreakingOffIn(20, 4), undecided);
  ExpectEnd(figures, BreakingOffIn(kLast, 2), Incomplete(kLast, Reason::LogBreaksOff));
  ExpectEnd(figures, FailingIn(kLast, 4), Incomplete(kLast, Reason::LoggedError));
  ExpectEnd(figures, Completing(kTables), kDifferent);
}

TEST(RunEnd, LooksPastTablesThatCouldNotBeCompared) {
  AllFigures figures = EndedIn(9, 3);
  figures[5] = std::nullopt;
  figures[12] = std::nullopt;
  ExpectEnd(figures, std::nullopt, Incomplete(9, Reason::RowsEnd));
}

// Rows that the destination refuses.

TEST(RunEnd, IsWhereTheDestinationRefusesARow) {
  AllFigures figures = EndedIn(9, 3);
  figures[9] = EndedAtRefusal(3);
  ExpectEnd(figures, std::nullopt, Incomplete(9, Reason::RowRefused));
  // The last row is refused, so none is missing that the destination accepts.
  figures[9] = EndedAtRefusal(9);
  ExpectEnd(figures, std::nullopt, Incomplete(9, Reason::RowRefused));
  // Later tables hold what an earlier run brought.
  figures = AllFull();
  figures[9] = EndedAtRefusal(3);
  ExpectEnd(figures, std::nullopt, Incomplete(9, Reason::RowRefused));
  figures = AllFull();
  figures[kLast] = EndedAtRefusal(0);
  ExpectEnd(figures, std::nullopt, Incomplete(kLast, Reason::RowRefused));
}

TEST(RunEnd, IsNotWhereARowIsRefusedThatIsThere) {
  AllFigures figures = AllFull();
  figures[9] = TableFigures{.arriving = 3, .refused = 1, .present = 10, .unexpected = 1};
  ExpectEnd(figures, std::nullopt, kDifferent);
}

// The log.

TEST(RunEnd, IsWhereTheLogHasAnError) {
  ExpectEnd(EndedIn(9, 3), FailingIn(9, 3), Incomplete(9, Reason::LoggedError));
  // An earlier run filled all tables, and this one could not empty one of them.
  AllFigures figures = AllFull();
  figures[12] = Changed();
  MigrationLog log = Completing(9);
  log.error = "SQL Error: no";
  ExpectEnd(figures, log, Incomplete(9, Reason::LoggedError));
}

TEST(RunEnd, AnErrorSaysNothingOfTheTablesBefore) {
  AllFigures figures = AllFull();
  figures[3] = Changed();
  ExpectEnd(figures, FailingIn(9, 10), kDifferent);
}

TEST(RunEnd, IsWhereTheLogHasAnErrorThoughTheTableCouldNotBeCompared) {
  AllFigures figures = AllFull();
  figures[kLast] = std::nullopt;
  ExpectEnd(figures, FailingIn(kLast, 4), Incomplete(kLast, Reason::LoggedError));
}

TEST(RunEnd, IsWhereTheLogHasAnErrorThoughNoRowsAreMissing) {
  AllFigures figures = AllFull();
  figures[20] = Full(0);
  figures[kLast] = Full(0);
  ExpectEnd(figures, FailingIn(20, 0), Incomplete(20, Reason::LoggedError));
}

TEST(RunEnd, IsNotInATableThatTheLogCompletes) {
  AllFigures figures = EndedIn(9, 3);
  figures[8] = WithHoles(9);
  ExpectEnd(figures, std::nullopt, Incomplete(8, Reason::RowsEnd));
  ExpectEnd(figures, BreakingOffIn(9, 1), Incomplete(9, Reason::RowsEnd));
}

TEST(RunEnd, IsLaterThanTheLogBreaksOff) {
  ExpectEnd(EndedIn(9, 3), BreakingOffIn(9, 1), Incomplete(9, Reason::RowsEnd));
  ExpectEnd(EndedIn(9, 3), BreakingOffIn(7, 5), Incomplete(9, Reason::RowsEnd));
  ExpectEnd(EndedIn(9, 3), Completing(6), Incomplete(9, Reason::RowsEnd));
  ExpectEnd(EndedIn(9, 3), MigrationLog{}, Incomplete(9, Reason::RowsEnd));
}

TEST(RunEnd, IsFoundBeforeWhatAnEqualEarlierRunBrought) {
  AllFigures figures = AllFull();
  figures[9] = Begun(3);
  ExpectEnd(figures, BreakingOffIn(9, 1), Incomplete(9, Reason::LogBreaksOff));
  ExpectEnd(figures, BreakingOffIn(7, 5), Incomplete(9, Reason::LogBreaksOff));
  // Rows in the middle were deleted.
  figures[9] = WithHoles(3);
  ExpectEnd(figures, BreakingOffIn(7, 5), kDifferent);
  figures[9] = Begun(3);
  ExpectEnd(figures, Completing(kTables), kDifferent);
}

TEST(RunEnd, ALogThatBreaksOffDoesNotEndARunWhoseRowsWereChanged) {
  AllFigures figures = AllFull();
  figures[9] = Changed();
  ExpectEnd(figures, BreakingOffIn(7, 5), kDifferent);
}

TEST(RunEnd, AnErrorWithoutATextIsALogThatBreaksOff) {
  ExpectEnd(AllFull(), FailingIn(9, 10, ""), kComplete);
  ExpectEnd(EndedIn(12, 3), FailingIn(9, 10, ""), Incomplete(12, Reason::RowsEnd));
}

// A run that is still at work.

TEST(RunEnd, IsNotYetKnownWhileTheRunIsAtWork) {
  ExpectEnd(EndedIn(9, 3), BreakingOffIn(8, 3), Incomplete(9, Reason::AtWork), true);
  ExpectEnd(AllFull(), BreakingOffIn(8, 3), Incomplete(8, Reason::AtWork), true);
  ExpectEnd(AllFull(), std::nullopt, {.state = State::Incomplete, .reason = Reason::AtWork, .table = std::nullopt},
            true);
}

// What the log is worth.

TEST(LogJudgement, KnowsAMissingAndAnUnclearLog) {
  EXPECT_EQ(JudgeLog(std::nullopt, AllFull()).worth, Worth::Missing);
  MigrationLog log = Completing(kTables);
  log.foreignLines = 1;
  EXPECT_EQ(JudgeLog(log, AllFull()).worth, Worth::Unclear);
}

TEST(LogJudgement, TakesALogThatCountsTheSameRows) {
  EXPECT_EQ(JudgeLog(Completing(kTables), AllFull()).worth, Worth::Reliable);
  EXPECT_EQ(JudgeLog(FailingIn(9, 3), EndedIn(9, 3)).worth, Worth::Reliable);
  EXPECT_EQ(JudgeLog(MigrationLog{}, EndedIn(0, 0)).worth, Worth::Reliable);
}

TEST(LogJudgement, TakesALogThatLagsBehindTheRows) {
  EXPECT_EQ(JudgeLog(BreakingOffIn(9, 1), EndedIn(9, 3)).worth, Worth::Reliable);
  EXPECT_EQ(JudgeLog(BreakingOffIn(7, 1), EndedIn(9, 3)).worth, Worth::Reliable);
}

TEST(LogJudgement, TakesTheLogOfARunWhoseRowsWereDeletedLater) {
  AllFigures figures = AllFull();
  figures[9] = WithHoles(8);
  EXPECT_EQ(JudgeLog(Completing(kTables), figures).worth, Worth::Reliable);
}

TEST(LogJudgement, KnowsTheLogOfAnotherRun) {
  MigrationLog log = Completing(kTables);
  log.tables[5].rows = 9;
  log.tables[7].rows = 11;
  const LogJudgement judgement = JudgeLog(log, AllFull());
  EXPECT_EQ(judgement.worth, Worth::OtherRun);
  EXPECT_THAT(judgement.tables, ElementsAre(5, 7));

  EXPECT_EQ(JudgeLog(FailingIn(9, 2), EndedIn(9, 3)).worth, Worth::OtherRun);
  EXPECT_EQ(JudgeLog(BreakingOffIn(9, 11), EndedIn(9, 3)).worth, Worth::OtherRun);
}

TEST(LogJudgement, KnowsTheLogOfARunThatBroughtNothingOfWhatIsThere) {
  MigrationLog log;
  log.error = "Error: refused";
  const LogJudgement judgement = JudgeLog(log, AllFull());
  EXPECT_EQ(judgement.worth, Worth::OtherRun);
  EXPECT_THAT(judgement.tables, IsEmpty());
  EXPECT_EQ(JudgeLog(log, EndedIn(0, 0)).worth, Worth::Reliable);
}

TEST(LogJudgement, DoesNotAskTablesThatCouldNotBeCompared) {
  AllFigures figures = AllFull();
  figures[5] = std::nullopt;
  MigrationLog log = Completing(kTables);
  log.tables[5].rows = 9;
  EXPECT_EQ(JudgeLog(log, figures).worth, Worth::Reliable);
}

TEST(Log, BreaksOffUnlessItEndsWithAnErrorOrTheLastTable) {
  EXPECT_TRUE(BreaksOff(MigrationLog{}));
  EXPECT_TRUE(BreaksOff(BreakingOffIn(9, 1)));
  EXPECT_TRUE(BreaksOff(Completing(kLast)));
  EXPECT_TRUE(BreaksOff(FailingIn(9, 1, "")));
  EXPECT_FALSE(BreaksOff(FailingIn(9, 1)));
  EXPECT_FALSE(BreaksOff(Completing(kTables)));
}

}  // namespace
}  // namespace check
