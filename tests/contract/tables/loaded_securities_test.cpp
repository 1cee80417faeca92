#include "db/tables/loaded_securities.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using testing::ElementsAre;

class LoadedSecuritiesTable
    : public contract::TableContract<db::DBTableLoadedSecuritiesSrc, db::DBTableLoadedSecuritiesDst> {
 protected:
  LoadedSecuritiesTable()
      : TableContract("LoadedSecurities", {BW_FIELD(Row, SecID), BW_FIELD(Row, SecCode), BW_FIELD(Row, SecName),
                                           BW_FIELD(Row, SecStyle), BW_FIELD(Row, SecType), BW_FIELD(Row, FaceValue),
                                           BW_FIELD(Row, AccInt), BW_FIELD(Row, Price)}) {}
};

ResultRow FirstRow() {
  return {101, "SecCode-1", "SecName-1", "SecStyle-1", "SecType-1", 6.5, 7.5, 8.5};
}

ResultRow SecondRow() {
  return {201, "SecCode-abcd", "SecName-abcdefgh", "SecStyle-abcdefg", "SecType of row 2", -6.25, -7.25, 1.2345e-05};
}

TEST_F(LoadedSecuritiesTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."LoadedSecurities" RESTART IDENTITY CASCADE;", 60)
SQLExecDirect(stmt1, "SELECT [SecID], [SecCode], [SecName], [SecStyle], [SecType], [FaceValue], [AccInt], [Price] FROM dbo.[LoadedSecurities];", 120)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.SecID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.SecCode, 13, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.SecName, 17, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.SecStyle, 17, null)
SQLBindCol(stmt1, 5, SQL_C_CHAR, source.SecType, 33, null)
SQLBindCol(stmt1, 6, SQL_C_DOUBLE, source.FaceValue, 8, null)
SQLBindCol(stmt1, 7, SQL_C_DOUBLE, source.AccInt, 8, null)
SQLBindCol(stmt1, 8, SQL_C_DOUBLE, source.Price, 8, null)
SQLPrepare(stmt2, "INSERT INTO public."LoadedSecurities"("SecID", "SecCode", "SecName", "SecStyle", "SecType", "FaceValue", "AccInt", "Price") VALUES(? , ? , ? , ?, ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.SecID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 17, 0, destination.SecName, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 17, 0, destination.SecStyle, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 33, 0, destination.SecType, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.FaceValue, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.AccInt, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 101, "SecCode-1", "SecName-1", "SecStyle-1", "SecType-1", 6.5, 7.5, 8.5
SQLFetch(stmt1)
SQLExecute(stmt2) sends 201, "SecCode-abcd", "SecName-abcdefgh", "SecStyle-abcdefg", "SecType of row 2", -6.25, -7.25, 1.2345e-05
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(LoadedSecuritiesTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [SecID] = 201, [SecCode] = SecCode-abcd, [SecName] = SecName-abcdefgh, [SecStyle] = SecStyle-abcdefg, [SecType] = SecType of row 2, [FaceValue] = -6.25, [AccInt] = -7.25, [Price] = 1.2345e-05;)"));
}

TEST_F(LoadedSecuritiesTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(LoadedSecuritiesTable, EmptyingCascadesToTheTablesThatReferToIt) {
  Build();
  EXPECT_EQ(odbc_double::Calls().back(),
            R"(SQLExecDirect(stmt2, "TRUNCATE public."LoadedSecurities" RESTART IDENTITY CASCADE;", 60))");
}

}  // namespace
