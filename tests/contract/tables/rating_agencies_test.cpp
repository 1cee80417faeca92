#include "db/tables/rating_agencies.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using contract::With;
using testing::ElementsAre;

class RatingAgenciesTable : public contract::TableContract<db::DBTableRatingAgenciesSrc, db::DBTableRatingAgenciesDst> {
 protected:
  RatingAgenciesTable()
      : TableContract("RatingAgencies",
                      {BW_FIELD(Row, AgencyID), BW_FIELD(Row, AgencyCode), BW_FIELD(Row, AgencyName)}) {}
};

ResultRow FirstRow() {
  return {101, "AgencyCode-1", "AgencyName-1"};
}

ResultRow SecondRow() {
  return {201, "AgencyCode-abcdefghi", "AgencyName of row 2"};
}

TEST_F(RatingAgenciesTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."RatingAgencies" RESTART IDENTITY;", 50)
SQLExecDirect(stmt1, "SELECT [AgencyID], [AgencyCode], [AgencyName] FROM dbo.[RatingAgencies];", 72)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.AgencyID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.AgencyCode, 21, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.AgencyName, 129, null)
SQLPrepare(stmt2, "INSERT INTO public."RatingAgencies"("AgencyCode", "AgencyName") VALUES (?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 21, 0, destination.AgencyCode, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 129, 0, destination.AgencyName, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends "AgencyCode-1", "AgencyName-1"
SQLFetch(stmt1)
SQLExecute(stmt2) sends "AgencyCode-abcdefghi", "AgencyName of row 2"
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(RatingAgenciesTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [AgencyID] = 201, [AgencyCode] = AgencyCode-abcdefghi, [AgencyName] = AgencyName of row 2;)"));
}

TEST_F(RatingAgenciesTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(RatingAgenciesTable, IdsWithGapsAreNotSent) {
  SetRows({{1, "A", "Alpha"}, {2, "B", "Beta"}, {4, "D", "Delta"}});
  Migrate();
  EXPECT_THAT(contract::SentRows(), ElementsAre(R"("A", "Alpha")", R"("B", "Beta")", R"("D", "Delta")"));
}

TEST_F(RatingAgenciesTable, AnAgencyNameThatFillsItsColumnArrivesWhole) {
  const std::string name = std::string(127, 'n') + "!";
  SetRows({With(FirstRow(), 3, name)});
  Migrate();
  EXPECT_THAT(contract::Sent(2), ElementsAre("\"" + name + "\""));
}

}  // namespace
