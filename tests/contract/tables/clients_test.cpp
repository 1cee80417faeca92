#include "db/tables/clients.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::CountOf;
using contract::kMissingKey;
using contract::OutOfRangeOf;
using contract::ResultRow;
using testing::ElementsAre;
using testing::IsEmpty;

class ClientsTable : public contract::TableContract<db::DBTableClientsSrc, db::DBTableClientsDst> {
 protected:
  ClientsTable()
      : TableContract("Clients", {BW_FIELD(Row, ClientCode), BW_FIELD(Row, GroupID), BW_FIELD(Row, Num),
                                  BW_FIELD(Row, Weight), BW_FIELD(Row, Comment)}) {}
};

ResultRow FirstRow() {
  return {"ClientCode-1", 102, 103, 4.5, "Comment-1"};
}

ResultRow SecondRow() {
  return {"ClientCode-abcdefghi", 202, -203, -4.25, "Comment of row 2"};
}

TEST_F(ClientsTable, MakesTheseCallsForTwoRows) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."Clients" RESTART IDENTITY;", 43)
SQLExecDirect(stmt1, "SELECT [ClientCode], [GroupID], [Num], [Weight], [Comment] FROM dbo.[Clients];", 78)
SQLBindCol(stmt1, 1, SQL_C_CHAR, source.ClientCode, 21, null)
SQLBindCol(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null)
SQLBindCol(stmt1, 3, SQL_C_LONG, source.Num, 4, null)
SQLBindCol(stmt1, 4, SQL_C_DOUBLE, source.Weight, 8, null)
SQLBindCol(stmt1, 5, SQL_C_CHAR, source.Comment, 51, null)
SQLPrepare(stmt2, "INSERT INTO public."Clients"("ClientCode", "GroupID", "Num", "Weight", "Comment") VALUES (? ,? ,? ,? ,?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 21, 0, destination.ClientCode, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupID, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.Num, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Weight, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 51, 0, destination.Comment, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends "ClientCode-1", 901, 103, 4.5, "Comment-1"
SQLFetch(stmt1)
SQLExecute(stmt2) sends "ClientCode-abcdefghi", 902, -203, -4.25, "Comment of row 2"
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(ClientsTable, LogsEachColumnOfARow) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ClientCode] = ClientCode-abcdefghi, [GroupID] = 202, [Num] = -203, [Weight] = -4.25, [Comment] = Comment of row 2;)"));
}

TEST_F(ClientsTable, ANullInAnyColumnEndsTheTable) {
  db::GroupIdMap = {{102, 901}};
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(ClientsTable, WithoutMigratedGroupsTheFirstClientEndsTheRunAndIsNotSent) {
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
  EXPECT_EQ(console(), "Start migrate Clients table\n");
  EXPECT_THAT(LoggedRows(), IsEmpty());
  EXPECT_THAT(db::GroupIdMap, IsEmpty());
}

TEST_F(ClientsTable, ClientsInFrontOfTheOneWithoutGroupStay) {
  db::GroupIdMap = {{102, 901}};
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_THAT(contract::SentRows(), ElementsAre(R"("ClientCode-1", 901, 103, 4.5, "Comment-1")"));
  EXPECT_EQ(LoggedRows().size(), 1U);
}

TEST_F(ClientsTable, AFailingInsertEndsTheRunWithItsDiagnostics) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(LoggedRows().size(), 1U);
}

}  // namespace
