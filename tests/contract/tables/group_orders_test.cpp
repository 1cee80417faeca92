#include "db/tables/group_orders.h"

#include <cstdint>
#include <vector>

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::CountOf;
using contract::kMissingKey;
using contract::OutOfRangeOf;
using contract::ResultRow;
using contract::With;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

class GroupOrdersTable : public contract::TableContract<db::DBTableGroupOrdersSrc, db::DBTableGroupOrdersDst> {
 protected:
  GroupOrdersTable()
      : TableContract(
            "GroupOrders",
            {BW_FIELD(Row, ID),          BW_FIELD(Row, GroupID),   BW_FIELD(Row, TradeDate), BW_FIELD(Row, TradeTime),
             BW_FIELD(Row, Buy),         BW_FIELD(Row, ML),        BW_FIELD(Row, SecCode),   BW_FIELD(Row, ClassCode),
             BW_FIELD(Row, Price),       BW_FIELD(Row, Qty),       BW_FIELD(Row, RealQty),   BW_FIELD(Row, BalanceQty),
             BW_FIELD(Row, KilledQty),   BW_FIELD(Row, Status),    BW_FIELD(Row, Result),    BW_FIELD(Row, OrdersCount),
             BW_FIELD(Row, Flags),       BW_FIELD(Row, PoolID),    BW_FIELD(Row, Value),     BW_FIELD(Row, BWUserID),
             BW_FIELD(Row, BWSessionID), BW_FIELD(Row, BWCounter), BW_FIELD(Row, VisibleQty)}) {}
};

ResultRow FirstRow() {
  return {101, 102, 20240103, 101504,    "E", "F",  "SecCode-1", "ClassCode-1",   9.5, 10.5, 11.5, 12.5, 13.5,
          "N", "O", 116,      "Flags-1", 118, 19.5, 120,         "BWSessionID-1", 122, 23.5};
}

ResultRow SecondRow() {
  return {201,
          202,
          20251203,
          235904,
          "e",
          "f",
          "SecCode-abcd",
          "ClassCode-ab",
          1.2345e-05,
          1234567.891,
          -11.25,
          -12.25,
          -13.25,
          "n",
          "o",
          -216,
          "Flags-abcd",
          218,
          -19.25,
          220,
          "BWSessionID of row 2",
          222,
          -23.25};
}

TEST_F(GroupOrdersTable, MakesTheseCallsForTwoRows) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{801, 31}, {802, 32}});
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."GroupOrders" RESTART IDENTITY CASCADE;", 55)
SQLExecDirect(stmt1, "SELECT [ID], [GroupID], [TradeDate], [TradeTime], [Buy], [ML], [SecCode], [ClassCode], [Price], [Qty], [RealQty], [BalanceQty], [KilledQty], [Status], [Result], [OrdersCount], [Flags], [PoolID], [Value], [BWUserID], [BWSessionID], [BWCounter], [VisibleQty] FROM dbo.[GroupOrders]", 279)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null)
SQLBindCol(stmt1, 3, SQL_C_LONG, source.TradeDate, 4, null)
SQLBindCol(stmt1, 4, SQL_C_LONG, source.TradeTime, 4, null)
SQLBindCol(stmt1, 5, SQL_C_CHAR, source.Buy, 2, null)
SQLBindCol(stmt1, 6, SQL_C_CHAR, source.ML, 2, null)
SQLBindCol(stmt1, 7, SQL_C_CHAR, source.SecCode, 13, null)
SQLBindCol(stmt1, 8, SQL_C_CHAR, source.ClassCode, 13, null)
SQLBindCol(stmt1, 9, SQL_C_DOUBLE, source.Price, 8, null)
SQLBindCol(stmt1, 10, SQL_C_DOUBLE, source.Qty, 8, null)
SQLBindCol(stmt1, 11, SQL_C_DOUBLE, source.RealQty, 8, null)
SQLBindCol(stmt1, 12, SQL_C_DOUBLE, source.BalanceQty, 8, null)
SQLBindCol(stmt1, 13, SQL_C_DOUBLE, source.KilledQty, 8, null)
SQLBindCol(stmt1, 14, SQL_C_CHAR, source.Status, 2, null)
SQLBindCol(stmt1, 15, SQL_C_CHAR, source.Result, 2, null)
SQLBindCol(stmt1, 16, SQL_C_LONG, source.OrdersCount, 4, null)
SQLBindCol(stmt1, 17, SQL_C_CHAR, source.Flags, 11, null)
SQLBindCol(stmt1, 18, SQL_C_LONG, source.PoolID, 4, null)
SQLBindCol(stmt1, 19, SQL_C_DOUBLE, source.Value, 8, null)
SQLBindCol(stmt1, 20, SQL_C_LONG, source.BWUserID, 4, null)
SQLBindCol(stmt1, 21, SQL_C_CHAR, source.BWSessionID, 41, null)
SQLBindCol(stmt1, 22, SQL_C_LONG, source.BWCounter, 4, null)
SQLBindCol(stmt1, 23, SQL_C_DOUBLE, source.VisibleQty, 8, null)
SQLFetch(stmt1)
SQLPrepare(stmt2, "CALL public."BW_CreateGroupOrder"(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeTime, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.ML, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RealQty, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.BalanceQty, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.KilledQty, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Status, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Result, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrdersCount, 0, null)
SQLBindParameter(stmt2, 16, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 11, 0, destination.Flags, 0, null)
SQLBindParameter(stmt2, 17, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.PoolID, 0, null)
SQLBindParameter(stmt2, 18, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Value, 0, null)
SQLBindParameter(stmt2, 19, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.VisibleQty, 0, null)
SQLBindParameter(stmt2, 20, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWUserID, 0, null)
SQLBindParameter(stmt2, 21, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 41, 0, destination.BWSessionID, 0, null)
SQLBindParameter(stmt2, 22, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ID, 0, null)
SQLBindParameter(stmt2, 23, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, null)
SQLExecute(stmt2) sends 901, 20240103, 101504, "E", "F", "SecCode-1", "ClassCode-1", 9.5, 10.5, 11.5, 12.5, 13.5, "N", "O", 116, "Flags-1", 118, 19.5, 23.5, 120, "BWSessionID-1"
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFetch(stmt1)
SQLAllocStmt(dbc2)
SQLPrepare(stmt3, "CALL public."BW_CreateGroupOrder"(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt3, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupID, 0, null)
SQLBindParameter(stmt3, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt3, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeTime, 0, null)
SQLBindParameter(stmt3, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt3, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.ML, 0, null)
SQLBindParameter(stmt3, 6, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt3, 7, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt3, 8, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt3, 9, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt3, 10, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RealQty, 0, null)
SQLBindParameter(stmt3, 11, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.BalanceQty, 0, null)
SQLBindParameter(stmt3, 12, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.KilledQty, 0, null)
SQLBindParameter(stmt3, 13, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Status, 0, null)
SQLBindParameter(stmt3, 14, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Result, 0, null)
SQLBindParameter(stmt3, 15, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrdersCount, 0, null)
SQLBindParameter(stmt3, 16, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 11, 0, destination.Flags, 0, null)
SQLBindParameter(stmt3, 17, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.PoolID, 0, null)
SQLBindParameter(stmt3, 18, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Value, 0, null)
SQLBindParameter(stmt3, 19, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.VisibleQty, 0, null)
SQLBindParameter(stmt3, 20, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWUserID, 0, null)
SQLBindParameter(stmt3, 21, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 41, 0, destination.BWSessionID, 0, null)
SQLBindParameter(stmt3, 22, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ID, 0, null)
SQLBindParameter(stmt3, 23, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, null)
SQLExecute(stmt3) sends 902, 20251203, 235904, "e", "f", "SecCode-abcd", "ClassCode-ab", 1.2345e-05, 1.23457e+06, -11.25, -12.25, -13.25, "n", "o", -216, "Flags-abcd", 218, -19.25, -23.25, 220, "BWSessionID of row 2"
SQLFreeHandle(SQL_HANDLE_STMT, stmt3)
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(GroupOrdersTable, LogsEachColumnOfARow) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{801, 31}, {802, 32}});
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ID] = 201, [GroupID] = 202, [TradeDate] = 20251203, [TradeTime] = 235904, [Buy] = e, [ML] = f, [SecCode] = SecCode-abcd, [ClassCode] = ClassCode-ab, [Price] = 1.2345e-05, [Qty] = 1.23457e+06, [RealQty] = -11.25, [BalanceQty] = -12.25, [KilledQty] = -13.25, [Status] = n, [Result] = o, [OrdersCount] = -216, [Flags] = Flags-abcd, [PoolID] = 218, [Value] = -19.25, [BWUserID] = 220, [BWSessionID] = BWSessionID of row 2, [BWCounter] = 222, [VisibleQty] = -23.25;)"));
}

TEST_F(GroupOrdersTable, ANullInAnyColumnEndsTheTable) {
  db::GroupIdMap = {{102, 901}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", std::vector<std::vector<std::int32_t>>(23, {801, 31}));
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(GroupOrdersTable, RecordsEachNewIdUnderTheSourceId) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{801, 31}, {802, 32}});
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(db::GroupOrderIdMap, (db::IdentifierMap{{101, 801}, {201, 802}}));
}

TEST_F(GroupOrdersTable, OrdersWithTheSameIdAreAllCreatedAndTheFirstNewOneIsKept) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{801, 31}, {802, 32}});
  SetRows({FirstRow(), With(SecondRow(), 1, 101)});
  Migrate();
  EXPECT_EQ(contract::SentRows().size(), 2U);
  EXPECT_EQ(db::GroupOrderIdMap, (db::IdentifierMap{{101, 801}}));
}

TEST_F(GroupOrdersTable, AMissingGroupEndsTheRunBehindTheBindingAndBeforeTheExecution) {
  SetRows({FirstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(odbc_double::Calls().back(),
            "SQLBindParameter(stmt2, 23, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, "
            "null)");
  EXPECT_EQ(CountOf("SQLBindParameter"), 23U);
  EXPECT_THAT(db::GroupOrderIdMap, IsEmpty());
  EXPECT_THAT(LoggedRows(), IsEmpty());
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt2"));
}

TEST_F(GroupOrdersTable, TheSourcesIdAndCounterAreNotSent) {
  db::GroupIdMap = {{102, 901}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{801, 31}, {802, 32}});
  SetRows({FirstRow(), With(With(FirstRow(), 1, 77701), 22, 77722)});
  Migrate();
  const std::vector<std::string> sent = contract::SentRows();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0], sent[1]);
}

TEST_F(GroupOrdersTable, ASessionIdThatFillsItsColumnArrivesWhole) {
  db::GroupIdMap = {{102, 901}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{801, 31}});
  SetRows({With(FirstRow(), 21, "0123456789012345678901234567890123456789")});
  Migrate();
  EXPECT_THAT(contract::Sent(21), ElementsAre(R"("0123456789012345678901234567890123456789")"));
}

TEST_F(GroupOrdersTable, AFailingSelectEndsTheRunWithAnEmptyMessageAndAsksForNoDiagnostics) {
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecDirect", 2), "");
  EXPECT_THAT(odbc_double::Calls().back(), EndsWith(" FROM dbo.[GroupOrders]\", 279) -> SQL_ERROR"));
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
}

TEST_F(GroupOrdersTable, AFailingColumnBindingEndsTheRunWithAnEmptyMessageAndAsksForNoDiagnostics) {
  EXPECT_EQ(MigrateUntilFailureOf("SQLBindCol", 2), "");
  EXPECT_EQ(odbc_double::Calls().back(), "SQLBindCol(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null) -> SQL_ERROR");
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
}

TEST_F(GroupOrdersTable, OpenDoesNothingAndTheFirstWriteUsesTheStatementOfTheConstruction) {
  db::GroupIdMap = {{0, 901}};
  Build();
  odbc_double::ClearCalls();
  pair().destination.Open();
  EXPECT_THAT(odbc_double::Calls(), IsEmpty());
  pair().destination.Write(Row{});
  EXPECT_EQ(CountOf("SQLAllocStmt"), 0U);
  EXPECT_EQ(odbc_double::Calls().back(), "SQLFreeHandle(SQL_HANDLE_STMT, stmt2)");
}

TEST_F(GroupOrdersTable, AFailingExecutionEndsTheRunAndLeavesItsStatementToThePair) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{801, 31}});
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(db::GroupOrderIdMap, (db::IdentifierMap{{101, 801}}));
  EXPECT_EQ(LoggedRows().size(), 1U);
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt3"));
  odbc_double::ClearCalls();
  DestroyPair();
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, stmt3)", "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(GroupOrdersTable, AFailingPreparationOrBindingEndsTheRunBeforeTheLookUp) {
  SetRows({FirstRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLPrepare", 1), contract::kRefused);
  EXPECT_EQ(MigrateUntilFailureOf("SQLBindParameter", 23), contract::kRefused);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
}

TEST_F(GroupOrdersTable, AFailingAllocationEndsTheRunWithoutDiagnostics) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{801, 31}});
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLAllocStmt", 3), "SQL Error: ");
  EXPECT_EQ(odbc_double::Calls().back(), "SQLGetDiagRec(SQL_HANDLE_STMT, null, 1, 512) -> SQL_INVALID_HANDLE");
}

}  // namespace
