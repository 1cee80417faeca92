#include "db/tables/stop_orders.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using testing::ElementsAre;

class StopOrdersTable : public contract::TableContract<db::DBTableStopOrdersSrc, db::DBTableStopOrdersDst> {
 protected:
  StopOrdersTable()
      : TableContract("StopOrders", {BW_FIELD(Row, OrderID),
                                     BW_FIELD(Row, GroupOrderID),
                                     BW_FIELD(Row, StopStyle),
                                     BW_FIELD(Row, Buy),
                                     BW_FIELD(Row, ML),
                                     BW_FIELD(Row, TradeDate),
                                     BW_FIELD(Row, TradeTime),
                                     BW_FIELD(Row, SecCode),
                                     BW_FIELD(Row, ClassCode),
                                     BW_FIELD(Row, ASecCode),
                                     BW_FIELD(Row, AClassCode),
                                     BW_FIELD(Row, StopCond),
                                     BW_FIELD(Row, TransFlags),
                                     BW_FIELD(Row, ClientCode),
                                     BW_FIELD(Row, StopPrice),
                                     BW_FIELD(Row, Price),
                                     BW_FIELD(Row, LinkedPrice),
                                     BW_FIELD(Row, Offset),
                                     BW_FIELD(Row, Spread),
                                     BW_FIELD(Row, Qty),
                                     BW_FIELD(Row, Balance),
                                     BW_FIELD(Row, StopOrderNum),
                                     BW_FIELD(Row, LinkedOrderNum),
                                     BW_FIELD(Row, BaseOrderNum),
                                     BW_FIELD(Row, CoOrderNum),
                                     BW_FIELD(Row, Status),
                                     BW_FIELD(Row, Result),
                                     BW_FIELD(Row, Expire),
                                     BW_FIELD(Row, StopPrice2),
                                     BW_FIELD(Row, ActiveFromTime),
                                     BW_FIELD(Row, ActiveToTime),
                                     BW_FIELD(Row, TrdAcc)}) {}
};

ResultRow FirstRow() {
  return {101,
          102,
          103,
          "D",
          "E",
          20240106,
          101507,
          "SecCode-1",
          "ClassCode-1",
          "ASecCode-1",
          "AClassCode-1",
          112,
          113,
          "ClientCode-1",
          15.5,
          16.5,
          17.5,
          18.5,
          19.5,
          20.5,
          21.5,
          22.5,
          23.5,
          24.5,
          25.5,
          "Z",
          "A",
          128,
          29.5,
          101530,
          101531,
          "TrdAcc-1"};
}

ResultRow SecondRow() {
  return {201,
          202,
          203,
          "d",
          "e",
          20251206,
          235907,
          "SecCode-abcd",
          "ClassCode-ab",
          "ASecCode-abc",
          "AClassCode-a",
          212,
          213,
          "ClientCode-a",
          -15.25,
          1.2345e-05,
          -17.25,
          -18.25,
          -19.25,
          1234567.891,
          -21.25,
          -22.25,
          -23.25,
          -24.25,
          -25.25,
          "z",
          "a",
          -228,
          -29.25,
          235930,
          235931,
          "TrdAcc-abcde"};
}

TEST_F(StopOrdersTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."StopOrders" RESTART IDENTITY;", 46)
SQLExecDirect(stmt1, "SELECT [OrderID], [GroupOrderID], [StopStyle], [Buy], [ML], [TradeDate], [TradeTime], [SecCode], [ClassCode], [ASecCode], [AClassCode], [StopCond], [TransFlags], [ClientCode], [StopPrice], [Price], [LinkedPrice], [Offset], [Spread], [Qty], [Balance], [StopOrderNum], [LinkedOrderNum], [BaseOrderNum], [CoOrderNum], [Status], [Result], [Expire], [StopPrice2], [ActiveFromTime], [ActiveToTime], [TrdAcc] FROM dbo.[StopOrders];", 424)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.OrderID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.GroupOrderID, 4, null)
SQLBindCol(stmt1, 3, SQL_C_LONG, source.StopStyle, 4, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.Buy, 2, null)
SQLBindCol(stmt1, 5, SQL_C_CHAR, source.ML, 2, null)
SQLBindCol(stmt1, 6, SQL_C_LONG, source.TradeDate, 4, null)
SQLBindCol(stmt1, 7, SQL_C_LONG, source.TradeTime, 4, null)
SQLBindCol(stmt1, 8, SQL_C_CHAR, source.SecCode, 13, null)
SQLBindCol(stmt1, 9, SQL_C_CHAR, source.ClassCode, 13, null)
SQLBindCol(stmt1, 10, SQL_C_CHAR, source.ASecCode, 13, null)
SQLBindCol(stmt1, 11, SQL_C_CHAR, source.AClassCode, 13, null)
SQLBindCol(stmt1, 12, SQL_C_LONG, source.StopCond, 4, null)
SQLBindCol(stmt1, 13, SQL_C_LONG, source.TransFlags, 4, null)
SQLBindCol(stmt1, 14, SQL_C_CHAR, source.ClientCode, 13, null)
SQLBindCol(stmt1, 15, SQL_C_DOUBLE, source.StopPrice, 8, null)
SQLBindCol(stmt1, 16, SQL_C_DOUBLE, source.Price, 8, null)
SQLBindCol(stmt1, 17, SQL_C_DOUBLE, source.LinkedPrice, 8, null)
SQLBindCol(stmt1, 18, SQL_C_DOUBLE, source.Offset, 8, null)
SQLBindCol(stmt1, 19, SQL_C_DOUBLE, source.Spread, 8, null)
SQLBindCol(stmt1, 20, SQL_C_DOUBLE, source.Qty, 8, null)
SQLBindCol(stmt1, 21, SQL_C_DOUBLE, source.Balance, 8, null)
SQLBindCol(stmt1, 22, SQL_C_DOUBLE, source.StopOrderNum, 8, null)
SQLBindCol(stmt1, 23, SQL_C_DOUBLE, source.LinkedOrderNum, 8, null)
SQLBindCol(stmt1, 24, SQL_C_DOUBLE, source.BaseOrderNum, 8, null)
SQLBindCol(stmt1, 25, SQL_C_DOUBLE, source.CoOrderNum, 8, null)
SQLBindCol(stmt1, 26, SQL_C_CHAR, source.Status, 2, null)
SQLBindCol(stmt1, 27, SQL_C_CHAR, source.Result, 2, null)
SQLBindCol(stmt1, 28, SQL_C_LONG, source.Expire, 4, null)
SQLBindCol(stmt1, 29, SQL_C_DOUBLE, source.StopPrice2, 8, null)
SQLBindCol(stmt1, 30, SQL_C_LONG, source.ActiveFromTime, 4, null)
SQLBindCol(stmt1, 31, SQL_C_LONG, source.ActiveToTime, 4, null)
SQLBindCol(stmt1, 32, SQL_C_CHAR, source.TrdAcc, 13, null)
SQLPrepare(stmt2, "INSERT INTO public."StopOrders"("OrderID", "GroupOrderID", "StopStyle", "Buy", "ML", "TradeDate", "TradeTime", "SecCode", "ClassCode", "ASecCode", "AClassCode", "StopCond", "TransFlags", "ClientCode", "StopPrice", "Price", "LinkedPrice", "Offset", "Spread", "Qty", "Balance", "StopOrderNum", "LinkedOrderNum", "BaseOrderNum", "CoOrderNum", "Status", "Result", "Expire", "StopPrice2", "ActiveFromTime", "ActiveToTime", "TrdAcc") VALUES(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupOrderID, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.StopStyle, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.ML, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeTime, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ASecCode, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.AClassCode, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.StopCond, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TransFlags, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClientCode, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.StopPrice, 0, null)
SQLBindParameter(stmt2, 16, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt2, 17, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.LinkedPrice, 0, null)
SQLBindParameter(stmt2, 18, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Offset, 0, null)
SQLBindParameter(stmt2, 19, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Spread, 0, null)
SQLBindParameter(stmt2, 20, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt2, 21, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Balance, 0, null)
SQLBindParameter(stmt2, 22, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.StopOrderNum, 0, null)
SQLBindParameter(stmt2, 23, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.LinkedOrderNum, 0, null)
SQLBindParameter(stmt2, 24, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.BaseOrderNum, 0, null)
SQLBindParameter(stmt2, 25, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.CoOrderNum, 0, null)
SQLBindParameter(stmt2, 26, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Status, 0, null)
SQLBindParameter(stmt2, 27, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Result, 0, null)
SQLBindParameter(stmt2, 28, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.Expire, 0, null)
SQLBindParameter(stmt2, 29, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.StopPrice2, 0, null)
SQLBindParameter(stmt2, 30, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ActiveFromTime, 0, null)
SQLBindParameter(stmt2, 31, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ActiveToTime, 0, null)
SQLBindParameter(stmt2, 32, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.TrdAcc, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 101, 102, 103, "D", "E", 20240106, 101507, "SecCode-1", "ClassCode-1", "ASecCode-1", "AClassCode-1", 112, 113, "ClientCode-1", 15.5, 16.5, 17.5, 18.5, 19.5, 20.5, 21.5, 22.5, 23.5, 24.5, 25.5, "Z", "A", 128, 29.5, 101530, 101531, "TrdAcc-1"
SQLFetch(stmt1)
SQLExecute(stmt2) sends 201, 202, 203, "d", "e", 20251206, 235907, "SecCode-abcd", "ClassCode-ab", "ASecCode-abc", "AClassCode-a", 212, 213, "ClientCode-a", -15.25, 1.2345e-05, -17.25, -18.25, -19.25, 1.23457e+06, -21.25, -22.25, -23.25, -24.25, -25.25, "z", "a", -228, -29.25, 235930, 235931, "TrdAcc-abcde"
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(StopOrdersTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [OrderID] = 201, [GroupOrderID] = 202, [StopStyle] = 203, [Buy] = d, [ML] = e, [TradeDate] = 20251206, [TradeTime] = 235907, [SecCode] = SecCode-abcd, [ClassCode] = ClassCode-ab, [ASecCode] = ASecCode-abc, [AClassCode] = AClassCode-a, [StopCond] = 212, [TransFlags] = 213, [ClientCode] = ClientCode-a, [StopPrice] = -15.25, [Price] = 1.2345e-05, [LinkedPrice] = -17.25, [Offset] = -18.25, [Spread] = -19.25, [Qty] = 1.23457e+06, [Balance] = -21.25, [StopOrderNum] = -22.25, [LinkedOrderNum] = -23.25, [BaseOrderNum] = -24.25, [CoOrderNum] = -25.25, [Status] = z, [Result] = a, [Expire] = -228, [StopPrice2] = -29.25, [ActiveFromTime] = 235930, [ActiveToTime] = 235931, [TrdAcc] = TrdAcc-abcde;)"));
}

TEST_F(StopOrdersTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(StopOrdersTable, GroupOrdersKeepTheIdOfTheSource) {
  db::GroupOrderIdMap = {{102, 802}};
  SetRows({FirstRow()});
  Migrate();
  EXPECT_THAT(contract::Sent(2), ElementsAre("102"));
}

}  // namespace
