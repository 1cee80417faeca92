#include "db/tables/import_log.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using contract::With;
using testing::ElementsAre;

class ImportLogTable : public contract::TableContract<db::DBTableImportLogSrc, db::DBTableImportLogDst> {
 protected:
  ImportLogTable()
      : TableContract("ImportLog", {BW_FIELD(Row, ID), BW_FIELD(Row, ImportType), BW_FIELD(Row, BWUserID),
                                    BW_FIELD(Row, BWSessionID), BW_FIELD(Row, BWCounter)}) {}
};

ResultRow FirstRow() {
  return {101, "ImportType-1", 103, "BWSessionID-1", 105};
}

ResultRow SecondRow() {
  return {201, "ImportType of row 2", 203, "BWSessionID of row 2", 205};
}

TEST_F(ImportLogTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."ImportLog" RESTART IDENTITY;", 45)
SQLExecDirect(stmt1, "SELECT [ID], [ImportType], [BWUserID], [BWSessionID], [BWCounter] FROM dbo.[ImportLog];", 87)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.ImportType, 33, null)
SQLBindCol(stmt1, 3, SQL_C_LONG, source.BWUserID, 4, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.BWSessionID, 41, null)
SQLBindCol(stmt1, 5, SQL_C_LONG, source.BWCounter, 4, null)
SQLPrepare(stmt2, "INSERT INTO public."ImportLog"("ImportType", "BWUserID", "BWSessionID", "BWCounter") VALUES (?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 33, 0, destination.ImportType, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWUserID, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 41, 0, destination.BWSessionID, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends "ImportType-1", 103, "BWSessionID-1", 105
SQLFetch(stmt1)
SQLExecute(stmt2) sends "ImportType of row 2", 203, "BWSessionID of row 2", 205
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(ImportLogTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ID] = 201, [ImportType] = ImportType of row 2, [BWUserID] = 203, [BWSessionID] = BWSessionID of row 2, [BWCounter] = 205;)"));
}

TEST_F(ImportLogTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(ImportLogTable, IdsAreNotSentAndRowsKeepTheirOrder) {
  SetRows({With(With(FirstRow(), 1, 7), 2, "first"), With(With(FirstRow(), 1, 9), 2, "second"),
           With(With(FirstRow(), 1, 12), 2, "third")});
  Migrate();
  EXPECT_THAT(contract::SentRows(),
              ElementsAre(R"("first", 103, "BWSessionID-1", 105)", R"("second", 103, "BWSessionID-1", 105)",
                          R"("third", 103, "BWSessionID-1", 105)"));
}

}  // namespace
