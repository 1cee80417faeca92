#include "db/tables/export_order.h"

#include <string>

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::CountOf;
using contract::kNull;
using contract::ResultRow;
using contract::Sent;
using contract::SentRows;
using contract::With;
using testing::ElementsAre;

class ExportOrderTable : public contract::TableContract<db::DBTableExportOrderSrc, db::DBTableExportOrderDst> {
 protected:
  ExportOrderTable()
      : TableContract("ExportOrder", {BW_FIELD(Row, ID),
                                      BW_FIELD(Row, OrderID),
                                      BW_FIELD(Row, GroupOrderID),
                                      BW_FIELD(Row, OrderType),
                                      BW_FIELD(Row, TradeDate),
                                      BW_FIELD(Row, SendDate),
                                      BW_FIELD(Row, SendTime),
                                      BW_FIELD(Row, OrderTime),
                                      BW_FIELD(Row, Status),
                                      BW_FIELD(Row, UserGroupID),
                                      BW_FIELD(Row, UserGroupCode),
                                      BW_FIELD(Row, PoolID),
                                      BW_FIELD(Row, BrokerPoolID),
                                      BW_FIELD(Row, ClientCode),
                                      BW_FIELD(Row, TrdAcc),
                                      BW_FIELD(Row, Price),
                                      BW_FIELD(Row, Qty),
                                      BW_FIELD(Row, Balance),
                                      BW_FIELD(Row, Buy),
                                      BW_FIELD(Row, ML),
                                      BW_FIELD(Row, ClassCode),
                                      BW_FIELD(Row, SecCode),
                                      BW_FIELD(Row, VisibleQty),
                                      BW_FIELD(Row, RepoValue),
                                      BW_FIELD(Row, Discount),
                                      BW_FIELD(Row, DiscountUpper),
                                      BW_FIELD(Row, DiscountLower),
                                      BW_FIELD(Row, RepoRate),
                                      BW_FIELD(Row, RepoTerm)}) {}
};

ResultRow FirstRow() {
  return {101,
          102,
          103,
          104,
          20240105,
          20240106,
          101507,
          101508,
          109,
          110,
          "UserGroupCode-1",
          112,
          65,
          "ClientCode-1",
          "TrdAcc-1",
          16.5,
          17.5,
          18.5,
          "S",
          "T",
          "ClassCode-1",
          "SecCode-1",
          23.5,
          24.5,
          25.5,
          26.5,
          27.5,
          28.5,
          129};
}

ResultRow SecondRow() {
  return {201,
          202,
          203,
          204,
          20251205,
          20251206,
          235907,
          235908,
          209,
          210,
          "UserGroupCode of row 2",
          212,
          16961,
          "ClientCode-a",
          "TrdAcc-abcde",
          1.2345e-05,
          1234567.891,
          -18.25,
          "s",
          "t",
          "ClassCode-ab",
          "SecCode-abcd",
          -23.25,
          -24.25,
          -25.25,
          -26.25,
          -27.25,
          -28.25,
          229};
}

TEST_F(ExportOrderTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."ExportOrder" RESTART IDENTITY;", 47)
SQLExecDirect(stmt1, "SELECT [ID], [OrderID], [GroupOrderID], [OrderType], [TradeDate], [SendDate], [SendTime], [OrderTime], [Status], [UserGroupID], [UserGroupCode], [PoolID], [BrokerPoolID], [ClientCode], [TrdAcc], [Price], [Qty], [Balance], [Buy], [ML], [ClassCode], [SecCode], [VisibleQty], [RepoValue], [Discount], [DiscountUpper], [DiscountLower], [RepoRate], [RepoTerm] FROM dbo.[ExportOrder];", 378)
SQLPrepare(stmt2, "INSERT INTO public."ExportOrder"("ID", "OrderID", "GroupOrderID", "OrderType", "TradeDate", "SendDate", "SendTime", "OrderTime", "Status", "UserGroupID", "UserGroupCode", "PoolID", "BrokerPoolID", "ClientCode", "TrdAcc", "Price", "Qty", "Balance", "Buy", "ML", "ClassCode", "SecCode", "VisibleQty", "RepoValue", "Discount", "DiscountUpper", "DiscountLower", "RepoRate", "RepoTerm") VALUES (? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderID, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupOrderID, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderType, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.SendDate, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.SendTime, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderTime, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.Status, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.UserGroupID, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 65, 0, destination.UserGroupCode, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.PoolID, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 33, 0, destination.BrokerPoolID, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClientCode, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.TrdAcc, 0, null)
SQLBindParameter(stmt2, 16, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt2, 17, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt2, 18, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Balance, 0, null)
SQLBindParameter(stmt2, 19, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt2, 20, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.ML, 0, null)
SQLBindParameter(stmt2, 21, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 22, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 23, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.VisibleQty, 0, null)
SQLBindParameter(stmt2, 24, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RepoValue, 0, null)
SQLBindParameter(stmt2, 25, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Discount, 0, null)
SQLBindParameter(stmt2, 26, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.DiscountUpper, 0, null)
SQLBindParameter(stmt2, 27, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.DiscountLower, 0, null)
SQLBindParameter(stmt2, 28, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RepoRate, 0, null)
SQLBindParameter(stmt2, 29, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.RepoTerm, 0, null)
SQLFetch(stmt1)
SQLGetData(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLGetData(stmt1, 2, SQL_C_LONG, source.OrderID, 4, null)
SQLGetData(stmt1, 3, SQL_C_LONG, source.GroupOrderID, 4, null)
SQLGetData(stmt1, 4, SQL_C_LONG, source.OrderType, 4, null)
SQLGetData(stmt1, 5, SQL_C_LONG, source.TradeDate, 4, null)
SQLGetData(stmt1, 6, SQL_C_LONG, source.SendDate, 4, null)
SQLGetData(stmt1, 7, SQL_C_LONG, source.SendTime, 4, null)
SQLGetData(stmt1, 8, SQL_C_LONG, source.OrderTime, 4, null)
SQLGetData(stmt1, 9, SQL_C_LONG, source.Status, 4, null)
SQLGetData(stmt1, 10, SQL_C_LONG, source.UserGroupID, 4, null)
SQLGetData(stmt1, 11, SQL_C_CHAR, source.UserGroupCode, 65, null)
SQLGetData(stmt1, 12, SQL_C_LONG, source.PoolID, 4, indicator)
SQLGetData(stmt1, 13, SQL_C_LONG, source.BrokerPoolID, 33, indicator)
SQLGetData(stmt1, 14, SQL_C_CHAR, source.ClientCode, 13, null)
SQLGetData(stmt1, 15, SQL_C_CHAR, source.TrdAcc, 13, null)
SQLGetData(stmt1, 16, SQL_C_DOUBLE, source.Price, 8, null)
SQLGetData(stmt1, 17, SQL_C_DOUBLE, source.Qty, 8, null)
SQLGetData(stmt1, 18, SQL_C_DOUBLE, source.Balance, 8, null)
SQLGetData(stmt1, 19, SQL_C_CHAR, source.Buy, 2, null)
SQLGetData(stmt1, 20, SQL_C_CHAR, source.ML, 2, null)
SQLGetData(stmt1, 21, SQL_C_CHAR, source.ClassCode, 13, null)
SQLGetData(stmt1, 22, SQL_C_CHAR, source.SecCode, 13, null)
SQLGetData(stmt1, 23, SQL_C_DOUBLE, source.VisibleQty, 8, null)
SQLGetData(stmt1, 24, SQL_C_DOUBLE, source.RepoValue, 8, null)
SQLGetData(stmt1, 25, SQL_C_DOUBLE, source.Discount, 8, null)
SQLGetData(stmt1, 26, SQL_C_DOUBLE, source.DiscountUpper, 8, null)
SQLGetData(stmt1, 27, SQL_C_DOUBLE, source.DiscountLower, 8, null)
SQLGetData(stmt1, 28, SQL_C_DOUBLE, source.RepoRate, 8, null)
SQLGetData(stmt1, 29, SQL_C_LONG, source.RepoTerm, 4, null)
SQLExecute(stmt2) sends 101, 102, 103, 104, 20240105, 20240106, 101507, 101508, 109, 110, "UserGroupCode-1", 112, "A", "ClientCode-1", "TrdAcc-1", 16.5, 17.5, 18.5, "S", "T", "ClassCode-1", "SecCode-1", 23.5, 24.5, 25.5, 26.5, 27.5, 28.5, 129
SQLFetch(stmt1)
SQLGetData(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLGetData(stmt1, 2, SQL_C_LONG, source.OrderID, 4, null)
SQLGetData(stmt1, 3, SQL_C_LONG, source.GroupOrderID, 4, null)
SQLGetData(stmt1, 4, SQL_C_LONG, source.OrderType, 4, null)
SQLGetData(stmt1, 5, SQL_C_LONG, source.TradeDate, 4, null)
SQLGetData(stmt1, 6, SQL_C_LONG, source.SendDate, 4, null)
SQLGetData(stmt1, 7, SQL_C_LONG, source.SendTime, 4, null)
SQLGetData(stmt1, 8, SQL_C_LONG, source.OrderTime, 4, null)
SQLGetData(stmt1, 9, SQL_C_LONG, source.Status, 4, null)
SQLGetData(stmt1, 10, SQL_C_LONG, source.UserGroupID, 4, null)
SQLGetData(stmt1, 11, SQL_C_CHAR, source.UserGroupCode, 65, null)
SQLGetData(stmt1, 12, SQL_C_LONG, source.PoolID, 4, indicator)
SQLGetData(stmt1, 13, SQL_C_LONG, source.BrokerPoolID, 33, indicator)
SQLGetData(stmt1, 14, SQL_C_CHAR, source.ClientCode, 13, null)
SQLGetData(stmt1, 15, SQL_C_CHAR, source.TrdAcc, 13, null)
SQLGetData(stmt1, 16, SQL_C_DOUBLE, source.Price, 8, null)
SQLGetData(stmt1, 17, SQL_C_DOUBLE, source.Qty, 8, null)
SQLGetData(stmt1, 18, SQL_C_DOUBLE, source.Balance, 8, null)
SQLGetData(stmt1, 19, SQL_C_CHAR, source.Buy, 2, null)
SQLGetData(stmt1, 20, SQL_C_CHAR, source.ML, 2, null)
SQLGetData(stmt1, 21, SQL_C_CHAR, source.ClassCode, 13, null)
SQLGetData(stmt1, 22, SQL_C_CHAR, source.SecCode, 13, null)
SQLGetData(stmt1, 23, SQL_C_DOUBLE, source.VisibleQty, 8, null)
SQLGetData(stmt1, 24, SQL_C_DOUBLE, source.RepoValue, 8, null)
SQLGetData(stmt1, 25, SQL_C_DOUBLE, source.Discount, 8, null)
SQLGetData(stmt1, 26, SQL_C_DOUBLE, source.DiscountUpper, 8, null)
SQLGetData(stmt1, 27, SQL_C_DOUBLE, source.DiscountLower, 8, null)
SQLGetData(stmt1, 28, SQL_C_DOUBLE, source.RepoRate, 8, null)
SQLGetData(stmt1, 29, SQL_C_LONG, source.RepoTerm, 4, null)
SQLExecute(stmt2) sends 201, 202, 203, 204, 20251205, 20251206, 235907, 235908, 209, 210, "UserGroupCode of row 2", 212, "AB", "ClientCode-a", "TrdAcc-abcde", 1.2345e-05, 1.23457e+06, -18.25, "s", "t", "ClassCode-ab", "SecCode-abcd", -23.25, -24.25, -25.25, -26.25, -27.25, -28.25, 229
SQLFetch(stmt1) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(ExportOrderTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ID] = 201, [OrderID] = 202, [GroupOrderID] = 203, [OrderType] = 204, [TradeDate] = 20251205, [SendDate] = 20251206, [SendTime] = 235907, [OrderTime] = 235908, [Status] = 209, [UserGroupID] = 210, [UserGroupCode] = UserGroupCode of row 2, [PoolID] = 212, [BrokerPoolID] = AB, [ClientCode] = ClientCode-a, [TrdAcc] = TrdAcc-abcde, [Price] = 1.2345e-05, [Qty] = 1.23457e+06, [Balance] = -18.25, [Buy] = s, [ML] = t, [ClassCode] = ClassCode-ab, [SecCode] = SecCode-abcd, [VisibleQty] = -23.25, [RepoValue] = -24.25, [Discount] = -25.25, [DiscountUpper] = -26.25, [DiscountLower] = -27.25, [RepoRate] = -28.25, [RepoTerm] = 229;)"));
}

TEST_F(ExportOrderTable, ANullPoolIdIsSentAsMinusOne) {
  SetRows({With(FirstRow(), 12, kNull)});
  Migrate();
  EXPECT_THAT(Sent(12), ElementsAre("-1"));
}

TEST_F(ExportOrderTable, ANullBrokerPoolIdIsSentAsTheEmptyText) {
  SetRows({With(FirstRow(), 13, kNull)});
  Migrate();
  EXPECT_THAT(Sent(13), ElementsAre(R"("")"));
}

TEST_F(ExportOrderTable, ABrokerPoolIdIsSentAsTheBytesOfItsNumber) {
  SetRows({With(FirstRow(), 13, 65), With(FirstRow(), 13, "65"), With(FirstRow(), 13, 256), With(FirstRow(), 13, 0),
           With(FirstRow(), 13, 16961), With(FirstRow(), 13, 1145258561)});
  Migrate();
  EXPECT_THAT(Sent(13), ElementsAre(R"("A")", R"("A")", R"("")", R"("")", R"("AB")", R"("ABCD")"));
}

// The row buffers are not cleared between rows, and a NULL clears one byte only.
TEST_F(ExportOrderTable, ANullBrokerPoolIdLeavesTheBytesBehindItsFirstOneFromTheRowBefore) {
  SetRows({With(FirstRow(), 13, 16961), With(FirstRow(), 13, kNull)});
  Migrate();
  EXPECT_THAT(Sent(13), ElementsAre(R"("AB")", R"("")"));
  std::string expected(33, '\0');
  expected[1] = 'B';
  EXPECT_EQ(std::string(pair().source.row().BrokerPoolID, 33), expected);
  EXPECT_EQ(std::string(pair().destination.row().BrokerPoolID, 33), expected);
}

TEST_F(ExportOrderTable, ABrokerPoolIdThatIsNoNumberEndsTheTableSilently) {
  SetRows({FirstRow(), With(FirstRow(), 13, "POOL-7"), FirstRow()});
  Migrate();
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(CountOf("SQLFetch"), 2U);
  EXPECT_EQ(CountOf("SQLGetData"), 42U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
}

TEST_F(ExportOrderTable, ANullClientCodeEndsTheTableAndTheOrdersBeforeItStay) {
  SetRows({FirstRow(), FirstRow(), With(FirstRow(), 14, kNull), FirstRow()});
  Migrate();
  EXPECT_EQ(SentRows().size(), 2U);
  EXPECT_THAT(console(), testing::HasSubstr("Total rows read = 2 Total migrated rows = 2. "));
}

TEST_F(ExportOrderTable, ANullInAnyColumnButThePoolsEndsTheTableSilently) {
  ExpectANullEndsTheTableSilently(
      FirstRow(), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29});
}

TEST_F(ExportOrderTable, WhereTheDriverIgnoresANullTheValueOfTheRowBeforeGoesOn) {
  odbc_double::IgnoreNullsWithoutIndicator();
  SetRows({FirstRow(), ResultRow(29, kNull)});
  Migrate();
  ASSERT_EQ(SentRows().size(), 2U);
  EXPECT_EQ(SentRows()[1],
            R"(101, 102, 103, 104, 20240105, 20240106, 101507, 101508, 109, 110, "UserGroupCode-1", -1, "", )"
            R"("ClientCode-1", "TrdAcc-1", 16.5, 17.5, 18.5, "S", "T", "ClassCode-1", "SecCode-1", 23.5, 24.5, )"
            R"(25.5, 26.5, 27.5, 28.5, 129)");
}

TEST_F(ExportOrderTable, WhatAnOrderRefersToKeepsTheIdsOfTheSource) {
  db::GroupIdMap = {{110, 910}};
  db::GroupOrderIdMap = {{103, 803}};
  db::PoolIdMap = {{112, 712}};
  SetRows({FirstRow()});
  Migrate();
  EXPECT_THAT(Sent(2), ElementsAre("102"));
  EXPECT_THAT(Sent(3), ElementsAre("103"));
  EXPECT_THAT(Sent(10), ElementsAre("110"));
  EXPECT_THAT(Sent(12), ElementsAre("112"));
}

TEST_F(ExportOrderTable, AFetchErrorEndsTheTableWithoutGatheringDiagnostics) {
  SetRows({FirstRow(), FirstRow()});
  odbc_double::OnCall("SQLFetch", 2, {.result = SQL_ERROR, .diagnostics = {{"08S01", 1, "gone"}}});
  Migrate();
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
}

}  // namespace
