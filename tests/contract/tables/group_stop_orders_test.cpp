#include "db/tables/group_stop_orders.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using testing::ElementsAre;

class GroupStopOrdersTable
    : public contract::TableContract<db::DBTableGroupStopOrdersSrc, db::DBTableGroupStopOrdersDst> {
 protected:
  GroupStopOrdersTable()
      : TableContract("GroupStopOrders", {BW_FIELD(Row, ID),
                                          BW_FIELD(Row, GroupID),
                                          BW_FIELD(Row, StopStyle),
                                          BW_FIELD(Row, TradeDate),
                                          BW_FIELD(Row, TradeTime),
                                          BW_FIELD(Row, Buy),
                                          BW_FIELD(Row, ML),
                                          BW_FIELD(Row, SecCode),
                                          BW_FIELD(Row, ClassCode),
                                          BW_FIELD(Row, ASecCode),
                                          BW_FIELD(Row, AClassCode),
                                          BW_FIELD(Row, StopCond),
                                          BW_FIELD(Row, TransFlags),
                                          BW_FIELD(Row, StopPrice),
                                          BW_FIELD(Row, Price),
                                          BW_FIELD(Row, LinkedPrice),
                                          BW_FIELD(Row, Offset),
                                          BW_FIELD(Row, Spread),
                                          BW_FIELD(Row, Qty),
                                          BW_FIELD(Row, RealQty),
                                          BW_FIELD(Row, BalanceQty),
                                          BW_FIELD(Row, KilledQty),
                                          BW_FIELD(Row, BaseOrderNum),
                                          BW_FIELD(Row, Status),
                                          BW_FIELD(Row, Result),
                                          BW_FIELD(Row, OrdersCount),
                                          BW_FIELD(Row, LinkedGrOrder),
                                          BW_FIELD(Row, CoOrderNum),
                                          BW_FIELD(Row, Expire),
                                          BW_FIELD(Row, StopPrice2),
                                          BW_FIELD(Row, ActiveFromTime),
                                          BW_FIELD(Row, ActiveToTime)}) {}
};

ResultRow FirstRow() {
  return {101,  102, 103,  20240104, 101505, "F",  "G",  "SecCode-1", "ClassCode-1", "ASecCode-1", "AClassCode-1",
          112,  113, 14.5, 15.5,     16.5,   17.5, 18.5, 19.5,        20.5,          21.5,         22.5,
          23.5, "X", "Y",  126,      127,    28.5, 129,  30.5,        101531,        101532};
}

ResultRow SecondRow() {
  return {201,
          202,
          203,
          20251204,
          235905,
          "f",
          "g",
          "SecCode-abcd",
          "ClassCode-ab",
          "ASecCode-abc",
          "AClassCode-a",
          212,
          213,
          -14.25,
          1.2345e-05,
          -16.25,
          -17.25,
          -18.25,
          1234567.891,
          -20.25,
          -21.25,
          -22.25,
          -23.25,
          "x",
          "y",
          -226,
          227,
          -28.25,
          -229,
          -30.25,
          235931,
          235932};
}

TEST_F(GroupStopOrdersTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."GroupStopOrders" RESTART IDENTITY;", 51)
SQLExecDirect(stmt1, "SELECT [ID], [GroupID], [StopStyle], [TradeDate], [TradeTime], [Buy], [ML], [SecCode], [ClassCode], [ASecCode], [AClassCode], [StopCond], [TransFlags], [StopPrice], [Price], [LinkedPrice], [Offset], [Spread], [Qty], [RealQty], [BalanceQty], [KilledQty], [BaseOrderNum], [Status], [Result], [OrdersCount], [LinkedGrOrder], [CoOrderNum], [Expire], [StopPrice2], [ActiveFromTime], [ActiveToTime] FROM dbo.[GroupStopOrders];", 420)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null)
SQLBindCol(stmt1, 3, SQL_C_LONG, source.StopStyle, 4, null)
SQLBindCol(stmt1, 4, SQL_C_LONG, source.TradeDate, 4, null)
SQLBindCol(stmt1, 5, SQL_C_LONG, source.TradeTime, 4, null)
SQLBindCol(stmt1, 6, SQL_C_CHAR, source.Buy, 2, null)
SQLBindCol(stmt1, 7, SQL_C_CHAR, source.ML, 2, null)
SQLBindCol(stmt1, 8, SQL_C_CHAR, source.SecCode, 13, null)
SQLBindCol(stmt1, 9, SQL_C_CHAR, source.ClassCode, 13, null)
SQLBindCol(stmt1, 10, SQL_C_CHAR, source.ASecCode, 13, null)
SQLBindCol(stmt1, 11, SQL_C_CHAR, source.AClassCode, 13, null)
SQLBindCol(stmt1, 12, SQL_C_LONG, source.StopCond, 4, null)
SQLBindCol(stmt1, 13, SQL_C_LONG, source.TransFlags, 4, null)
SQLBindCol(stmt1, 14, SQL_C_DOUBLE, source.StopPrice, 8, null)
SQLBindCol(stmt1, 15, SQL_C_DOUBLE, source.Price, 8, null)
SQLBindCol(stmt1, 16, SQL_C_DOUBLE, source.LinkedPrice, 8, null)
SQLBindCol(stmt1, 17, SQL_C_DOUBLE, source.Offset, 8, null)
SQLBindCol(stmt1, 18, SQL_C_DOUBLE, source.Spread, 8, null)
SQLBindCol(stmt1, 19, SQL_C_DOUBLE, source.Qty, 8, null)
SQLBindCol(stmt1, 20, SQL_C_DOUBLE, source.RealQty, 8, null)
SQLBindCol(stmt1, 21, SQL_C_DOUBLE, source.BalanceQty, 8, null)
SQLBindCol(stmt1, 22, SQL_C_DOUBLE, source.KilledQty, 8, null)
SQLBindCol(stmt1, 23, SQL_C_DOUBLE, source.BaseOrderNum, 8, null)
SQLBindCol(stmt1, 24, SQL_C_CHAR, source.Status, 2, null)
SQLBindCol(stmt1, 25, SQL_C_CHAR, source.Result, 2, null)
SQLBindCol(stmt1, 26, SQL_C_LONG, source.OrdersCount, 4, null)
SQLBindCol(stmt1, 27, SQL_C_LONG, source.LinkedGrOrder, 4, null)
SQLBindCol(stmt1, 28, SQL_C_DOUBLE, source.CoOrderNum, 8, null)
SQLBindCol(stmt1, 29, SQL_C_LONG, source.Expire, 4, null)
SQLBindCol(stmt1, 30, SQL_C_DOUBLE, source.StopPrice2, 8, null)
SQLBindCol(stmt1, 31, SQL_C_LONG, source.ActiveFromTime, 4, null)
SQLBindCol(stmt1, 32, SQL_C_LONG, source.ActiveToTime, 4, null)
SQLPrepare(stmt2, "INSERT INTO public."GroupStopOrders"("ID", "GroupID", "StopStyle", "TradeDate", "TradeTime", "Buy", "ML", "SecCode", "ClassCode", "ASecCode", "AClassCode", "StopCond", "TransFlags", "StopPrice", "Price", "LinkedPrice", "Offset", "Spread", "Qty", "RealQty", "BalanceQty", "KilledQty", "BaseOrderNum", "Status", "Result", "OrdersCount", "LinkedGrOrder", "CoOrderNum", "Expire", "StopPrice2", "ActiveFromTime", "ActiveToTime") VALUES(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupID, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.StopStyle, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeTime, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.ML, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ASecCode, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.AClassCode, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.StopCond, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TransFlags, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.StopPrice, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt2, 16, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.LinkedPrice, 0, null)
SQLBindParameter(stmt2, 17, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Offset, 0, null)
SQLBindParameter(stmt2, 18, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Spread, 0, null)
SQLBindParameter(stmt2, 19, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt2, 20, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RealQty, 0, null)
SQLBindParameter(stmt2, 21, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.BalanceQty, 0, null)
SQLBindParameter(stmt2, 22, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.KilledQty, 0, null)
SQLBindParameter(stmt2, 23, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.BaseOrderNum, 0, null)
SQLBindParameter(stmt2, 24, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Status, 0, null)
SQLBindParameter(stmt2, 25, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Result, 0, null)
SQLBindParameter(stmt2, 26, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrdersCount, 0, null)
SQLBindParameter(stmt2, 27, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.LinkedGrOrder, 0, null)
SQLBindParameter(stmt2, 28, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.CoOrderNum, 0, null)
SQLBindParameter(stmt2, 29, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.Expire, 0, null)
SQLBindParameter(stmt2, 30, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.StopPrice2, 0, null)
SQLBindParameter(stmt2, 31, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ActiveFromTime, 0, null)
SQLBindParameter(stmt2, 32, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ActiveToTime, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 101, 102, 103, 20240104, 101505, "F", "G", "SecCode-1", "ClassCode-1", "ASecCode-1", "AClassCode-1", 112, 113, 14.5, 15.5, 16.5, 17.5, 18.5, 19.5, 20.5, 21.5, 22.5, 23.5, "X", "Y", 126, 127, 28.5, 129, 30.5, 101531, 101532
SQLFetch(stmt1)
SQLExecute(stmt2) sends 201, 202, 203, 20251204, 235905, "f", "g", "SecCode-abcd", "ClassCode-ab", "ASecCode-abc", "AClassCode-a", 212, 213, -14.25, 1.2345e-05, -16.25, -17.25, -18.25, 1.23457e+06, -20.25, -21.25, -22.25, -23.25, "x", "y", -226, 227, -28.25, -229, -30.25, 235931, 235932
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(GroupStopOrdersTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ID] = 201, [GroupID] = 202, [StopStyle] = 203, [TradeDate] = 20251204, [TradeTime] = 235905, [Buy] = f, [ML] = g, [SecCode] = SecCode-abcd, [ClassCode] = ClassCode-ab, [ASecCode] = ASecCode-abc, [AClassCode] = AClassCode-a, [StopCond] = 212, [TransFlags] = 213, [StopPrice] = -14.25, [Price] = 1.2345e-05, [LinkedPrice] = -16.25, [Offset] = -17.25, [Spread] = -18.25, [Qty] = 1.23457e+06, [RealQty] = -20.25, [BalanceQty] = -21.25, [KilledQty] = -22.25, [BaseOrderNum] = -23.25, [Status] = x, [Result] = y, [OrdersCount] = -226, [LinkedGrOrder] = 227, [CoOrderNum] = -28.25, [Expire] = -229, [StopPrice2] = -30.25, [ActiveFromTime] = 235931, [ActiveToTime] = 235932;)"));
}

TEST_F(GroupStopOrdersTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(GroupStopOrdersTable, GroupsKeepTheIdOfTheSource) {
  db::GroupIdMap = {{102, 902}};
  SetRows({FirstRow()});
  Migrate();
  EXPECT_THAT(contract::Sent(2), ElementsAre("102"));
}

}  // namespace
