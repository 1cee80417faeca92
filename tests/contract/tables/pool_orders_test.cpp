#include "db/tables/pool_orders.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using contract::With;
using testing::ElementsAre;
using testing::IsEmpty;

class PoolOrdersTable : public contract::TableContract<db::DBTablePoolOrdersSrc, db::DBTablePoolOrdersDst> {
 protected:
  PoolOrdersTable()
      : TableContract("PoolOrders", {BW_FIELD(Row, PoolID), BW_FIELD(Row, BrokerPoolID), BW_FIELD(Row, PoolName),
                                     BW_FIELD(Row, LoadDate), BW_FIELD(Row, LoadTime), BW_FIELD(Row, ExpireDate),
                                     BW_FIELD(Row, Source), BW_FIELD(Row, Status), BW_FIELD(Row, KillTime),
                                     BW_FIELD(Row, TotalQty), BW_FIELD(Row, SendQty), BW_FIELD(Row, ExecQty),
                                     BW_FIELD(Row, RejectQty), BW_FIELD(Row, KilledQty), BW_FIELD(Row, ActiveQty)}) {}
};

ResultRow FirstRow() {
  return {101,        "BrokerPoolID-1", "PoolName-1", 20240104, 101505, 20240106, "Source-1",
          "Status-1", 101509,           10.5,         11.5,     12.5,   13.5,     14.5,
          15.5};
}

ResultRow SecondRow() {
  return {201,
          "BrokerPoolID of row 2",
          "PoolName of row 2",
          20251204,
          235905,
          20251206,
          "Source of row 2",
          "Status of row 2",
          235909,
          -10.25,
          -11.25,
          -12.25,
          -13.25,
          -14.25,
          -15.25};
}

TEST_F(PoolOrdersTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."PoolOrders" RESTART IDENTITY CASCADE;", 54)
SQLExecDirect(stmt1, "SELECT [PoolID], [BrokerPoolID], [PoolName], [LoadDate], [LoadTime], [ExpireDate], [Source], [Status], [KillTime], [TotalQty], [SendQty], [ExecQty], [RejectQty], [KilledQty], [ActiveQty] FROM dbo.[PoolOrders];", 209)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.PoolID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.BrokerPoolID, 33, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.PoolName, 129, null)
SQLBindCol(stmt1, 4, SQL_C_LONG, source.LoadDate, 4, null)
SQLBindCol(stmt1, 5, SQL_C_LONG, source.LoadTime, 4, null)
SQLBindCol(stmt1, 6, SQL_C_LONG, source.ExpireDate, 4, null)
SQLBindCol(stmt1, 7, SQL_C_CHAR, source.Source, 251, null)
SQLBindCol(stmt1, 8, SQL_C_CHAR, source.Status, 51, null)
SQLBindCol(stmt1, 9, SQL_C_LONG, source.KillTime, 4, null)
SQLBindCol(stmt1, 10, SQL_C_DOUBLE, source.TotalQty, 8, null)
SQLBindCol(stmt1, 11, SQL_C_DOUBLE, source.SendQty, 8, null)
SQLBindCol(stmt1, 12, SQL_C_DOUBLE, source.ExecQty, 8, null)
SQLBindCol(stmt1, 13, SQL_C_DOUBLE, source.RejectQty, 8, null)
SQLBindCol(stmt1, 14, SQL_C_DOUBLE, source.KilledQty, 8, null)
SQLBindCol(stmt1, 15, SQL_C_DOUBLE, source.ActiveQty, 8, null)
SQLPrepare(stmt2, "INSERT INTO public."PoolOrders"("BrokerPoolID", "PoolName", "LoadDate", "LoadTime", "ExpireDate", "Source", "Status", "KillTime", "TotalQty", "SendQty", "ExecQty", "RejectQty", "KilledQty", "ActiveQty") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 33, 0, destination.BrokerPoolID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 129, 0, destination.PoolName, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.LoadDate, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.LoadTime, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ExpireDate, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 251, 0, destination.Source, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 51, 0, destination.Status, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.KillTime, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.TotalQty, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.SendQty, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.ExecQty, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RejectQty, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.KilledQty, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.ActiveQty, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends "BrokerPoolID-1", "PoolName-1", 20240104, 101505, 20240106, "Source-1", "Status-1", 101509, 10.5, 11.5, 12.5, 13.5, 14.5, 15.5
SQLFetch(stmt1)
SQLExecute(stmt2) sends "BrokerPoolID of row 2", "PoolName of row 2", 20251204, 235905, 20251206, "Source of row 2", "Status of row 2", 235909, -10.25, -11.25, -12.25, -13.25, -14.25, -15.25
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(PoolOrdersTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [PoolID] = 201, [BrokerPoolID] = BrokerPoolID of row 2, [PoolName] = PoolName of row 2, [LoadDate] = 20251204, [LoadTime] = 235905, [ExpireDate] = 20251206, [Source] = Source of row 2, [Status] = Status of row 2, [KillTime] = 235909, [TotalQty] = -10.25, [SendQty] = -11.25, [ExecQty] = -12.25, [RejectQty] = -13.25, [KilledQty] = -14.25, [ActiveQty] = -15.25;)"));
}

TEST_F(PoolOrdersTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(PoolOrdersTable, RecordsEachPoolIdUnderThePositionInWhichItWasRead) {
  SetRows({With(FirstRow(), 1, 10), With(FirstRow(), 1, 20)});
  Migrate();
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 10}, {2, 20}}));
  EXPECT_EQ(db::nextPoolId, 3);
}

TEST_F(PoolOrdersTable, AnEmptyTableRecordsNothing) {
  Migrate();
  EXPECT_THAT(db::PoolIdMap, IsEmpty());
  EXPECT_EQ(db::nextPoolId, 1);
}

TEST_F(PoolOrdersTable, ARowWhoseInsertFailsHasConsumedItsPosition) {
  SetRows({With(FirstRow(), 1, 10), With(FirstRow(), 1, 20), With(FirstRow(), 1, 30)});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 10}, {2, 20}}));
  EXPECT_EQ(db::nextPoolId, 3);
  pair().source.Next();
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 10}, {2, 20}, {3, 30}}));
}

TEST_F(PoolOrdersTable, APositionThatIsRecordedKeepsItsPool) {
  db::PoolIdMap = {{1, 77}};
  SetRows({With(FirstRow(), 1, 10)});
  Migrate();
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 77}}));
  EXPECT_EQ(db::nextPoolId, 2);
}

TEST_F(PoolOrdersTable, ARowThatCannotBeFetchedConsumesNoPosition) {
  SetRows({With(FirstRow(), 1, 10), With(FirstRow(), 3, contract::kNull), With(FirstRow(), 1, 30)});
  Migrate();
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 10}}));
  EXPECT_EQ(db::nextPoolId, 2);
}

}  // namespace
