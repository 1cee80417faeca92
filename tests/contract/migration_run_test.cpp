#include "app/migration_run.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "contract/run_fixture.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::MatchesRegex;

const std::string kStamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} :: ";
const std::string kPrompts =
    "Enter the password for source database: \nEnter the password for destination database: \n";

const std::vector<std::string> kTables = {"SystemData",       "GroupDesc",
                                          "Clients",          "GroupOrders",
                                          "Orders",           "SecGroups",
                                          "SecGrMemb",        "SecMinQt",
                                          "ImportLog",        "LoadedPositions",
                                          "RatingAgencies",   "RatingScales",
                                          "LoadedSecurities", "LoadedSecuritiesClientPrices",
                                          "Restrictions",     "PoolOrders",
                                          "OrdersInPool",     "GroupStopOrders",
                                          "StopOrders",       "GroupNegOrders",
                                          "NegOrders",        "ExportOrder"};

/// The recorded calls of one function.
std::vector<std::string> CallsOf(const std::string& function) {
  std::vector<std::string> calls;
  std::copy_if(odbc_double::Calls().begin(), odbc_double::Calls().end(), std::back_inserter(calls),
               [&](const std::string& call) { return call.starts_with(function + "("); });
  return calls;
}

/// The table names between a beginning and an end, in the order in which SQLExecDirect was called with them.
std::vector<std::string> TablesIn(const std::string& beginning, const std::string& end) {
  std::vector<std::string> tables;
  for (const std::string& call : CallsOf("SQLExecDirect")) {
    const std::size_t start = call.find(beginning);
    if (start != std::string::npos) {
      const std::size_t name = start + beginning.size();
      tables.push_back(call.substr(name, call.find(end, name) - name));
    }
  }
  return tables;
}

using MigrationRun = contract::RunTest;

TEST_F(MigrationRun, ConnectsSourceThenDestinationThenChecksTheVersion) {
  Run();
  ASSERT_GE(odbc_double::Calls().size(), 13U);
  EXPECT_THAT(
      std::vector<std::string>(odbc_double::Calls().begin(), odbc_double::Calls().begin() + 13),
      ElementsAre("SQLAllocEnv()", "SQLAllocHandle(SQL_HANDLE_DBC, env1)",
                  R"(SQLConnect(dbc1, "Old", 3, "reader", 6, "first", 5))",
                  "SQLGetInfo(dbc1, SQL_DBMS_NAME, 512, null)", "SQLAllocEnv()", "SQLAllocHandle(SQL_HANDLE_DBC, env2)",
                  R"(SQLConnect(dbc2, "New", 3, "writer", 6, "second", 6))",
                  "SQLGetInfo(dbc2, SQL_DBMS_NAME, 512, null)", "SQLAllocStmt(dbc1)",
                  R"(SQLExecDirect(stmt1, "SELECT [KeyValue] FROM [dbo].[SystemData] WHERE [KeyName] = 'dbver';", 68))",
                  "SQLFetch(stmt1)", "SQLGetData(stmt1, 1, SQL_C_LONG, address, 4, null)",
                  "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(MigrationRun, EmptiesAndReadsTheTablesInTheirOrder) {
  Run();
  EXPECT_THAT(TablesIn("TRUNCATE public.\"", "\""), ElementsAreArray(kTables));
  EXPECT_THAT(TablesIn("FROM dbo.[", "]"), ElementsAreArray(kTables));
}

TEST_F(MigrationRun, EmptiesATableOnlyWhenTheOneBeforeIsDone) {
  Run();
  std::vector<std::string> steps;
  for (const std::string& call : CallsOf("SQLExecDirect")) {
    if (call.find("TRUNCATE") != std::string::npos) {
      steps.emplace_back("empty");
    } else if (call.find("FROM dbo.[") != std::string::npos) {
      steps.emplace_back("read");
    }
  }
  ASSERT_EQ(steps.size(), 2 * kTables.size());
  for (std::size_t i = 0; i < steps.size(); ++i) {
    EXPECT_EQ(steps[i], i % 2 == 0 ? "empty" : "read") << "step " << i;
  }
}

TEST_F(MigrationRun, CascadesFourTruncatesOnly) {
  Run();
  std::vector<std::string> cascading;
  for (const std::string& call : CallsOf("SQLExecDirect")) {
    if (call.find(" CASCADE;") != std::string::npos) {
      cascading.push_back(call);
    }
  }
  ASSERT_EQ(cascading.size(), 4U);
  EXPECT_THAT(cascading[0], testing::HasSubstr("\"GroupDesc\""));
  EXPECT_THAT(cascading[1], testing::HasSubstr("\"GroupOrders\""));
  EXPECT_THAT(cascading[2], testing::HasSubstr("\"LoadedSecurities\""));
  EXPECT_THAT(cascading[3], testing::HasSubstr("\"PoolOrders\""));
}

TEST_F(MigrationRun, ClosesDestinationThenSource) {
  Run();
  const std::vector<std::string>& calls = odbc_double::Calls();
  ASSERT_GE(calls.size(), 6U);
  EXPECT_THAT(std::vector<std::string>(calls.end() - 6, calls.end()),
              ElementsAre("SQLDisconnect(dbc2)", "SQLFreeHandle(SQL_HANDLE_DBC, dbc2)", "SQLFreeEnv(env2)",
                          "SQLDisconnect(dbc1)", "SQLFreeHandle(SQL_HANDLE_DBC, dbc1)", "SQLFreeEnv(env1)"));
  EXPECT_THAT(odbc_double::LiveHandles(), testing::IsEmpty());
}

TEST_F(MigrationRun, ShowsTwoLinesForEachTable) {
  Run();
  std::string lines;
  for (const std::string& table : kTables) {
    lines.append("Start migrate ").append(table).append(" table\nComplete migrate ").append(table);
    lines += " table\\. Total rows read = 0 Total migrated rows = 0\\. Migration time is [0-9]+ milliseconds\n";
  }
  EXPECT_THAT(console, MatchesRegex(kPrompts + lines));
}

TEST_F(MigrationRun, WithoutConfigurationFileAsksForNothingAndLeavesTheLogAlone) {
  std::filesystem::remove(directory() / "bw_migrate.ini");
  directory().Write("bw_db_migrate.log", "what was there before");
  Run();
  EXPECT_EQ(console, "Error: Configuration file does not exist\n");
  EXPECT_EQ(log, "what was there before");
  EXPECT_THAT(odbc_double::Calls(), testing::IsEmpty());
}

TEST_F(MigrationRun, WithoutConfigurationFileCreatesNoLog) {
  std::filesystem::remove(directory() / "bw_migrate.ini");
  Run();
  EXPECT_FALSE(std::filesystem::exists(directory() / "bw_db_migrate.log"));
}

TEST_F(MigrationRun, AConfigurationPathThatCannotBeCheckedEndsTheRunSilently) {
  std::filesystem::remove(directory() / "bw_migrate.ini");
  std::filesystem::create_symlink("bw_migrate.ini", directory() / "bw_migrate.ini");
  Run();
  EXPECT_EQ(console, "");
  EXPECT_FALSE(std::filesystem::exists(directory() / "bw_db_migrate.log"));
}

TEST_F(MigrationRun, ADirectoryCountsAsConfigurationFileAndGivesEmptySettings) {
  std::filesystem::remove(directory() / "bw_migrate.ini");
  std::filesystem::create_directory(directory() / "bw_migrate.ini");
  Run();
  EXPECT_THAT(CallsOf("SQLConnect").at(0), R"(SQLConnect(dbc1, "", 0, "", 0, "first", 5))");
}

TEST_F(MigrationRun, WithoutLogWarnsAndGoesOn) {
  std::filesystem::create_directory(directory() / "bw_db_migrate.log");
  Run();
  EXPECT_TRUE(console.starts_with("Warning: Can't open log file\n" + kPrompts + "Start migrate SystemData table\n"))
      << console;
  EXPECT_EQ(TablesIn("FROM dbo.[", "]").size(), kTables.size());
}

TEST_F(MigrationRun, AnUnknownSourceEndsTheRunWithoutAWord) {
  odbc_double::SetServerName("Old", "Another Server");
  Run();
  EXPECT_EQ(console, kPrompts);
  EXPECT_EQ(log, "");
  EXPECT_EQ(CallsOf("SQLConnect").size(), 1U) << "the destination is not connected";
  EXPECT_THAT(odbc_double::LiveHandles(), testing::IsEmpty());
}

TEST_F(MigrationRun, AnUnknownDestinationEndsTheRunWithoutAWord) {
  odbc_double::SetServerName("New", "Another Server");
  Run();
  EXPECT_EQ(console, kPrompts);
  EXPECT_EQ(log, "");
  EXPECT_EQ(CallsOf("SQLConnect").size(), 2U);
}

class WrongServers : public contract::RunTest,
                     public testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(WrongServers, AreRefusedOnConsoleAndInTheLog) {
  odbc_double::SetServerName("Old", GetParam().first);
  odbc_double::SetServerName("New", GetParam().second);
  Run();
  EXPECT_EQ(console, kPrompts + "Error: Migration is only possible from Microsoft SQL Server to PostgreSQL\n");
  EXPECT_THAT(log, MatchesRegex(kStamp + "Error: Migration is only possible from Microsoft SQL Server to PostgreSQL"));
  EXPECT_THAT(CallsOf("SQLAllocStmt"), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, WrongServers,
                         testing::Values(std::pair("PostgreSQL", "PostgreSQL"),
                                         std::pair("PostgreSQL", "Microsoft SQL Server"),
                                         std::pair("Microsoft SQL Server", "Microsoft SQL Server")));

class WrongVersion : public contract::RunTest, public testing::WithParamInterface<const char*> {};

TEST_P(WrongVersion, IsRefusedBeforeAnyTableIsEmptied) {
  odbc_double::SetResult("'dbver'", {{GetParam()}});
  Run();
  EXPECT_EQ(console, kPrompts + "Error: Migration is possible only for version 29 of the Brantwell database\n");
  EXPECT_THAT(log, MatchesRegex(kStamp + "Error: Migration is possible only for version 29 of the Brantwell database"));
  EXPECT_THAT(TablesIn("TRUNCATE public.\"", "\""), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Versions, WrongVersion, testing::Values("28", "30"));

TEST_F(MigrationRun, AMissingVersionIsLoggedOnly) {
  odbc_double::SetResult("'dbver'", {});
  Run();
  EXPECT_EQ(console, kPrompts);
  EXPECT_THAT(log, MatchesRegex(kStamp + "SQL Error: "));
}

TEST_F(MigrationRun, AFailedLoginIsTheOnlyEntryOfTheLogAndNotOnTheConsole) {
  odbc_double::OnCall("SQLConnect", 1,
                      {.result = SQL_ERROR, .diagnostics = {{"28000", 18456, "Login failed for user 'reader'."}}});
  Run();
  EXPECT_EQ(console, kPrompts);
  EXPECT_THAT(
      log, MatchesRegex(kStamp + "SQL Error: State = 28000 Code = 18456 Message = Login failed for user 'reader'\\."));
  EXPECT_THAT(odbc_double::LiveHandles(), testing::IsEmpty());
}

TEST_F(MigrationRun, AnEmptyMessageIsLoggedAsATimeStampAlone) {
  odbc_double::OnCall("SQLGetInfo", 1, {});
  Run();
  EXPECT_EQ(console, kPrompts);
  EXPECT_THAT(log, MatchesRegex(kStamp));
}

TEST_F(MigrationRun, AMissingIdentifierIsLoggedOnly) {
  odbc_double::SetResult("[Clients]", {{"C1", 7, 1, 0.5, "no group 7 was migrated"}});
  Run();
  EXPECT_TRUE(console.ends_with("Start migrate Clients table\n")) << console;
  EXPECT_THAT(log,
              MatchesRegex("(.*\n)*" + kStamp + "Start migrate Clients table\n" + kStamp + "invalid map<K, T> key"));
  EXPECT_THAT(odbc_double::LiveHandles(), testing::IsEmpty());
}

TEST_F(MigrationRun, AFailureLeavesTheTablesBehindItUntouched) {
  odbc_double::OnCall("SQLPrepare", 1, {.result = SQL_ERROR, .diagnostics = {{"42P01", 1, "gone"}}});
  Run();
  EXPECT_THAT(TablesIn("TRUNCATE public.\"", "\""), ElementsAre("SystemData"));
  EXPECT_EQ(console, kPrompts);
}

TEST_F(MigrationRun, PairsStayAliveAndAreDestroyedFromTheLastToTheFirst) {
  // The third destination (stmt7) fails to be emptied: its source and the two pairs before it are still there. Those
  // have no statement any more, so the source of the third (stmt6) is what is freed.
  odbc_double::OnCall("SQLExecDirect", 6, {.result = SQL_ERROR, .diagnostics = {{"42501", 1, "not allowed"}}});
  Run();
  const std::vector<std::string> frees = CallsOf("SQLFreeHandle");
  EXPECT_THAT(frees, ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, stmt1)", "SQLFreeHandle(SQL_HANDLE_STMT, stmt3)",
                                 "SQLFreeHandle(SQL_HANDLE_STMT, stmt2)", "SQLFreeHandle(SQL_HANDLE_STMT, stmt5)",
                                 "SQLFreeHandle(SQL_HANDLE_STMT, stmt4)", "SQLFreeHandle(SQL_HANDLE_STMT, stmt7)",
                                 "SQLFreeHandle(SQL_HANDLE_STMT, stmt6)", "SQLFreeHandle(SQL_HANDLE_DBC, dbc2)",
                                 "SQLFreeHandle(SQL_HANDLE_DBC, dbc1)"));
}

TEST_F(MigrationRun, AnEmptyPasswordIsSentAsOne) {
  Run("\n\n");
  EXPECT_THAT(CallsOf("SQLConnect"), ElementsAre(R"(SQLConnect(dbc1, "Old", 3, "reader", 6, "", 0))",
                                                 R"(SQLConnect(dbc2, "New", 3, "writer", 6, "", 0))"));
}

TEST_F(MigrationRun, APasswordIsTheWholeLine) {
  Run(" a b;c}\"' \t\r\n\xE9\xFF\n");
  EXPECT_THAT(CallsOf("SQLConnect"), ElementsAre("SQLConnect(dbc1, \"Old\", 3, \"reader\", 6, \" a b;c}\"' \t\r\", 12)",
                                                 "SQLConnect(dbc2, \"New\", 3, \"writer\", 6, \"\xE9\xFF\", 2)"));
}

TEST_F(MigrationRun, TheLogHoldsOnlyTheSecondOfTwoRuns) {
  odbc_double::SetResult("FROM dbo.[SystemData]", {{"first", "1"}});
  Run();
  odbc_double::SetResult("FROM dbo.[SystemData]", {{"second", "2"}});
  Run();
  EXPECT_THAT(log, testing::Not(testing::HasSubstr("[KeyName] = first")));
  EXPECT_THAT(log, testing::HasSubstr("[KeyName] = second"));
}

}  // namespace
