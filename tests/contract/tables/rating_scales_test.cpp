#include "db/tables/rating_scales.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using contract::With;
using testing::ElementsAre;

class RatingScalesTable : public contract::TableContract<db::DBTableRatingScalesSrc, db::DBTableRatingScalesDst> {
 protected:
  RatingScalesTable()
      : TableContract("RatingScales", {BW_FIELD(Row, RatingID), BW_FIELD(Row, AgencyID), BW_FIELD(Row, National),
                                       BW_FIELD(Row, Rating), BW_FIELD(Row, Position)}) {}
};

ResultRow FirstRow() {
  return {101, 102, 103, "Rating-1", 105};
}

ResultRow SecondRow() {
  return {201, 202, 203, "Rating-abcdefghijklm", -205};
}

TEST_F(RatingScalesTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."RatingScales" RESTART IDENTITY;", 48)
SQLExecDirect(stmt1, "SELECT [RatingID], [AgencyID], [National], [Rating], [Position] FROM dbo.[RatingScales]", 87)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.RatingID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.AgencyID, 4, null)
SQLBindCol(stmt1, 3, SQL_C_LONG, source.National, 4, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.Rating, 21, null)
SQLBindCol(stmt1, 5, SQL_C_LONG, source.Position, 4, null)
SQLPrepare(stmt2, "INSERT INTO public."RatingScales"("AgencyID", "National", "Rating", "Position") VALUES (?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.AgencyID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.National, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 21, 0, destination.Rating, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.Position, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 102, 103, "Rating-1", 105
SQLFetch(stmt1)
SQLExecute(stmt2) sends 202, 203, "Rating-abcdefghijklm", -205
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(RatingScalesTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [RatingID] = 201, [AgencyID] = 202, [National] = 203, [Rating] = Rating-abcdefghijklm, [Position] = -205;)"));
}

TEST_F(RatingScalesTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(RatingScalesTable, ScalesKeepTheAgencyIdOfTheSource) {
  SetRows({With(FirstRow(), 2, 1), With(FirstRow(), 2, 2), With(FirstRow(), 2, 4)});
  Migrate();
  EXPECT_THAT(contract::Sent(1), ElementsAre("1", "2", "4"));
}

}  // namespace
