#include "check/before/run_estimate.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <string>

#include "check/rules/catalogue.h"
#include "support/scratch_directory.h"

namespace check {
namespace {

TEST(AboutBytes, TakesAUnitThatFits) {
  EXPECT_EQ(AboutBytes(0), "0 bytes");
  EXPECT_EQ(AboutBytes(1999), "1999 bytes");
  EXPECT_EQ(AboutBytes(2000), "2 KB");
  EXPECT_EQ(AboutBytes(1'999'999), "2000 KB");
  EXPECT_EQ(AboutBytes(12'400'000), "12 MB");
  EXPECT_EQ(AboutBytes(7'000'000'000), "7 GB");
}

TEST(AboutTime, TakesAUnitThatFits) {
  EXPECT_EQ(AboutTime(0.0), "a second");
  EXPECT_EQ(AboutTime(1.2), "2 seconds");
  EXPECT_EQ(AboutTime(119.0), "119 seconds");
  EXPECT_EQ(AboutTime(120.0), "2 minutes");
  EXPECT_EQ(AboutTime(7199.0), "120 minutes");
  EXPECT_EQ(AboutTime(9000.0), "3 hours");
}

TEST(LineOverhead, IsWhatALineHasBesidesItsValues) {
  const auto table =
      std::find_if(Catalogue().begin(), Catalogue().end(), [](const auto& each) { return each.name == "SystemData"; });

  // Number and values are left out.
  const std::string line = "2026-11-21 06:31:12 :: insert row(): [KeyName] = , [KeyValue] = ;\n";
  EXPECT_EQ(LineOverhead(*table), line.size());
}

class LookAtLogTest : public testing::Test {
 protected:
  /// The findings' names and texts, a line each.
  static std::string Found(const std::filesystem::path& log, std::optional<std::uint64_t> needed = {},
                           std::optional<std::uint64_t> free = {}) {
    std::string text;
    for (const Finding& finding : LookAtLog(log, needed, free)) {
      text += std::string(finding.kind->id) + ": " + finding.text + "\n";
    }
    return text;
  }

  support::ScratchDirectory directory_;
  std::filesystem::path log_ = directory_ / "bw_db_migrate.log";
};

TEST_F(LookAtLogTest, FindsNothingWhereThereIsNoneAndLeavesNothing) {
  EXPECT_EQ(Found(log_), "");
  EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
}

TEST_F(LookAtLogTest, FindsNothingWhereItIsEmpty) {
  directory_.Write("bw_db_migrate.log", "");
  EXPECT_EQ(Found(log_), "");
}

TEST_F(LookAtLogTest, FindsOneThatIsOverwrittenAndLeavesIt) {
  directory_.Write("bw_db_migrate.log", std::string(3000, 'x'));
  EXPECT_EQ(Found(log_),
            "log-overwritten: bw_db_migrate.log holds a log of 3 KB, which the run overwrites as soon as it starts. "
            "Move it away if you need it.\n");
  EXPECT_EQ(support::ReadFile(log_), std::string(3000, 'x'));
}

TEST_F(LookAtLogTest, FindsADirectory) {
  std::filesystem::create_directory(log_);
  EXPECT_EQ(Found(log_),
            "log-not-written: bw_db_migrate.log is not a regular file: the run cannot write a log. It goes on without "
            "one, and no message shows why it ended.\n");
}

TEST_F(LookAtLogTest, FindsAPipeAndDoesNotWaitForItsReader) {
  ASSERT_EQ(mkfifo(log_.c_str(), 0600), 0);
  EXPECT_EQ(
      Found(log_),
      "log-not-written: bw_db_migrate.log is not a regular file: the check after the run cannot read what the run "
      "writes there.\n");
}

TEST_F(LookAtLogTest, FindsADirectoryThatDoesNotExist) {
  const std::filesystem::path log = directory_ / "missing/bw_db_migrate.log";
  EXPECT_EQ(Found(log), "log-not-written: bw_db_migrate.log cannot be written (cannot write " + log.string() +
                            ": No such file or directory): the run goes on without a log, and no message shows why it "
                            "ended.\n");
}

TEST_F(LookAtLogTest, FindsTooLittleRoom) {
  EXPECT_EQ(Found(log_, 5'000'000, 4'999'999),
            "log-not-written: The disk of bw_db_migrate.log has about 5 MB for it, and the log will take about 5 MB: "
            "the run goes on when the disk is full, but what it logs then is lost.\n");
  EXPECT_EQ(Found(log_, 5'000'000, 5'000'000), "");
}

TEST_F(LookAtLogTest, CountsTheRoomOfTheLogThatIsOverwritten) {
  directory_.Write("bw_db_migrate.log", std::string(3000, 'x'));
  EXPECT_EQ(LookAtLog(log_, 5000, 2000).size(), 1);
  EXPECT_EQ(LookAtLog(log_, 5000, 1999).size(), 2);
}

TEST_F(LookAtLogTest, SaysNothingOfRoomThatIsNotKnown) {
  EXPECT_EQ(Found(log_, 5'000'000, {}), "");
  EXPECT_EQ(Found(log_, {}, 0), "");
}

}  // namespace
}  // namespace check
