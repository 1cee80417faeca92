#include "lab/tds_server/options.h"

#include <gtest/gtest.h>

#include <array>

namespace tds {
namespace {

Options Parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), {"--database", "d.sqlite", "--logins", "l.txt"});
  return ParseOptions(arguments);
}

TEST(Options, HaveDefaults) {
  const Options options = Parse({});
  EXPECT_EQ(options.database, "d.sqlite");
  EXPECT_EQ(options.logins, "l.txt");
  EXPECT_EQ(options.port, 0);
  EXPECT_EQ(options.product, "Microsoft SQL Server");
  EXPECT_EQ(options.codePage, 1252);
  EXPECT_TRUE(options.functions);
  EXPECT_TRUE(options.faults.empty());
}

TEST(Options, ReadValues) {
  const Options options = Parse({"--port", "1433", "--product", "Other", "--codepage", "1251", "--functions", "none"});
  EXPECT_EQ(options.port, 1433);
  EXPECT_EQ(options.product, "Other");
  EXPECT_EQ(options.codePage, 1251);
  EXPECT_FALSE(options.functions);
}

TEST(Options, ReadCollationsOfColumns) {
  const Options options = Parse({"--collation", "Clients.Comment:Greek_CI_AS", "--collation", "a.b:Thai:Polish_CI_AS"});
  ASSERT_EQ(options.collations.size(), 2U);
  EXPECT_EQ(options.collations[0].table, "Clients");
  EXPECT_EQ(options.collations[0].column, "Comment");
  EXPECT_EQ(options.collations[0].codePage->number, 1253);
  EXPECT_EQ(options.collations[1].column, "b:Thai");
  EXPECT_EQ(options.collations[1].codePage->number, 1250);
}

TEST(Options, ReadSeveralFaults) {
  const Options options = Parse({"--break-after", "A:0", "--error-after", "b:3", "--delay", "c:250"});
  ASSERT_EQ(options.faults.size(), 3U);
  EXPECT_EQ(options.faults[0].kind, Fault::Kind::Break);
  EXPECT_EQ(options.faults[0].table, "A");
  EXPECT_EQ(options.faults[0].value, 0U);
  EXPECT_EQ(options.faults[1].kind, Fault::Kind::Error);
  EXPECT_EQ(options.faults[1].value, 3U);
  EXPECT_EQ(options.faults[2].kind, Fault::Kind::Delay);
  EXPECT_EQ(options.faults[2].value, 250U);
}

TEST(Options, RefuseWhatIsWrong) {
  EXPECT_THROW(Parse({"--nonsense", "1"}), UsageError);
  EXPECT_THROW(Parse({"--port"}), UsageError);
  EXPECT_THROW(Parse({"--port", "65536"}), UsageError);
  EXPECT_THROW(Parse({"--port", "1x"}), UsageError);
  EXPECT_THROW(Parse({"--codepage", "437"}), UsageError);
  EXPECT_THROW(Parse({"--functions", "some"}), UsageError);
  EXPECT_THROW(Parse({"--collation", "A.B:Klingon_CI_AS"}), UsageError);
  EXPECT_THROW(Parse({"--collation", "A.B"}), UsageError);
  EXPECT_THROW(Parse({"--collation", "A:Greek_CI_AS"}), UsageError);
  EXPECT_THROW(Parse({"--break-after", "A"}), UsageError);
  EXPECT_THROW(Parse({"--break-after", ":1"}), UsageError);
  EXPECT_THROW(Parse({"--break-after", "A:"}), UsageError);
  EXPECT_THROW(Parse({"--delay", "A:-1"}), UsageError);
}

TEST(Options, RequireDatabaseAndLogins) {
  const std::array<const char*, 2> onlyDatabase = {"--database", "d.sqlite"};
  EXPECT_THROW(ParseOptions(onlyDatabase), UsageError);
  const std::array<const char*, 2> onlyLogins = {"--logins", "l.txt"};
  EXPECT_THROW(ParseOptions(onlyLogins), UsageError);
}

}  // namespace
}  // namespace tds
