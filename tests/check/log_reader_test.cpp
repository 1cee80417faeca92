#include "check/after/log_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "support/scratch_directory.h"

namespace {

using check::LoggedTable;
using check::MigrationLog;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kTime = "2026-11-21 06:31:12 :: ";

std::string Entry(std::string_view text) {
  return std::string(kTime) + std::string(text);
}

std::string Start(std::string_view table) {
  return Entry("Start migrate " + std::string(table) + " table\n");
}

std::string Complete(std::string_view table, int rows) {
  return Entry("Complete migrate " + std::string(table) + " table. Total rows read = " + std::to_string(rows) +
               " Total migrated rows = " + std::to_string(rows) + ". Migration time is 3 milliseconds\n");
}

/// A row of SystemData.
std::string Row(int number, std::string_view name = "dbver", std::string_view value = "29") {
  return Entry("insert row(" + std::to_string(number) + "): [KeyName] = " + std::string(name) +
               ", [KeyValue] = " + std::string(value) + ";\n");
}

MigrationLog Read(std::string_view text, std::size_t piece = std::string::npos) {
  check::LogReader reader;
  while (!text.empty()) {
    reader.Feed(text.substr(0, piece));
    text.remove_prefix(std::min(piece, text.size()));
  }
  return reader.Finish();
}

/// The tables as "name rows" with "." behind those that were completed.
std::vector<std::string> Tables(const MigrationLog& log) {
  std::vector<std::string> texts;
  for (const LoggedTable& table : log.tables) {
    texts.push_back(table.name + " " + std::to_string(table.rows) + (table.completed ? "." : ""));
  }
  return texts;
}

TEST(LogReader, ReadsAnEmptyLog) {
  const MigrationLog log = Read("");

  EXPECT_THAT(log.tables, IsEmpty());
  EXPECT_EQ(log.error, std::nullopt);
  EXPECT_EQ(log.firstTime, "");
  EXPECT_FALSE(log.brokenOff);
  EXPECT_EQ(log.foreignLines, 0U);
}

TEST(LogReader, CountsTheRowsOfEachTable) {
  const MigrationLog log = Read(Start("SystemData") + Row(1) + Row(2) + Complete("SystemData", 2) + Start("GroupDesc") +
                                Complete("GroupDesc", 0));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 2.", "GroupDesc 0."));
  EXPECT_EQ(log.error, std::nullopt);
  EXPECT_FALSE(log.brokenOff);
  EXPECT_EQ(log.takenBack, 0U);
  EXPECT_EQ(log.foreignLines, 0U);
}

TEST(LogReader, TellsWhenTheRunBeganAndEnded) {
  const MigrationLog log = Read(
      "2026-11-21 23:59:58 :: Start migrate SystemData table\n"
      "2026-11-22 00:00:01 :: Complete migrate SystemData table. Total rows read = 0 Total migrated rows = 0. "
      "Migration time is -1000 milliseconds\n");

  EXPECT_EQ(log.firstTime, "2026-11-21 23:59:58");
  EXPECT_EQ(log.lastTime, "2026-11-22 00:00:01");
}

TEST(LogReader, TakesTheLastEntryForTheError) {
  const MigrationLog log = Read(Start("SystemData") + Row(1) + Entry("SQL Error: State = 23505 Code = 1"));

  EXPECT_EQ(log.error, "SQL Error: State = 23505 Code = 1");
  EXPECT_THAT(Tables(log), ElementsAre("SystemData 1"));
  EXPECT_FALSE(log.brokenOff);
}

TEST(LogReader, TakesAnErrorOfSeveralLines) {
  const MigrationLog log = Read(Start("SystemData") + Row(1) +
                                Entry("SQL Error: State = 42P01 Code = 1 Message = ERROR: relation is missing;\n"
                                      "Error while executing the query"));

  EXPECT_EQ(log.error,
            "SQL Error: State = 42P01 Code = 1 Message = ERROR: relation is missing;\nError while executing the query");
}

TEST(LogReader, TakesARefusalForTheError) {
  const MigrationLog log = Read(Entry("Error: Migration is only possible from Microsoft SQL Server to PostgreSQL"));

  EXPECT_EQ(log.error, "Error: Migration is only possible from Microsoft SQL Server to PostgreSQL");
  EXPECT_THAT(log.tables, IsEmpty());
}

TEST(LogReader, TakesAnEmptyError) {
  EXPECT_EQ(Read(Start("SystemData") + Complete("SystemData", 0) + Entry("")).error, "");
}

TEST(LogReader, TakesAnErrorBehindTheStartOfATable) {
  const MigrationLog log = Read(Start("SystemData") + Entry("SQL Error: no"));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 0"));
  EXPECT_EQ(log.error, "SQL Error: no");
}

TEST(LogReader, KeepsTheBeginningOfALongError) {
  const MigrationLog log = Read(Entry(std::string(100'000, 'x')));

  EXPECT_EQ(log.error, std::string(8192, 'x'));
}

TEST(LogReader, ReadsTheLineEndsOfWindows) {
  const MigrationLog log = Read(
      "2026-11-21 06:31:12 :: Start migrate SystemData table\r\n"
      "2026-11-21 06:31:12 :: insert row(1): [KeyName] = dbver, [KeyValue] = 29;\r\n"
      "2026-11-21 06:31:12 :: Complete migrate SystemData table. Total rows read = 1 Total migrated rows = 1. "
      "Migration time is 0 milliseconds\r\n");

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 1."));
  EXPECT_FALSE(log.brokenOff);
}

TEST(LogReader, TellsALogThatBreaksOffInARow) {
  const MigrationLog log = Read(Start("SystemData") + Row(1) + Entry("insert row(2): [KeyName] = db"));

  EXPECT_TRUE(log.brokenOff);
  EXPECT_THAT(Tables(log), ElementsAre("SystemData 2"));
  EXPECT_EQ(log.error, std::nullopt);
}

// Wherever it breaks off, what is left of an entry is no error.
TEST(LogReader, TakesNoBrokenEntryForAnError) {
  const std::string begun = Start("SystemData") + Row(1) + Complete("SystemData", 1) + Start("GroupDesc");
  for (std::size_t length = 0; length <= begun.size(); ++length) {
    const MigrationLog log = Read(begun.substr(0, length));

    const std::string left = begun.substr(0, length);
    // Here an error without a text cannot be told apart.
    if (!left.ends_with(" :: ")) {
      ASSERT_EQ(log.error, std::nullopt) << left;
      ASSERT_EQ(log.brokenOff, !(left.empty() || left.ends_with('\n') || left.ends_with("milliseconds"))) << left;
    }
    ASSERT_EQ(log.foreignLines, 0U) << left;
  }
}

TEST(LogReader, GivesTheSameForEveryPiece) {
  const std::string text = Start("SystemData") + Row(1, "a", "b\r\nc\r") + Row(2, "x;", "\n\n;\r") +
                           Complete("SystemData", 2) + Start("GroupDesc") + Entry("SQL Error:\nof two lines");
  for (std::size_t piece = 1; piece < 80; ++piece) {
    const MigrationLog log = Read(text, piece);

    ASSERT_THAT(Tables(log), ElementsAre("SystemData 2.", "GroupDesc 0")) << piece;
    ASSERT_EQ(log.error, "SQL Error:\nof two lines") << piece;
  }
}

TEST(LogReader, ReadsRowsWithLineEndsInTheirTexts) {
  const MigrationLog log = Read(Start("SystemData") + Row(1, "first\nline", "second;\n\nline") + Row(2, "\n", "\n;\n") +
                                Complete("SystemData", 2));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 2."));
  EXPECT_EQ(log.foreignLines, 0U);
}

// Texts that look like entries.

TEST(LogReader, TakesNoEntryInsideATextThatGoesOn) {
  const std::string text = "x;\n" + Start("GroupDesc") + Complete("SystemData", 1) +
                           Entry("insert row(2): [KeyName] = ") + ";\n" + Entry("SQL Error: ;\n") + "end";
  const MigrationLog log = Read(Start("SystemData") + Row(1, text, "29") + Row(2) + Complete("SystemData", 2));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 2."));
  EXPECT_EQ(log.error, std::nullopt);
  EXPECT_EQ(log.takenBack, 0U);
}

TEST(LogReader, TakesBackAnErrorThatWasALineOfAText) {
  const MigrationLog log =
      Read(Start("SystemData") + Row(1, "a", "x;\n" + Entry("SQL Error: none")) + Row(2) + Complete("SystemData", 2));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 2."));
  EXPECT_EQ(log.error, std::nullopt);
  EXPECT_EQ(log.takenBack, 1U);
}

TEST(LogReader, TakesBackAnErrorThatWasTheEndOfTheLastRow) {
  const MigrationLog log = Read(Start("SystemData") + Row(1, "a", "x;\n" + Entry("SQL Error: none")));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 1"));
  EXPECT_EQ(log.error, std::nullopt);
  EXPECT_EQ(log.takenBack, 1U);
}

TEST(LogReader, TakesBackARowThatWasALineOfAText) {
  const std::string text = "x;\n" + Entry("insert row(2): [KeyName] = y");
  const MigrationLog log = Read(Start("SystemData") + Row(1, "a", text) + Row(2) + Row(3) + Complete("SystemData", 3));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 3."));
  EXPECT_EQ(log.takenBack, 1U);
}

TEST(LogReader, TakesNoRowBehindALineThatDoesNotEndARow) {
  const std::string text = "x\n" + Entry("insert row(2): [KeyName] = y, [KeyValue] = z");
  const MigrationLog log = Read(Start("SystemData") + Row(1, "a", text) + Row(2) + Complete("SystemData", 2));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 2."));
  EXPECT_EQ(log.takenBack, 0U);
}

TEST(LogReader, DoesNotTakeARowOfAnotherTable) {
  const std::string text = "x;\n" + Entry("insert row(2): [GroupID] = y");
  const MigrationLog log = Read(Start("SystemData") + Row(1, "a", text) + Row(2) + Complete("SystemData", 2));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 2."));
  EXPECT_EQ(log.takenBack, 0U);
}

TEST(LogReader, DoesNotTakeASummaryThatCountsOtherRows) {
  const MigrationLog log =
      Read(Start("SystemData") + Row(1, "a", "x;\n" + Complete("SystemData", 7)) + Row(2) + Complete("SystemData", 2));

  EXPECT_THAT(Tables(log), ElementsAre("SystemData 2."));
}

// What is no log of one run.

TEST(LogReader, CountsLinesBeforeTheFirstEntry) {
  const MigrationLog log = Read("#!/bin/sh\necho\n" + Start("SystemData"));

  EXPECT_EQ(log.foreignLines, 2U);
}

TEST(LogReader, CountsEntriesOutOfTheirOrder) {
  EXPECT_EQ(Read(Start("GroupDesc")).foreignLines, 1U);
  EXPECT_EQ(Read(Start("SystemData") + Complete("SystemData", 0) + Start("Clients")).foreignLines, 1U);
  EXPECT_EQ(Read(Start("SystemData") + Complete("SystemData", 3)).foreignLines, 1U);
  EXPECT_EQ(Read(Start("SystemData") + Row(2)).foreignLines, 1U);
  EXPECT_EQ(Read(Start("SystemData") + Start("SystemData")).foreignLines, 1U);
}

TEST(LogReader, ReadsALineWithoutEndInLittleMemory) {
  check::LogReader reader;
  const std::string piece(1U << 16U, 'x');
  for (int n = 0; n < 1000; ++n) {
    reader.Feed(piece);
  }

  EXPECT_EQ(reader.Finish().foreignLines, 1U);
}

// Files.

TEST(LogReader, ReadsAFile) {
  const support::ScratchDirectory directory;
  const std::filesystem::path path = directory.path() / "bw_db_migrate.log";
  std::string text = Start("SystemData");
  for (int row = 1; row <= 10'000; ++row) {
    text += Row(row);
  }
  std::ofstream(path) << text << Complete("SystemData", 10'000);

  const std::optional<MigrationLog> log = check::ReadLog(path);

  ASSERT_TRUE(log.has_value());
  EXPECT_THAT(Tables(*log), ElementsAre("SystemData 10000."));
}

TEST(LogReader, SaysThatThereIsNoFile) {
  const support::ScratchDirectory directory;

  EXPECT_FALSE(check::ReadLog(directory.path() / "bw_db_migrate.log").has_value());
}

TEST(LogReader, RefusesADirectory) {
  const support::ScratchDirectory directory;

  EXPECT_THROW(check::ReadLog(directory.path()), std::runtime_error);
}

TEST(LogReader, RefusesADeviceWithoutReadingIt) {
  const support::ScratchDirectory directory;
  const std::filesystem::path path = directory.path() / "bw_db_migrate.log";
  std::filesystem::create_symlink("/dev/zero", path);

  EXPECT_THROW(check::ReadLog(path), std::runtime_error);
}

TEST(LogReader, RefusesAPipeWithoutWaitingForAWriter) {
  const support::ScratchDirectory directory;
  const std::filesystem::path path = directory.path() / "bw_db_migrate.log";
  ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);

  EXPECT_THROW(check::ReadLog(path), std::runtime_error);
}

TEST(LogReader, SeesThatALogGrows) {
  const support::ScratchDirectory directory;
  const std::filesystem::path path = directory.path() / "bw_db_migrate.log";
  const check::LogStamp none = check::StampOf(path);
  EXPECT_EQ(check::StampOf(path), none);
  std::ofstream(path) << Start("SystemData");
  const check::LogStamp begun = check::StampOf(path);
  EXPECT_NE(begun, none);
  EXPECT_EQ(check::StampOf(path), begun);
  std::ofstream(path, std::ios_base::app) << Row(1);
  EXPECT_NE(check::StampOf(path), begun);
}

}  // namespace
