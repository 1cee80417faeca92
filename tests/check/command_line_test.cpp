#include "check/cli/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace check {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

CheckRequest ReadCheck(const std::vector<std::string>& arguments) {
  return std::get<CheckRequest>(ReadCommandLine(arguments));
}

/// What is said about a command line that is refused.
std::string Refusal(const std::vector<std::string>& arguments) {
  try {
    static_cast<void>(ReadCommandLine(arguments));
  } catch (const WrongUse& refusal) {
    return refusal.what();
  }
  return "it is accepted";
}

TEST(CommandLine, CommandAlone) {
  const CheckRequest before = ReadCheck({"before"});
  EXPECT_EQ(before.command, Command::Before);
  EXPECT_FALSE(before.jsonFile.has_value());
  EXPECT_THAT(before.tables, IsEmpty());

  EXPECT_EQ(ReadCheck({"after"}).command, Command::After);
}

TEST(CommandLine, OptionsOnBothSidesOfTheCommand) {
  const CheckRequest request = ReadCheck({"--json", "a file.json", "after", "--tables", "Clients"});
  EXPECT_EQ(request.command, Command::After);
  EXPECT_EQ(request.jsonFile, "a file.json");
  EXPECT_THAT(request.tables, ElementsAre("Clients"));
}

TEST(CommandLine, EachFileForItself) {
  const CheckRequest request = ReadCheck({"after", "--html", "page.html", "--accept=before.json", "--json", "a.json"});
  EXPECT_EQ(request.jsonFile, "a.json");
  EXPECT_EQ(request.htmlFile, "page.html");
  EXPECT_EQ(request.acceptedReport, "before.json");
}

TEST(CommandLine, KeepsTheOptionsAsTheyWereTyped) {
  EXPECT_THAT(ReadCheck({"--tables=Orders", "before", "--json", "a.json"}).options,
              ElementsAre("--tables=Orders", "--json", "a.json"));
}

TEST(CommandLine, ValueAfterAnEqualsSign) {
  const CheckRequest request = ReadCheck({"before", "--json=a=b.json", "--tables=Clients,Orders"});
  EXPECT_EQ(request.jsonFile, "a=b.json");
  EXPECT_THAT(request.tables, ElementsAre("Clients", "Orders"));
}

TEST(CommandLine, MinusIsAFileLikeAnyOther) {
  EXPECT_EQ(ReadCheck({"before", "--json", "-"}).jsonFile, "-");
}

TEST(CommandLine, TablesComeInTheOrderOfTheMigrationAndOnce) {
  EXPECT_THAT(ReadCheck({"before", "--tables", "ExportOrder,SystemData,Orders,SystemData"}).tables,
              ElementsAre("SystemData", "Orders", "ExportOrder"));
}

std::string ReadInformation(const std::vector<std::string>& arguments) {
  return std::get<Information>(ReadCommandLine(arguments)).text;
}

TEST(CommandLine, InformationNeedsNoCommand) {
  EXPECT_THAT(ReadInformation({"--help"}), HasSubstr("Usage: bw_db_check [OPTIONS] before|after\n"));
  EXPECT_EQ(ReadInformation({"before", "--help", "nonsense"}), ReadInformation({"--help"}));
  EXPECT_EQ(ReadInformation({"--version"}), "bw_db_check 1.0.0\n");
  EXPECT_THAT(ReadInformation({"--help-findings"}), HasSubstr("\ntext-cut (text-cut): a text arrives shortened\n"));
}

TEST(CommandLine, RefusesAMissingCommand) {
  EXPECT_EQ(Refusal({}), "the command is missing: before or after");
  EXPECT_EQ(Refusal({"--tables", "Clients"}), "the command is missing: before or after");
  EXPECT_EQ(Refusal({"Before"}), "the command is missing: before or after");
  EXPECT_EQ(Refusal({""}), "the command is missing: before or after");
}

TEST(CommandLine, RefusesTwoCommands) {
  EXPECT_EQ(Refusal({"before", "after"}), "there is no command or option 'after' here");
  EXPECT_EQ(Refusal({"before", "before"}), "there is no command or option 'before' here");
}

TEST(CommandLine, RefusesAnotherOption) {
  EXPECT_EQ(Refusal({"before", "--jason", "file"}), "there is no command or option '--jason' here");
  EXPECT_EQ(Refusal({"before", "-h"}), "there is no command or option '-h' here");
}

TEST(CommandLine, RepeatsNoValueOfAnotherOption) {
  EXPECT_EQ(Refusal({"before", "--password=secret"}), "there is no command or option '--password' here");
}

TEST(CommandLine, RefusesAFileGivenTwice) {
  EXPECT_THAT(Refusal({"before", "--json", "a", "--json=b"}), HasSubstr("--json: "));
}

TEST(CommandLine, RefusesAnOptionWithoutItsValue) {
  EXPECT_THAT(Refusal({"before", "--json"}), HasSubstr("--json: "));
  EXPECT_THAT(Refusal({"before", "--json="}), HasSubstr("--json: "));
  EXPECT_THAT(Refusal({"before", "--json", ""}), HasSubstr("--json: "));
  EXPECT_THAT(Refusal({"before", "--tables"}), HasSubstr("--tables: "));
  EXPECT_THAT(Refusal({"before", "--tables", ""}), HasSubstr("--tables: "));
  EXPECT_THAT(Refusal({"before", "--tables", ","}), HasSubstr("--tables: "));
}

TEST(CommandLine, RefusesAnUnknownTableAndNamesThe22) {
  EXPECT_EQ(Refusal({"before", "--tables", "Clients,clients"}),
            "--tables: there is no table 'clients'; the 22 tables are SystemData, GroupDesc, Clients, GroupOrders, "
            "Orders, SecGroups, SecGrMemb, SecMinQt, ImportLog, LoadedPositions, RatingAgencies, RatingScales, "
            "LoadedSecurities, LoadedSecuritiesClientPrices, Restrictions, PoolOrders, OrdersInPool, GroupStopOrders, "
            "StopOrders, GroupNegOrders, NegOrders, ExportOrder");
  EXPECT_THAT(Refusal({"before", "--tables", "Clients, Orders"}), HasSubstr("there is no table ' Orders'"));
}

}  // namespace
}  // namespace check
