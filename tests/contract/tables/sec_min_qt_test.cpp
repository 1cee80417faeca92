#include "db/tables/sec_min_qt.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using testing::ElementsAre;

class SecMinQtTable : public contract::TableContract<db::DBTableSecMinQtSrc, db::DBTableSecMinQtDst> {
 protected:
  SecMinQtTable()
      : TableContract("SecMinQt", {BW_FIELD(Row, ClassCode), BW_FIELD(Row, SecCode), BW_FIELD(Row, MinQty)}) {}
};

ResultRow FirstRow() {
  return {"ClassCode-1", "SecCode-1", 103};
}

ResultRow SecondRow() {
  return {"ClassCode-ab", "SecCode-abcd", -203};
}

TEST_F(SecMinQtTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."SecMinQt" RESTART IDENTITY;", 44)
SQLExecDirect(stmt1, "SELECT [ClassCode], [SecCode], [MinQty] FROM dbo.[SecMinQt]", 59)
SQLBindCol(stmt1, 1, SQL_C_CHAR, source.ClassCode, 13, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.SecCode, 13, null)
SQLBindCol(stmt1, 3, SQL_C_LONG, source.MinQty, 4, null)
SQLPrepare(stmt2, "INSERT INTO public."SecMinQt"("ClassCode", "SecCode", "MinQty") VALUES (?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.MinQty, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends "ClassCode-1", "SecCode-1", 103
SQLFetch(stmt1)
SQLExecute(stmt2) sends "ClassCode-ab", "SecCode-abcd", -203
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(SecMinQtTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(LoggedRows(),
              ElementsAre(R"(insert row(1): [ClassCode] = ClassCode-ab, [SecCode] = SecCode-abcd, [MinQty] = -203;)"));
}

TEST_F(SecMinQtTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

}  // namespace
