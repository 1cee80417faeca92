#include "db/tables/sec_groups.h"

#include <cstdint>
#include <vector>

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::CountOf;
using contract::ResultRow;
using contract::With;
using testing::ElementsAre;
using testing::IsEmpty;

class SecGroupsTable : public contract::TableContract<db::DBTableSecGroupsSrc, db::DBTableSecGroupsDst> {
 protected:
  SecGroupsTable()
      : TableContract("SecGroups", {BW_FIELD(Row, ID), BW_FIELD(Row, SecGCode), BW_FIELD(Row, SecGName),
                                    BW_FIELD(Row, disabled), BW_FIELD(Row, Filter), BW_FIELD(Row, mode),
                                    BW_FIELD(Row, RAgencies), BW_FIELD(Row, ListLevel)}) {}
};

ResultRow FirstRow() {
  return {101, "SecGCode-1", "SecGName-1", "D", "Filter-1", "mode-1", 107, 108};
}

ResultRow SecondRow() {
  return {201, "SecGCode of row 2", "SecGName of row 2", "", "Filter-abc", "mode-abcde", 207, -208};
}

TEST_F(SecGroupsTable, MakesTheseCallsForTwoRows) {
  odbc_double::SetOutputs("BW_CreateSecGroupEx", {{1}, {2}});
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."SecGroups" RESTART IDENTITY;", 45)
SQLExecDirect(stmt1, "SELECT [ID], [SecGCode], [SecGName], [disabled], [Filter], [mode], [RAgencies], [ListLevel] FROM dbo.[SecGroups];", 113)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.SecGCode, 65, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.SecGName, 256, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.disabled, 2, null)
SQLBindCol(stmt1, 5, SQL_C_CHAR, source.Filter, 11, null)
SQLBindCol(stmt1, 6, SQL_C_CHAR, source.mode, 11, null)
SQLBindCol(stmt1, 7, SQL_C_LONG, source.RAgencies, 4, null)
SQLBindCol(stmt1, 8, SQL_C_LONG, source.ListLevel, 4, null)
SQLFetch(stmt1)
SQLAllocStmt(dbc2)
SQLPrepare(stmt3, "CALL public."BW_CreateSecGroupEx"(?, ?, ?, ?, ?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt3, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 65, 0, destination.SecGCode, 0, null)
SQLBindParameter(stmt3, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 256, 0, destination.SecGName, 0, null)
SQLBindParameter(stmt3, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 2, 0, destination.disabled, 0, null)
SQLBindParameter(stmt3, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 11, 0, destination.Filter, 0, null)
SQLBindParameter(stmt3, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 11, 0, destination.mode, 0, null)
SQLBindParameter(stmt3, 6, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.RAgencies, 0, null)
SQLBindParameter(stmt3, 7, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ListLevel, 0, null)
SQLBindParameter(stmt3, 8, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ID, 0, null)
SQLExecute(stmt3) sends "SecGCode-1", "SecGName-1", "D", "Filter-1", "mode-1", 107, 108
SQLFreeHandle(SQL_HANDLE_STMT, stmt3)
SQLFetch(stmt1)
SQLAllocStmt(dbc2)
SQLPrepare(stmt4, "CALL public."BW_CreateSecGroupEx"(?, ?, ?, ?, ?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt4, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 65, 0, destination.SecGCode, 0, null)
SQLBindParameter(stmt4, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 256, 0, destination.SecGName, 0, null)
SQLBindParameter(stmt4, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 2, 0, destination.disabled, 0, null)
SQLBindParameter(stmt4, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 11, 0, destination.Filter, 0, null)
SQLBindParameter(stmt4, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 11, 0, destination.mode, 0, null)
SQLBindParameter(stmt4, 6, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.RAgencies, 0, null)
SQLBindParameter(stmt4, 7, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ListLevel, 0, null)
SQLBindParameter(stmt4, 8, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ID, 0, null)
SQLExecute(stmt4) sends "SecGCode of row 2", "SecGName of row 2", "", "Filter-abc", "mode-abcde", 207, -208
SQLFreeHandle(SQL_HANDLE_STMT, stmt4)
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(SecGroupsTable, LogsEachColumnOfARow) {
  odbc_double::SetOutputs("BW_CreateSecGroupEx", {{1}, {2}});
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ID] = 201, [SecGCode] = SecGCode of row 2, [SecGName] = SecGName of row 2, [disabled] = , [Filter] = Filter-abc, [mode] = mode-abcde, [RAgencies] = 207, [ListLevel] = -208;)"));
}

TEST_F(SecGroupsTable, ANullInAnyColumnEndsTheTable) {
  odbc_double::SetOutputs("BW_CreateSecGroupEx", std::vector<std::vector<std::int32_t>>(8, {1}));
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(SecGroupsTable, IdsWithGapsAreNeitherSentNorRecorded) {
  odbc_double::SetOutputs("BW_CreateSecGroupEx", {{1}, {2}, {3}});
  SetRows({With(FirstRow(), 1, 1), With(FirstRow(), 1, 2), With(FirstRow(), 1, 5)});
  Migrate();
  const std::string sent = R"("SecGCode-1", "SecGName-1", "D", "Filter-1", "mode-1", 107, 108)";
  EXPECT_THAT(contract::SentRows(), ElementsAre(sent, sent, sent));
  EXPECT_THAT(db::GroupIdMap, IsEmpty());
  EXPECT_THAT(db::GroupOrderIdMap, IsEmpty());
  EXPECT_THAT(db::PoolIdMap, IsEmpty());
}

TEST_F(SecGroupsTable, AFilterAndAModeThatFillTheirColumnsArriveWhole) {
  odbc_double::SetOutputs("BW_CreateSecGroupEx", {{1}});
  SetRows({With(With(FirstRow(), 5, "0123456789"), 6, "9876543210")});
  Migrate();
  EXPECT_THAT(contract::Sent(4), ElementsAre(R"("0123456789")"));
  EXPECT_THAT(contract::Sent(5), ElementsAre(R"("9876543210")"));
}

TEST_F(SecGroupsTable, OpenDoesNothingAndEachWriteAllocatesAStatement) {
  Build();
  odbc_double::ClearCalls();
  pair().destination.Open();
  EXPECT_THAT(odbc_double::Calls(), IsEmpty());
  pair().destination.Write(Row{});
  pair().destination.Write(Row{});
  EXPECT_EQ(CountOf("SQLAllocStmt"), 2U);
  EXPECT_EQ(odbc_double::Calls().back(), "SQLFreeHandle(SQL_HANDLE_STMT, stmt4)");
}

TEST_F(SecGroupsTable, TheStatementOfTheConstructionGoesWithTheConnection) {
  odbc_double::SetOutputs("BW_CreateSecGroupEx", {{1}, {2}});
  SetRows({FirstRow(), SecondRow()});
  {
    odbc::DBConnection ownDestination("New", "writer", "secret", "public.");
    ownDestination.Connect();
    {
      Pair ownPair(source, ownDestination);
      Migrate(ownPair);
    }
    EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "env3", "dbc3", "stmt2"));
  }
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2"));
  EXPECT_THAT(odbc_double::Violations(), IsEmpty());
}

TEST_F(SecGroupsTable, AFailingExecutionEndsTheRunAndLeavesItsStatementToThePair) {
  odbc_double::SetOutputs("BW_CreateSecGroupEx", {{1}});
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(LoggedRows().size(), 1U);
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt2", "stmt4"));
  odbc_double::ClearCalls();
  DestroyPair();
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, stmt4)", "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(SecGroupsTable, AFailingPreparationOrBindingEndsTheRunBeforeTheExecution) {
  SetRows({FirstRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLPrepare", 1), contract::kRefused);
  EXPECT_EQ(MigrateUntilFailureOf("SQLBindParameter", 8), contract::kRefused);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
}

TEST_F(SecGroupsTable, AFailingAllocationEndsTheRunWithoutDiagnostics) {
  SetRows({FirstRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLAllocStmt", 3), "SQL Error: ");
  EXPECT_EQ(odbc_double::Calls().back(), "SQLGetDiagRec(SQL_HANDLE_STMT, null, 1, 512) -> SQL_INVALID_HANDLE");
  EXPECT_EQ(CountOf("SQLPrepare"), 0U);
}

}  // namespace
