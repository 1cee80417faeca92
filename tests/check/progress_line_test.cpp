#include "check/cli/progress_line.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace check {
namespace {

using std::chrono::milliseconds;

class ProgressLineTest : public testing::Test {
 protected:
  /// What was shown since the last call, without what surrounds it.
  std::string Shown() {
    std::string text = terminal_.str();
    terminal_.str("");
    const std::string before = "\r\x1b[K\x1b[?7l";
    const std::string after = "\x1b[?7h";
    if (!text.starts_with(before) || !text.ends_with(after)) {
      return "other: " + text;
    }
    return text.substr(before.size(), text.size() - before.size() - after.size());
  }

  std::ostringstream terminal_;
  ProgressLine::Time now_{std::chrono::hours(1)};
  ProgressLine line_{terminal_, [this] { return now_; }};
};

TEST_F(ProgressLineTest, ShowsEachStepInPlaceOfTheOneBefore) {
  line_.Begin("Connecting");
  EXPECT_EQ(Shown(), "Connecting");
  line_.Begin("Clients");
  EXPECT_EQ(Shown(), "Clients, table 3 of 22");
}

TEST_F(ProgressLineTest, ShowsRowsOnceInAWhileOnly) {
  line_.Begin("Clients");
  Shown();
  now_ += milliseconds(199);
  line_.Rows(10);
  EXPECT_EQ(terminal_.str(), "");
  now_ += milliseconds(1);
  line_.Rows(11);
  EXPECT_EQ(Shown(), "Clients, table 3 of 22, 11 rows");
}

TEST_F(ProgressLineTest, ShowsSpeedAndTimeLeftOfAllTables) {
  // SystemData, GroupDesc, Clients, GroupOrders; of Orders nothing is known.
  line_.Plan({10, 90, 500, 12'000, std::nullopt});
  line_.Begin("SystemData");
  line_.Rows(10);
  line_.Begin("GroupDesc");
  line_.Rows(90);
  line_.Begin("Clients");
  Shown();
  now_ += milliseconds(2000);
  line_.Rows(100);
  EXPECT_EQ(Shown(), "Clients, table 3 of 22, 100 of 500 rows, 100 rows/s, about 2 min left");
  now_ += milliseconds(1000);
  line_.Rows(500);
  EXPECT_EQ(Shown(), "Clients, table 3 of 22, 500 of 500 rows, 200 rows/s, about 60 s left");
  line_.Begin("Orders");
  Shown();
  now_ += milliseconds(1000);
  line_.Rows(3400);
  EXPECT_EQ(Shown(), "Orders, table 5 of 22, 3400 rows, 1000 rows/s");
}

TEST_F(ProgressLineTest, ShowsNoSpeedOfTheFirstSecond) {
  line_.Plan({10});
  line_.Begin("SystemData");
  Shown();
  now_ += milliseconds(999);
  line_.Rows(10);
  EXPECT_EQ(Shown(), "SystemData, table 1 of 22, 10 of 10 rows");
}

TEST(ProgressLine, LeavesAnEmptyLine) {
  std::ostringstream terminal;
  { ProgressLine(terminal).Begin("Clients"); }
  EXPECT_EQ(terminal.str(), "\r\x1b[K\x1b[?7lClients, table 3 of 22\x1b[?7h\r\x1b[K");
}

}  // namespace
}  // namespace check
