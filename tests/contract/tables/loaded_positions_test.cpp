#include "db/tables/loaded_positions.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using contract::With;
using testing::ElementsAre;

class LoadedPositionsTable
    : public contract::TableContract<db::DBTableLoadedPositionsSrc, db::DBTableLoadedPositionsDst> {
 protected:
  LoadedPositionsTable()
      : TableContract("LoadedPositions",
                      {BW_FIELD(Row, PosID), BW_FIELD(Row, PosType), BW_FIELD(Row, FirmID), BW_FIELD(Row, ActiveCode),
                       BW_FIELD(Row, ClientCode), BW_FIELD(Row, LimitKind), BW_FIELD(Row, OpenBalance)}) {}
};

ResultRow FirstRow() {
  return {101, 102, "FirmID-1", "ActiveCode-1", "ClientCode-1", 106, 7.5};
}

ResultRow SecondRow() {
  return {201, 202, "FirmID-abcde", "ActiveCode-a", "ClientCode-a", -206, -7.25};
}

TEST_F(LoadedPositionsTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."LoadedPositions" RESTART IDENTITY;", 51)
SQLExecDirect(stmt1, "SELECT [PosID], [PosType], [FirmID], [ActiveCode], [ClientCode], [LimitKind], [OpenBalance] FROM dbo.[LoadedPositions]", 118)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.PosID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.PosType, 4, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.FirmID, 13, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.ActiveCode, 13, null)
SQLBindCol(stmt1, 5, SQL_C_CHAR, source.ClientCode, 13, null)
SQLBindCol(stmt1, 6, SQL_C_LONG, source.LimitKind, 4, null)
SQLBindCol(stmt1, 7, SQL_C_DOUBLE, source.OpenBalance, 8, null)
SQLPrepare(stmt2, "INSERT INTO public."LoadedPositions"("PosID", "PosType", "FirmID", "ActiveCode", "ClientCode", "LimitKind", "OpenBalance") VALUES(?, ?, ?, ?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.PosID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.PosType, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 13, 0, destination.FirmID, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 13, 0, destination.ActiveCode, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 13, 0, destination.ClientCode, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.LimitKind, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.OpenBalance, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 101, 102, "FirmID-1", "ActiveCode-1", "ClientCode-1", 106, 7.5
SQLFetch(stmt1)
SQLExecute(stmt2) sends 201, 202, "FirmID-abcde", "ActiveCode-a", "ClientCode-a", -206, -7.25
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(LoadedPositionsTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [PosID] = 201, [PosType] = 202, [FirmID] = FirmID-abcde, [ActiveCode] = ActiveCode-a, [ClientCode] = ClientCode-a, [LimitKind] = -206, [OpenBalance] = -7.25;)"));
}

TEST_F(LoadedPositionsTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(LoadedPositionsTable, AClientCodeThatFillsItsColumnArrivesWhole) {
  SetRows({With(FirstRow(), 5, "CLIENT-CODE1")});
  Migrate();
  EXPECT_THAT(contract::Sent(5), ElementsAre(R"("CLIENT-CODE1")"));
}

TEST_F(LoadedPositionsTable, ALongerClientCodeIsCutToItsColumnAndTheTableGoesOn) {
  SetRows({With(FirstRow(), 5, "CLIENT-CODE12"), With(FirstRow(), 5, "CLIENT-CODE1234567890"), FirstRow()});
  Migrate();
  EXPECT_THAT(contract::Sent(5), ElementsAre(R"("CLIENT-CODE1")", R"("CLIENT-CODE1")", R"("ClientCode-1")"));
}

TEST_F(LoadedPositionsTable, IdsArriveAsTheyAre) {
  SetRows({With(FirstRow(), 1, 7), With(FirstRow(), 1, 9), With(FirstRow(), 1, 12)});
  Migrate();
  EXPECT_THAT(contract::Sent(1), ElementsAre("7", "9", "12"));
}

}  // namespace
