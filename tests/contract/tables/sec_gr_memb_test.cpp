#include "db/tables/sec_gr_memb.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using contract::With;
using testing::ElementsAre;

class SecGrMembTable : public contract::TableContract<db::DBTableSecGrMembSrc, db::DBTableSecGrMembDst> {
 protected:
  SecGrMembTable()
      : TableContract("SecGrMemb", {BW_FIELD(Row, GroupID), BW_FIELD(Row, MembType), BW_FIELD(Row, MembCode),
                                    BW_FIELD(Row, MembClass), BW_FIELD(Row, MembID)}) {}
};

ResultRow FirstRow() {
  return {101, "B", "MembCode-1", "MembClass-1", 105};
}

ResultRow SecondRow() {
  return {201, "b", "MembCode-abcdefghijk", "MembClass-abcdefghij", 205};
}

TEST_F(SecGrMembTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."SecGrMemb" RESTART IDENTITY;", 45)
SQLExecDirect(stmt1, "SELECT [GroupID], [MembType], [MembCode], [MembClass], [MembID] FROM dbo.[SecGrMemb];", 85)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.GroupID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.MembType, 2, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.MembCode, 21, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.MembClass, 21, null)
SQLBindCol(stmt1, 5, SQL_C_LONG, source.MembID, 4, null)
SQLPrepare(stmt2, "INSERT INTO public."SecGrMemb"("GroupID", "MembType", "MembCode", "MembClass", "MembID") VALUES(?, ?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 2, 0, destination.MembType, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 21, 0, destination.MembCode, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 21, 0, destination.MembClass, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.MembID, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 101, "B", "MembCode-1", "MembClass-1", 105
SQLFetch(stmt1)
SQLExecute(stmt2) sends 201, "b", "MembCode-abcdefghijk", "MembClass-abcdefghij", 205
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(SecGrMembTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [GroupID] = 201, [MembType] = b, [MembCode] = MembCode-abcdefghijk, [MembClass] = MembClass-abcdefghij, [MembID] = 205;)"));
}

TEST_F(SecGrMembTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(SecGrMembTable, MembersKeepTheGroupIdOfTheSource) {
  db::GroupIdMap = {{5, 905}};
  SetRows({With(FirstRow(), 1, 1), With(FirstRow(), 1, 2), With(FirstRow(), 1, 5)});
  Migrate();
  EXPECT_THAT(contract::Sent(1), ElementsAre("1", "2", "5"));
}

TEST_F(SecGrMembTable, AMemberCodeThatFillsItsColumnArrivesWhole) {
  SetRows({With(FirstRow(), 3, "01234567890123456789")});
  Migrate();
  EXPECT_THAT(contract::Sent(3), ElementsAre(R"("01234567890123456789")"));
}

}  // namespace
