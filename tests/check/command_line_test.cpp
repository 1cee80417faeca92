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
  return "it is taken";
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

TEST(CommandLine, ValueBehindAnEqualsSign) {
  const CheckRequest request = ReadCheck({"before", "--json=a=b.json", "--tables=Clients,Orders"});
  EXPECT_EQ(request.jsonFile, "a=b.json");
  EXPECT_THAT(request.tables, ElementsAre("Clients", "Orders"));
}

TEST(CommandLine, MinusIsAFileLikeAnyOther) {
  EXPECT_EQ(ReadCheck({"before", "--json", "-"}).jsonFile, "-");
}

TEST(CommandLine, ValueThatLooksLikeAnOption) {
  EXPECT_EQ(ReadCheck({"before", "--json", "--tables"}).jsonFile, "--tables");
}

TEST(CommandLine, TablesComeInTheOrderOfTheMigrationAndOnce) {
  EXPECT_THAT(ReadCheck({"before", "--tables", "ExportOrder,SystemData,Orders,SystemData"}).tables,
              ElementsAre("SystemData", "Orders", "ExportOrder"));
}

TEST(CommandLine, HelpAndVersionNeedNoCommand) {
  EXPECT_TRUE(std::holds_alternative<HelpRequest>(ReadCommandLine({"--help"})));
  EXPECT_TRUE(std::holds_alternative<VersionRequest>(ReadCommandLine({"--version"})));
  EXPECT_TRUE(std::holds_alternative<HelpRequest>(ReadCommandLine({"before", "--help", "nonsense"})));
}

TEST(CommandLine, RefusesAMissingCommand) {
  EXPECT_EQ(Refusal({}), "the command is missing: before or after");
  EXPECT_EQ(Refusal({"--tables", "Clients"}), "the command is missing: before or after");
}

TEST(CommandLine, RefusesAnotherCommand) {
  EXPECT_EQ(Refusal({"Before"}), "there is no command 'Before'; the commands are before and after");
  EXPECT_EQ(Refusal({""}), "there is no command ''; the commands are before and after");
}

TEST(CommandLine, RefusesTwoCommands) {
  EXPECT_EQ(Refusal({"before", "after"}), "one command is enough: 'after' is one too many");
  EXPECT_EQ(Refusal({"before", "before"}), "one command is enough: 'before' is one too many");
}

TEST(CommandLine, RefusesAnotherOption) {
  EXPECT_EQ(Refusal({"before", "--jason", "file"}), "there is no option --jason");
  EXPECT_EQ(Refusal({"before", "-h"}), "there is no option -h");
  EXPECT_EQ(Refusal({"before", "--"}), "there is no option --");
  EXPECT_EQ(Refusal({"before", "--password=secret"}), "there is no option --password");
}

TEST(CommandLine, RefusesAnOptionGivenTwice) {
  EXPECT_EQ(Refusal({"before", "--json", "a", "--json=b"}), "--json is given twice");
  EXPECT_EQ(Refusal({"before", "--tables=Clients", "--tables=Orders"}), "--tables is given twice");
}

TEST(CommandLine, RefusesAnOptionWithoutItsValue) {
  EXPECT_EQ(Refusal({"before", "--json"}), "--json needs a value");
  EXPECT_EQ(Refusal({"before", "--json="}), "--json needs a value");
  EXPECT_EQ(Refusal({"before", "--tables", ""}), "--tables needs a value");
}

TEST(CommandLine, RefusesAValueWhereNoneBelongs) {
  EXPECT_EQ(Refusal({"--help=all"}), "--help takes no value");
  EXPECT_EQ(Refusal({"--version=2"}), "--version takes no value");
}

TEST(CommandLine, RefusesAnUnknownTableAndNamesThe22) {
  EXPECT_EQ(Refusal({"before", "--tables", "Clients,clients"}),
            "there is no table 'clients'; the 22 tables are SystemData, GroupDesc, Clients, GroupOrders, Orders, "
            "SecGroups, SecGrMemb, SecMinQt, ImportLog, LoadedPositions, RatingAgencies, RatingScales, "
            "LoadedSecurities, LoadedSecuritiesClientPrices, Restrictions, PoolOrders, OrdersInPool, GroupStopOrders, "
            "StopOrders, GroupNegOrders, NegOrders, ExportOrder");
}

TEST(CommandLine, RefusesAnEmptyTableName) {
  for (const std::string list : {"Clients,", ",Clients", "Clients,,Orders", ",", "Clients, Orders"}) {
    EXPECT_THAT(Refusal({"before", "--tables", list}), HasSubstr("there is no table '")) << list;
  }
}

}  // namespace
}  // namespace check
