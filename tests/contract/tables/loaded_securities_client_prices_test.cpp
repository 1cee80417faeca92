#include "db/tables/loaded_securities_client_prices.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using testing::ElementsAre;

class LoadedSecuritiesClientPricesTable : public contract::TableContract<db::DBTableLoadedSecuritiesClientPricesSrc,
                                                                         db::DBTableLoadedSecuritiesClientPricesDst> {
 protected:
  LoadedSecuritiesClientPricesTable()
      : TableContract("LoadedSecuritiesClientPrices",
                      {BW_FIELD(Row, ClientID), BW_FIELD(Row, SecID), BW_FIELD(Row, Code), BW_FIELD(Row, CodeType),
                       BW_FIELD(Row, Price)}) {}
};

ResultRow FirstRow() {
  return {101, 102, "Code-1", 104, 5.5};
}

ResultRow SecondRow() {
  return {201, 202, "Code-abcdefg", 204, 1.2345e-05};
}

TEST_F(LoadedSecuritiesClientPricesTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."LoadedSecuritiesClientPrices" RESTART IDENTITY;", 64)
SQLExecDirect(stmt1, "SELECT [ClientID], [SecID], [Code], [CodeType], [Price] FROM dbo.[LoadedSecuritiesClientPrices]", 95)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.ClientID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.SecID, 4, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.Code, 13, null)
SQLBindCol(stmt1, 4, SQL_C_LONG, source.CodeType, 4, null)
SQLBindCol(stmt1, 5, SQL_C_DOUBLE, source.Price, 8, null)
SQLPrepare(stmt2, "INSERT INTO public."LoadedSecuritiesClientPrices"("ClientID", "SecID", "Code", "CodeType", "Price") VALUES (?, ?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ClientID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.SecID, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.Code, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.CodeType, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 101, 102, "Code-1", 104, 5.5
SQLFetch(stmt1)
SQLExecute(stmt2) sends 201, 202, "Code-abcdefg", 204, 1.2345e-05
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(LoadedSecuritiesClientPricesTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ClientID] = 201, [SecID] = 202, [Code] = Code-abcdefg, [CodeType] = 204, [Price] = 1.2345e-05;)"));
}

TEST_F(LoadedSecuritiesClientPricesTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(LoadedSecuritiesClientPricesTable, EmptyingDoesNotCascade) {
  Build();
  EXPECT_EQ(odbc_double::Calls().back(),
            R"(SQLExecDirect(stmt2, "TRUNCATE public."LoadedSecuritiesClientPrices" RESTART IDENTITY;", 64))");
}

}  // namespace
