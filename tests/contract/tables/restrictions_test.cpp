#include "db/tables/restrictions.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using contract::Sent;
using contract::With;
using testing::ElementsAre;
using testing::HasSubstr;

class RestrictionsTable : public contract::TableContract<db::DBTableRestrictionsSrc, db::DBTableRestrictionsDst> {
 protected:
  RestrictionsTable()
      : TableContract(
            "Restrictions",
            {BW_FIELD(Row, ID), BW_FIELD(Row, RestType), BW_FIELD(Row, Client), BW_FIELD(Row, Mode),
             BW_FIELD(Row, Limit), BW_FIELD(Row, SecGroupID), BW_FIELD(Row, CoSecGroupID), BW_FIELD(Row, disabled),
             BW_FIELD(Row, Value), BW_FIELD(Row, NoCheck), BW_FIELD(Row, BWUserID), BW_FIELD(Row, BWSessionID),
             BW_FIELD(Row, BWCounter), BW_FIELD(Row, LimitKind), BW_FIELD(Row, RestrCode), BW_FIELD(Row, RestrName)}) {}
};

ResultRow FirstRow() {
  return {101, "B", "Client-1",      "1", 5.5, 106,           107,          "H", 9.5,
          110, 111, "BWSessionID-1", 113, 114, "RestrCode-1", "RestrName-1"};
}

ResultRow SecondRow() {
  return {201,
          "b",
          "Client-abcdefghijklm",
          "12",
          -5.25,
          206,
          207,
          "",
          -9.25,
          -210,
          211,
          "BWSessionID of row 2",
          213,
          -214,
          "RestrCode-ab",
          "RestrName of row 2"};
}

TEST_F(RestrictionsTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."Restrictions" RESTART IDENTITY;", 48)
SQLExecDirect(stmt1, "SELECT [ID], [RestType], [Client], [Mode], [Limit], [SecGroupID], [CoSecGroupID], [disabled], [Value], [NoCheck], [BWUserID], [BWSessionID], [BWCounter], [LimitKind], [RestrCode], [RestrName] FROM dbo.[Restrictions]", 215)
SQLBindCol(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.RestType, 2, null)
SQLBindCol(stmt1, 3, SQL_C_CHAR, source.Client, 21, null)
SQLBindCol(stmt1, 4, SQL_C_CHAR, source.Mode, 11, null)
SQLBindCol(stmt1, 5, SQL_C_DOUBLE, source.Limit, 8, null)
SQLBindCol(stmt1, 6, SQL_C_LONG, source.SecGroupID, 4, null)
SQLBindCol(stmt1, 7, SQL_C_LONG, source.CoSecGroupID, 4, null)
SQLBindCol(stmt1, 8, SQL_C_CHAR, source.disabled, 2, null)
SQLBindCol(stmt1, 9, SQL_C_DOUBLE, source.Value, 8, null)
SQLBindCol(stmt1, 10, SQL_C_LONG, source.NoCheck, 4, null)
SQLBindCol(stmt1, 11, SQL_C_LONG, source.BWUserID, 4, null)
SQLBindCol(stmt1, 12, SQL_C_CHAR, source.BWSessionID, 41, null)
SQLBindCol(stmt1, 13, SQL_C_LONG, source.BWCounter, 4, null)
SQLBindCol(stmt1, 14, SQL_C_LONG, source.LimitKind, 4, null)
SQLBindCol(stmt1, 15, SQL_C_CHAR, source.RestrCode, 13, null)
SQLBindCol(stmt1, 16, SQL_C_CHAR, source.RestrName, 51, null)
SQLPrepare(stmt2, "INSERT INTO public."Restrictions"("ID", "RestType", "Client", "Mode", "Limit", "SecGroupID", "CoSecGroupID", "disabled", "Value", "NoCheck", "BWUserID", "BWSessionID", "BWCounter", "LimitKind", "RestrCode", "RestrName") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.RestType, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 21, 0, destination.Client, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_CHAR, 11, 0, destination.Mode, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Limit, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.SecGroupID, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.CoSecGroupID, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.disabled, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Value, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.NoCheck, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWUserID, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 41, 0, destination.BWSessionID, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.LimitKind, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.RestrCode, 0, null)
SQLBindParameter(stmt2, 16, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 51, 0, destination.RestrName, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends 101, "B", "Client-1", 49, 5.5, 106, 107, "H", 9.5, 110, 111, "BWSessionID-1", 113, 114, "RestrCode-1", "RestrName-1"
SQLFetch(stmt1)
SQLExecute(stmt2) sends 201, "b", "Client-abcdefghijklm", 12849, -5.25, 206, 207, "", -9.25, -210, 211, "BWSessionID of row 2", 213, -214, "RestrCode-ab", "RestrName of row 2"
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(RestrictionsTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ID] = 201, [RestType] = b, [Client] = Client-abcdefghijklm, [Mode] = 12, [Limit] = -5.25, [SecGroupID] = 206, [CoSecGroupID] = 207, [disabled] = , [Value] = -9.25, [NoCheck] = -210, [BWUserID] = 211, [BWSessionID] = BWSessionID of row 2, [BWCounter] = 213, [LimitKind] = -214, [RestrCode] = RestrCode-ab, [RestrName] = RestrName of row 2;)"));
}

TEST_F(RestrictionsTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(RestrictionsTable, AModeOfOneCharacterIsSentAsItsCode) {
  SetRows({With(FirstRow(), 4, "1")});
  Migrate();
  EXPECT_THAT(Sent(4), ElementsAre("49"));
}

TEST_F(RestrictionsTable, AnEmptyModeIsSentAsZero) {
  SetRows({With(FirstRow(), 4, "")});
  Migrate();
  EXPECT_THAT(Sent(4), ElementsAre("0"));
}

TEST_F(RestrictionsTable, TheFirstFourBytesOfALongModeAreSentAsANumber) {
  SetRows({With(FirstRow(), 4, "1234567890")});
  Migrate();
  EXPECT_THAT(Sent(4), ElementsAre("875770417"));
}

// The row buffers are not cleared between rows: behind the zero of "1", the '3' and '4' of the row before are left.
TEST_F(RestrictionsTable, BytesOfALongerModeStayBehindAShorterOneAndAreSentWithIt) {
  SetRows({With(FirstRow(), 4, "12345"), With(FirstRow(), 4, "1"), With(FirstRow(), 4, "")});
  Migrate();
  EXPECT_THAT(Sent(4), ElementsAre("875770417", "875757617", "875757568"));
}

TEST_F(RestrictionsTable, DisabledIsSpelledInLowerCaseOnBothSides) {
  Migrate();
  EXPECT_THAT(Calls(), HasSubstr(" [disabled], "));
  EXPECT_THAT(Calls(), HasSubstr(R"( "disabled", )"));
}

TEST_F(RestrictionsTable, GroupsOfSecuritiesKeepTheIdsOfTheSource) {
  db::GroupIdMap = {{106, 906}, {107, 907}};
  SetRows({FirstRow()});
  Migrate();
  EXPECT_THAT(Sent(6), ElementsAre("106"));
  EXPECT_THAT(Sent(7), ElementsAre("107"));
}

}  // namespace
