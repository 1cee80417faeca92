#include "db/tables/group_desc.h"

#include <cstdint>
#include <vector>

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::CountOf;
using contract::ResultRow;
using testing::ElementsAre;
using testing::IsEmpty;

class GroupDescTable : public contract::TableContract<db::DBTableGroupDescSrc, db::DBTableGroupDescDst> {
 protected:
  GroupDescTable()
      : TableContract("GroupDesc", {BW_FIELD(Row, GroupID), BW_FIELD(Row, GroupCode), BW_FIELD(Row, GroupName),
                                    BW_FIELD(Row, disabled), BW_FIELD(Row, Mode), BW_FIELD(Row, DefWeight),
                                    BW_FIELD(Row, SplitOrders)}) {}
};

ResultRow FirstRow() {
  return {101, "GroupCode-1", "GroupName-1", "D", "Mode-1", 6.5, 107};
}

ResultRow SecondRow() {
  return {201, "GroupCode of row 2", "GroupName of row 2", "", "Mode-abcde", -6.25, -207};
}

TEST_F(GroupDescTable, MakesTheseCallsForTwoRows) {
  odbc_double::SetOutputs("BW_CreateClientGroupEx", {{901}, {902}});
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."GroupDesc" RESTART IDENTITY CASCADE;", 53)
SQLExecDirect(stmt1, "SELECT [GroupID], [GroupCode], [GroupName], [disabled], [Mode], [DefWeight], [SplitOrders] FROM dbo.[GroupDesc];", 112)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.GroupID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.GroupCode, 65, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.GroupName, 256, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.disabled, 2, null)
SQLBindCol(stmt1, 5, SQL_C_CHAR, source.Mode, 11, null)
SQLBindCol(stmt1, 6, SQL_C_DOUBLE, source.DefWeight, 8, null)
SQLBindCol(stmt1, 7, SQL_C_LONG, source.SplitOrders, 4, null)
SQLFetch(stmt1)
SQLPrepare(stmt2, "CALL public."BW_CreateClientGroupEx"(? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 65, 0, destination.GroupCode, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 256, 0, destination.GroupName, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 2, 0, destination.disabled, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 11, 0, destination.Mode, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0, destination.DefWeight, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 0, 0, destination.SplitOrders, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 0, 0, destination.GroupID, 0, null)
SQLExecute(stmt2) sends "GroupCode-1", "GroupName-1", "D", "Mode-1", 6.5, 107
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFetch(stmt1)
SQLAllocStmt(dbc2)
SQLPrepare(stmt3, "CALL public."BW_CreateClientGroupEx"(? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt3, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 65, 0, destination.GroupCode, 0, null)
SQLBindParameter(stmt3, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 256, 0, destination.GroupName, 0, null)
SQLBindParameter(stmt3, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 2, 0, destination.disabled, 0, null)
SQLBindParameter(stmt3, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 11, 0, destination.Mode, 0, null)
SQLBindParameter(stmt3, 5, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0, destination.DefWeight, 0, null)
SQLBindParameter(stmt3, 6, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 0, 0, destination.SplitOrders, 0, null)
SQLBindParameter(stmt3, 7, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 0, 0, destination.GroupID, 0, null)
SQLExecute(stmt3) sends "GroupCode of row 2", "GroupName of row 2", "", "Mode-abcde", -6.25, -207
SQLFreeHandle(SQL_HANDLE_STMT, stmt3)
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(GroupDescTable, LogsEachColumnOfARow) {
  odbc_double::SetOutputs("BW_CreateClientGroupEx", {{901}, {902}});
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [GroupID] = 201, [GroupCode] = GroupCode of row 2, [GroupName] = GroupName of row 2, [disabled] = , [Mode] = Mode-abcde, [DefWeight] = -6.25, [SplitOrders] = -207;)"));
}

TEST_F(GroupDescTable, ANullInAnyColumnEndsTheTable) {
  odbc_double::SetOutputs("BW_CreateClientGroupEx", std::vector<std::vector<std::int32_t>>(7, {901}));
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(GroupDescTable, RecordsEachNewGroupIdUnderTheSourceGroupId) {
  odbc_double::SetOutputs("BW_CreateClientGroupEx", {{901}, {902}});
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(db::GroupIdMap, (db::IdentifierMap{{101, 901}, {201, 902}}));
}

TEST_F(GroupDescTable, GroupsWithTheSameGroupIdAreAllCreatedAndTheFirstNewOneIsKept) {
  odbc_double::SetOutputs("BW_CreateClientGroupEx", {{901}, {902}});
  SetRows({FirstRow(), contract::With(SecondRow(), 1, 101)});
  Migrate();
  EXPECT_EQ(contract::SentRows().size(), 2U);
  EXPECT_EQ(db::GroupIdMap, (db::IdentifierMap{{101, 901}}));
}

TEST_F(GroupDescTable, AGroupNameThatFillsItsColumnArrivesWhole) {
  const std::string name = std::string(254, 'n') + "!";
  odbc_double::SetOutputs("BW_CreateClientGroupEx", {{901}});
  SetRows({contract::With(FirstRow(), 3, name)});
  Migrate();
  EXPECT_THAT(contract::Sent(2), ElementsAre("\"" + name + "\""));
}

TEST_F(GroupDescTable, OpenDoesNothingAndTheFirstWriteUsesTheStatementOfTheConstruction) {
  Build();
  odbc_double::ClearCalls();
  pair().destination.Open();
  EXPECT_THAT(odbc_double::Calls(), IsEmpty());
  pair().destination.Write(Row{});
  EXPECT_EQ(CountOf("SQLAllocStmt"), 0U);
  EXPECT_EQ(odbc_double::Calls().back(), "SQLFreeHandle(SQL_HANDLE_STMT, stmt2)");
}

TEST_F(GroupDescTable, AFailingExecutionEndsTheRunAndLeavesItsStatementToThePair) {
  odbc_double::SetOutputs("BW_CreateClientGroupEx", {{901}});
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(db::GroupIdMap, (db::IdentifierMap{{101, 901}}));
  EXPECT_EQ(LoggedRows().size(), 1U);
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt3"));
  odbc_double::ClearCalls();
  DestroyPair();
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, stmt3)", "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(GroupDescTable, AFailingPreparationOrBindingEndsTheRunBeforeTheExecution) {
  SetRows({FirstRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLPrepare", 1), contract::kRefused);
  EXPECT_EQ(MigrateUntilFailureOf("SQLBindParameter", 7), contract::kRefused);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
}

TEST_F(GroupDescTable, AFailingAllocationEndsTheRunWithoutDiagnostics) {
  odbc_double::SetOutputs("BW_CreateClientGroupEx", {{901}});
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLAllocStmt", 3), "SQL Error: ");
  EXPECT_EQ(odbc_double::Calls().back(), "SQLGetDiagRec(SQL_HANDLE_STMT, null, 1, 512) -> SQL_INVALID_HANDLE");
}

}  // namespace
