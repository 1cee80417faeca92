#include "logging/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "support/scratch_directory.h"

namespace {

using testing::MatchesRegex;

constexpr const char* kTimeStamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";

TEST(Logger, WritesTimeStampAndTextWithoutLineEnd) {
  const support::ScratchDirectory directory;
  Logger logger;
  ASSERT_TRUE(logger.Open(directory / "log"));
  logger.Log("one\n");
  logger.Log("two");
  logger.Log("three");
  logger.Close();
  const std::string stamp = kTimeStamp;
  EXPECT_THAT(support::ReadFile(directory / "log"),
              MatchesRegex(stamp + " :: one\n" + stamp + " :: two" + stamp + " :: three"));
}

TEST(Logger, EmptiesAnExistingFile) {
  const support::ScratchDirectory directory;
  directory.Write("log", "what was there before");
  Logger logger;
  ASSERT_TRUE(logger.Open(directory / "log"));
  logger.Close();
  EXPECT_EQ(support::ReadFile(directory / "log"), "");
}

TEST(Logger, DropsTextWhileItIsNotOpen) {
  const support::ScratchDirectory directory;
  Logger logger;
  logger.Log("before it was opened");
  ASSERT_TRUE(logger.Open(directory / "log"));
  logger.Close();
  EXPECT_EQ(support::ReadFile(directory / "log"), "");
}

TEST(Logger, DropsTextAfterItCouldNotBeOpened) {
  const support::ScratchDirectory directory;
  Logger logger;
  EXPECT_FALSE(logger.Open(directory.path()));
  logger.Log("nowhere");
  logger.Close();
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(Logger, ChannelsAreIndependent) {
  const support::ScratchDirectory directory;
  Logger opened;
  Logger other;
  ASSERT_TRUE(opened.Open(directory / "log"));
  other.Log("dropped");
  opened.Close();
  EXPECT_EQ(support::ReadFile(directory / "log"), "");
}

// "YYYY-MM-DD hh:mm:ss :: "
constexpr std::size_t kBeforeText = 23;
constexpr std::size_t kBlock = 8192;

TEST(Logger, WritesWholeBlocksAndTheRestWhenItIsClosed) {
  const support::ScratchDirectory directory;
  Logger logger;
  ASSERT_TRUE(logger.Open(directory / "log"));
  const auto size = [&] { return std::filesystem::file_size(directory / "log"); };
  logger.Log(std::string(kBlock - kBeforeText - 1, 'a'));
  EXPECT_EQ(size(), 0U);
  logger.Log("b");
  EXPECT_EQ(size(), kBlock);
  logger.Log(std::string(3 * kBlock, 'c'));
  EXPECT_EQ(size(), 4 * kBlock);
  logger.Close();
  const std::string text = support::ReadFile(directory / "log");
  EXPECT_EQ(text.size(), kBlock - 1 + kBeforeText + 1 + kBeforeText + 3 * kBlock);
  const std::string before = " :: ";
  EXPECT_THAT(text, MatchesRegex(std::string(kTimeStamp) + before + "a+" + kTimeStamp + before + "b" + kTimeStamp +
                                 before + "c+"));
}

TEST(Logger, WritesABlockAsSoonAsItIsFull) {
  const support::ScratchDirectory directory;
  Logger logger;
  ASSERT_TRUE(logger.Open(directory / "log"));
  logger.Log(std::string(kBlock - kBeforeText, 'a'));
  EXPECT_EQ(std::filesystem::file_size(directory / "log"), kBlock);
}

TEST(Logger, WritesTheRestWhenItIsDestroyed) {
  const support::ScratchDirectory directory;
  {
    Logger logger;
    ASSERT_TRUE(logger.Open(directory / "log"));
    logger.Log("one");
  }
  EXPECT_THAT(support::ReadFile(directory / "log"), MatchesRegex(std::string(kTimeStamp) + " :: one"));
}

TEST(Logger, ShowsLocalTime) {
  // Two fixed zones eleven hours apart can not show the same hour.
  const support::ScratchDirectory directory;
  const auto hourIn = [&](const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
    Logger logger;
    logger.Open(directory / "log");
    logger.Log("");
    logger.Close();
    return support::ReadFile(directory / "log").substr(11, 2);
  };
  const std::string west = hourIn("WEST+5");
  const std::string east = hourIn("EAST-6");
  unsetenv("TZ");
  tzset();
  EXPECT_NE(west, east);
}

}  // namespace
