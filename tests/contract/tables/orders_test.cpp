#include "db/tables/orders.h"

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
using testing::IsEmpty;

class OrdersTable : public contract::TableContract<db::DBTableOrdersSrc, db::DBTableOrdersDst> {
 protected:
  OrdersTable()
      : TableContract("Orders", {BW_FIELD(Row, OrderID),    BW_FIELD(Row, GroupOrderID),  BW_FIELD(Row, Buy),
                                 BW_FIELD(Row, ML),         BW_FIELD(Row, TradeDate),     BW_FIELD(Row, TradeTime),
                                 BW_FIELD(Row, SecCode),    BW_FIELD(Row, ClassCode),     BW_FIELD(Row, ClientCode),
                                 BW_FIELD(Row, TrdAcc),     BW_FIELD(Row, Price),         BW_FIELD(Row, Qty),
                                 BW_FIELD(Row, BalanceQty), BW_FIELD(Row, OrderNum),      BW_FIELD(Row, Status),
                                 BW_FIELD(Row, Result),     BW_FIELD(Row, OrderInPoolID), BW_FIELD(Row, Value),
                                 BW_FIELD(Row, VisibleQty), BW_FIELD(Row, BWUserID),      BW_FIELD(Row, BWSessionID),
                                 BW_FIELD(Row, BWCounter)}) {}
};

ResultRow FirstRow() {
  return {101,  102,  "C", "D", 20240105, 101506, "SecCode-1", "ClassCode-1", "ClientCode-1",  "TrdAcc-1", 11.5, 12.5,
          13.5, 14.5, "O", "P", 117,      18.5,   19.5,        120,           "BWSessionID-1", 122};
}

ResultRow SecondRow() {
  return {201,
          202,
          "c",
          "d",
          20251205,
          235906,
          "SecCode-abcd",
          "ClassCode-ab",
          "ClientCode-a",
          "TrdAcc-abcde",
          1.2345e-05,
          1234567.891,
          -13.25,
          -14.25,
          "o",
          "p",
          217,
          -18.25,
          -19.25,
          220,
          "BWSessionID of row 2",
          222};
}

TEST_F(OrdersTable, MakesTheseCallsForTwoRows) {
  db::GroupOrderIdMap = {{102, 801}, {202, 802}};
  odbc_double::SetOutputs("BW_CreateOrder", {{701, 41}, {702, 42}});
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."Orders" RESTART IDENTITY;", 42)
SQLExecDirect(stmt1, "SELECT [OrderID], [GroupOrderID], [Buy], [ML], [TradeDate], [TradeTime], [SecCode], [ClassCode], [ClientCode], [TrdAcc], [Price], [Qty], [BalanceQty], [OrderNum], [Status], [Result], [OrderInPoolID], [Value], [VisibleQty], [BWUserID], [BWSessionID], [BWCounter] FROM dbo.[Orders]", 279)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.OrderID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.GroupOrderID, 4, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.Buy, 2, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.ML, 2, null)
SQLBindCol(stmt1, 5, SQL_C_LONG, source.TradeDate, 4, null)
SQLBindCol(stmt1, 6, SQL_C_LONG, source.TradeTime, 4, null)
SQLBindCol(stmt1, 7, SQL_C_CHAR, source.SecCode, 13, null)
SQLBindCol(stmt1, 8, SQL_C_CHAR, source.ClassCode, 13, null)
SQLBindCol(stmt1, 9, SQL_C_CHAR, source.ClientCode, 13, null)
SQLBindCol(stmt1, 10, SQL_C_CHAR, source.TrdAcc, 13, null)
SQLBindCol(stmt1, 11, SQL_C_DOUBLE, source.Price, 8, null)
SQLBindCol(stmt1, 12, SQL_C_DOUBLE, source.Qty, 8, null)
SQLBindCol(stmt1, 13, SQL_C_DOUBLE, source.BalanceQty, 8, null)
SQLBindCol(stmt1, 14, SQL_C_DOUBLE, source.OrderNum, 8, null)
SQLBindCol(stmt1, 15, SQL_C_CHAR, source.Status, 2, null)
SQLBindCol(stmt1, 16, SQL_C_CHAR, source.Result, 2, null)
SQLBindCol(stmt1, 17, SQL_C_LONG, source.OrderInPoolID, 4, null)
SQLBindCol(stmt1, 18, SQL_C_DOUBLE, source.Value, 8, null)
SQLBindCol(stmt1, 19, SQL_C_DOUBLE, source.VisibleQty, 8, null)
SQLBindCol(stmt1, 20, SQL_C_LONG, source.BWUserID, 4, null)
SQLBindCol(stmt1, 21, SQL_C_CHAR, source.BWSessionID, 41, null)
SQLBindCol(stmt1, 22, SQL_C_LONG, source.BWCounter, 4, null)
SQLFetch(stmt1)
SQLPrepare(stmt2, "CALL public."BW_CreateOrder"(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupOrderID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeTime, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.ML, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClientCode, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.TrdAcc, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.BalanceQty, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.OrderNum, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Status, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Result, 0, null)
SQLBindParameter(stmt2, 16, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderInPoolID, 0, null)
SQLBindParameter(stmt2, 17, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Value, 0, null)
SQLBindParameter(stmt2, 18, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.VisibleQty, 0, null)
SQLBindParameter(stmt2, 19, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWUserID, 0, null)
SQLBindParameter(stmt2, 20, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 41, 0, destination.BWSessionID, 0, null)
SQLBindParameter(stmt2, 21, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderID, 0, null)
SQLBindParameter(stmt2, 22, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, null)
SQLExecute(stmt2) sends 801, 20240105, 101506, "C", "D", "SecCode-1", "ClassCode-1", "ClientCode-1", "TrdAcc-1", 11.5, 12.5, 13.5, 14.5, "O", "P", 117, 18.5, 19.5, 120, "BWSessionID-1"
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFetch(stmt1)
SQLAllocStmt(dbc2)
SQLPrepare(stmt3, "CALL public."BW_CreateOrder"(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt3, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupOrderID, 0, null)
SQLBindParameter(stmt3, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt3, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeTime, 0, null)
SQLBindParameter(stmt3, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt3, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.ML, 0, null)
SQLBindParameter(stmt3, 6, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt3, 7, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt3, 8, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClientCode, 0, null)
SQLBindParameter(stmt3, 9, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.TrdAcc, 0, null)
SQLBindParameter(stmt3, 10, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt3, 11, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt3, 12, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.BalanceQty, 0, null)
SQLBindParameter(stmt3, 13, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.OrderNum, 0, null)
SQLBindParameter(stmt3, 14, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Status, 0, null)
SQLBindParameter(stmt3, 15, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Result, 0, null)
SQLBindParameter(stmt3, 16, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderInPoolID, 0, null)
SQLBindParameter(stmt3, 17, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Value, 0, null)
SQLBindParameter(stmt3, 18, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.VisibleQty, 0, null)
SQLBindParameter(stmt3, 19, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWUserID, 0, null)
SQLBindParameter(stmt3, 20, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 41, 0, destination.BWSessionID, 0, null)
SQLBindParameter(stmt3, 21, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderID, 0, null)
SQLBindParameter(stmt3, 22, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, null)
SQLExecute(stmt3) sends 802, 20251205, 235906, "c", "d", "SecCode-abcd", "ClassCode-ab", "ClientCode-a", "TrdAcc-abcde", 1.2345e-05, 1.23457e+06, -13.25, -14.25, "o", "p", 217, -18.25, -19.25, 220, "BWSessionID of row 2"
SQLFreeHandle(SQL_HANDLE_STMT, stmt3)
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(OrdersTable, LogsEachColumnOfARow) {
  db::GroupOrderIdMap = {{102, 801}, {202, 802}};
  odbc_double::SetOutputs("BW_CreateOrder", {{701, 41}, {702, 42}});
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [OrderID] = 201, [GroupOrderID] = 202, [Buy] = c, [ML] = d, [TradeDate] = 20251205, [TradeTime] = 235906, [SecCode] = SecCode-abcd, [ClassCode] = ClassCode-ab, [ClientCode] = ClientCode-a, [TrdAcc] = TrdAcc-abcde, [Price] = 1.2345e-05, [Qty] = 1.23457e+06, [BalanceQty] = -13.25, [OrderNum] = -14.25, [Status] = o, [Result] = p, [OrderInPoolID] = 217, [Value] = -18.25, [VisibleQty] = -19.25, [BWUserID] = 220, [BWSessionID] = BWSessionID of row 2, [BWCounter] = 222;)"));
}

TEST_F(OrdersTable, ANullInAnyColumnEndsTheTable) {
  db::GroupOrderIdMap = {{102, 801}};
  odbc_double::SetOutputs("BW_CreateOrder", std::vector<std::vector<std::int32_t>>(22, {701, 41}));
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(OrdersTable, AnOrderWithoutGroupOrderEndsTheRun) {
  db::GroupOrderIdMap = {{102, 801}};
  SetRows({With(FirstRow(), 2, 0)});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
}

TEST_F(OrdersTable, OrdersInFrontOfTheOneWhoseGroupOrderIsMissingStay) {
  db::GroupOrderIdMap = {{102, 801}};
  odbc_double::SetOutputs("BW_CreateOrder", {{701, 41}});
  SetRows({FirstRow(), With(FirstRow(), 2, 4711), FirstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(contract::SentRows().size(), 1U);
  EXPECT_EQ(LoggedRows().size(), 1U);
}

TEST_F(OrdersTable, AMissingGroupOrderEndsTheRunBehindTheBindingAndBeforeTheExecution) {
  SetRows({FirstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(odbc_double::Calls().back(),
            "SQLBindParameter(stmt2, 22, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, "
            "null)");
  EXPECT_EQ(CountOf("SQLBindParameter"), 22U);
  EXPECT_THAT(LoggedRows(), IsEmpty());
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt2"));
}

TEST_F(OrdersTable, TheSourcesIdAndCounterAreNotSent) {
  db::GroupOrderIdMap = {{102, 801}};
  odbc_double::SetOutputs("BW_CreateOrder", {{701, 41}, {702, 42}});
  SetRows({FirstRow(), With(With(FirstRow(), 1, 77701), 22, 77722)});
  Migrate();
  const std::vector<std::string> sent = contract::SentRows();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0], sent[1]);
}

TEST_F(OrdersTable, TheNewIdIsRecordedNowhere) {
  db::GroupOrderIdMap = {{102, 801}};
  odbc_double::SetOutputs("BW_CreateOrder", {{701, 41}});
  SetRows({FirstRow()});
  Migrate();
  EXPECT_EQ(db::GroupOrderIdMap, (db::IdentifierMap{{102, 801}}));
  EXPECT_THAT(db::GroupIdMap, IsEmpty());
  EXPECT_THAT(db::PoolIdMap, IsEmpty());
}

TEST_F(OrdersTable, ASessionIdThatFillsItsColumnArrivesWhole) {
  db::GroupOrderIdMap = {{102, 801}};
  odbc_double::SetOutputs("BW_CreateOrder", {{701, 41}});
  SetRows({With(FirstRow(), 21, "0123456789012345678901234567890123456789")});
  Migrate();
  EXPECT_THAT(contract::Sent(20), ElementsAre(R"("0123456789012345678901234567890123456789")"));
}

TEST_F(OrdersTable, AFailingSelectEndsTheRunWithItsDiagnostics) {
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecDirect", 2), contract::kRefused);
}

TEST_F(OrdersTable, OpenDoesNothingAndTheFirstWriteUsesTheStatementOfTheConstruction) {
  db::GroupOrderIdMap = {{0, 801}};
  Build();
  odbc_double::ClearCalls();
  pair().destination.Open();
  EXPECT_THAT(odbc_double::Calls(), IsEmpty());
  pair().destination.Write(Row{});
  EXPECT_EQ(CountOf("SQLAllocStmt"), 0U);
  EXPECT_EQ(odbc_double::Calls().back(), "SQLFreeHandle(SQL_HANDLE_STMT, stmt2)");
}

TEST_F(OrdersTable, AFailingExecutionEndsTheRunAndLeavesItsStatementToThePair) {
  db::GroupOrderIdMap = {{102, 801}, {202, 802}};
  odbc_double::SetOutputs("BW_CreateOrder", {{701, 41}});
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(LoggedRows().size(), 1U);
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt3"));
  odbc_double::ClearCalls();
  DestroyPair();
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, stmt3)", "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(OrdersTable, AFailingPreparationOrBindingEndsTheRunBeforeTheLookUp) {
  SetRows({FirstRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLPrepare", 1), contract::kRefused);
  EXPECT_EQ(MigrateUntilFailureOf("SQLBindParameter", 22), contract::kRefused);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
}

TEST_F(OrdersTable, AFailingAllocationEndsTheRunWithoutDiagnostics) {
  db::GroupOrderIdMap = {{102, 801}, {202, 802}};
  odbc_double::SetOutputs("BW_CreateOrder", {{701, 41}});
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLAllocStmt", 3), "SQL Error: ");
  EXPECT_EQ(odbc_double::Calls().back(), "SQLGetDiagRec(SQL_HANDLE_STMT, null, 1, 512) -> SQL_INVALID_HANDLE");
}

}  // namespace
