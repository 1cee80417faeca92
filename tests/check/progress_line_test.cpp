#include "check/cli/progress_line.h"

#include <gtest/gtest.h>

#include <sstream>

namespace check {
namespace {

TEST(ProgressLine, ShowsEachStepInPlaceOfTheOneBefore) {
  std::ostringstream terminal;
  ProgressLine line(terminal);
  line.Begin("Clients");
  line.Begin("Orders");
  EXPECT_EQ(terminal.str(), "\r\x1b[KClients\r\x1b[KOrders");
}

TEST(ProgressLine, LeavesAnEmptyLine) {
  std::ostringstream terminal;
  { ProgressLine(terminal).Begin("Clients"); }
  EXPECT_EQ(terminal.str(), "\r\x1b[KClients\r\x1b[K");
}

TEST(ProgressLine, ShowsRowsOnceInAWhileOnly) {
  // A process that stalls shows the first number at once; one that shows every number does so each time.
  std::uint64_t rows = 0;
  for (int attempt = 0; attempt < 100 && rows <= 1; ++attempt) {
    std::ostringstream terminal;
    ProgressLine line(terminal);
    line.Begin("Clients");
    rows = 0;
    while (terminal.str() == "\r\x1b[KClients") {
      line.Rows(++rows);
    }
    EXPECT_EQ(terminal.str(), "\r\x1b[KClients\r\x1b[KClients, " + std::to_string(rows) + " rows");
  }
  EXPECT_GT(rows, 1U);
}

}  // namespace
}  // namespace check
