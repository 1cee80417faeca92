#include "db/tables/orders_in_pool.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::CountOf;
using contract::kMissingKey;
using contract::OutOfRangeOf;
using contract::ResultRow;
using contract::Sent;
using contract::With;
using testing::ElementsAre;
using testing::IsEmpty;

class OrdersInPoolTable : public contract::TableContract<db::DBTableOrdersInPoolSrc, db::DBTableOrdersInPoolDst> {
 protected:
  OrdersInPoolTable()
      : TableContract("OrdersInPool", {BW_FIELD(Row, OrderID), BW_FIELD(Row, PoolID), BW_FIELD(Row, OrderType),
                                       BW_FIELD(Row, ClientCode), BW_FIELD(Row, ClassCode), BW_FIELD(Row, SecCode),
                                       BW_FIELD(Row, Price), BW_FIELD(Row, Qty), BW_FIELD(Row, Buy), BW_FIELD(Row, ML),
                                       BW_FIELD(Row, SendQty), BW_FIELD(Row, ExecQty), BW_FIELD(Row, RejectQty),
                                       BW_FIELD(Row, KillQty), BW_FIELD(Row, ActiveQty), BW_FIELD(Row, Comment)}) {}
};

ResultRow FirstRow() {
  return {101, 1,   "C",  "ClientCode-1", "ClassCode-1", "SecCode-1", 7.5,  8.5,
          "I", "J", 11.5, 12.5,           13.5,          14.5,        15.5, "Comment-1"};
}

ResultRow SecondRow() {
  return {201, 2,   "c",    "ClientCode-a", "ClassCode-ab", "SecCode-abcd", 1.2345e-05, 1234567.891,
          "i", "j", -11.25, -12.25,         -13.25,         -14.25,         -15.25,     "Comment-abcdefghijkl"};
}

TEST_F(OrdersInPoolTable, MakesTheseCallsForTwoRows) {
  db::PoolIdMap = {{1, 10}, {2, 20}};
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."OrdersInPool" RESTART IDENTITY;", 48)
SQLExecDirect(stmt1, "SELECT [OrderID], [PoolID], [OrderType], [ClientCode], [ClassCode], [SecCode], [Price], [Qty], [Buy], [ML], [SendQty], [ExecQty], [RejectQty], [KillQty], [ActiveQty], [Comment] FROM dbo.[OrdersInPool]", 200)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.OrderID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.PoolID, 4, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.OrderType, 2, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.ClientCode, 13, null)
SQLBindCol(stmt1, 5, SQL_C_CHAR, source.ClassCode, 13, null)
SQLBindCol(stmt1, 6, SQL_C_CHAR, source.SecCode, 13, null)
SQLBindCol(stmt1, 7, SQL_C_DOUBLE, source.Price, 8, null)
SQLBindCol(stmt1, 8, SQL_C_DOUBLE, source.Qty, 8, null)
SQLBindCol(stmt1, 9, SQL_C_CHAR, source.Buy, 2, null)
SQLBindCol(stmt1, 10, SQL_C_CHAR, source.ML, 2, null)
SQLBindCol(stmt1, 11, SQL_C_DOUBLE, source.SendQty, 8, null)
SQLBindCol(stmt1, 12, SQL_C_DOUBLE, source.ExecQty, 8, null)
SQLBindCol(stmt1, 13, SQL_C_DOUBLE, source.RejectQty, 8, null)
SQLBindCol(stmt1, 14, SQL_C_DOUBLE, source.KillQty, 8, null)
SQLBindCol(stmt1, 15, SQL_C_DOUBLE, source.ActiveQty, 8, null)
SQLBindCol(stmt1, 16, SQL_C_CHAR, source.Comment, 21, null)
SQLPrepare(stmt2, "INSERT INTO public."OrdersInPool"("PoolID", "OrderType", "ClientCode", "ClassCode", "SecCode", "Price", "Qty", "Buy", "ML", "SendQty", "ExecQty", "RejectQty", "KillQty", "ActiveQty", "Comment") VALUES(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.PoolID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.OrderType, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClientCode, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.ML, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.SendQty, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.ExecQty, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RejectQty, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.KillQty, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.ActiveQty, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 21, 0, destination.Comment, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 10, "C", "ClientCode-1", "ClassCode-1", "SecCode-1", 7.5, 8.5, "I", "J", 11.5, 12.5, 13.5, 14.5, 15.5, "Comment-1"
SQLFetch(stmt1)
SQLExecute(stmt2) sends 20, "c", "ClientCode-a", "ClassCode-ab", "SecCode-abcd", 1.2345e-05, 1.23457e+06, "i", "j", -11.25, -12.25, -13.25, -14.25, -15.25, "Comment-abcdefghijkl"
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(OrdersInPoolTable, LogsEachColumnOfARow) {
  db::PoolIdMap = {{1, 10}, {2, 20}};
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [OrderID] = 201, [PoolID] = 2, [OrderType] = c, [ClientCode] = ClientCode-a, [ClassCode] = ClassCode-ab, [SecCode] = SecCode-abcd, [Price] = 1.2345e-05, [Qty] = 1.23457e+06, [Buy] = i, [ML] = j, [SendQty] = -11.25, [ExecQty] = -12.25, [RejectQty] = -13.25, [KillQty] = -14.25, [ActiveQty] = -15.25, [Comment] = Comment-abcdefghijkl;)"));
}

TEST_F(OrdersInPoolTable, ANullInAnyColumnEndsTheTable) {
  db::PoolIdMap = {{1, 10}};
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(OrdersInPoolTable, WithoutMigratedPoolsTheFirstOrderEndsTheRunAndIsNotSent) {
  SetRows({FirstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
  EXPECT_EQ(console(), "Start migrate OrdersInPool table\n");
  EXPECT_THAT(LoggedRows(), IsEmpty());
}

TEST_F(OrdersInPoolTable, OrdersOfPoolsNumberedInReadingOrderKeepTheirPoolId) {
  db::PoolIdMap = {{1, 1}, {2, 2}, {3, 3}};
  SetRows({With(FirstRow(), 2, 3), With(FirstRow(), 2, 1), With(FirstRow(), 2, 2)});
  Migrate();
  EXPECT_THAT(Sent(1), ElementsAre("3", "1", "2"));
}

TEST_F(OrdersInPoolTable, ThePoolIdIsTakenAsThePositionOfAPool) {
  db::PoolIdMap = {{1, 10}, {2, 20}};
  SetRows({With(FirstRow(), 2, 1), With(FirstRow(), 2, 2)});
  Migrate();
  EXPECT_THAT(Sent(1), ElementsAre("10", "20"));
}

TEST_F(OrdersInPoolTable, APoolIdBeyondTheNumberOfPoolsEndsTheRunAndTheOrdersBeforeItStay) {
  db::PoolIdMap = {{1, 10}, {2, 20}};
  SetRows({With(FirstRow(), 2, 1), With(FirstRow(), 2, 2), With(FirstRow(), 2, 10)});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_THAT(Sent(1), ElementsAre("10", "20"));
  EXPECT_EQ(LoggedRows().size(), 2U);
}

TEST_F(OrdersInPoolTable, IdsAreNotSent) {
  db::PoolIdMap = {{1, 10}};
  SetRows({FirstRow(), With(FirstRow(), 1, 77701)});
  Migrate();
  const std::vector<std::string> sent = contract::SentRows();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0], sent[1]);
}

TEST_F(OrdersInPoolTable, AFailingInsertEndsTheRunWithItsDiagnostics) {
  db::PoolIdMap = {{1, 10}, {2, 20}};
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(LoggedRows().size(), 1U);
}

}  // namespace
