#include "db/tables/system_data.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::ResultRow;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

class SystemDataTable : public contract::TableContract<db::DBTableSystemDataSrc, db::DBTableSystemDataDst> {
 protected:
  SystemDataTable() : TableContract("SystemData", {BW_FIELD(Row, KeyName), BW_FIELD(Row, KeyValue)}) {}
};

ResultRow FirstRow() {
  return {"dbver", "29"};
}

ResultRow SecondRow() {
  return {"desk", "spot"};
}

TEST_F(SystemDataTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."SystemData" RESTART IDENTITY;", 46)
SQLExecDirect(stmt1, "SELECT [KeyName], [KeyValue] FROM dbo.[SystemData]", 50)
SQLBindCol(stmt1, 1, SQL_C_CHAR, source.KeyName, 21, null)
SQLBindCol(stmt1, 2, SQL_C_CHAR, source.KeyValue, 51, null)
SQLPrepare(stmt2, "INSERT INTO public."SystemData"("KeyName", "KeyValue") VALUES (?, ?);", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 21, 0, destination.KeyName, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 51, 0, destination.KeyValue, 0, null)
SQLFetch(stmt1)
SQLExecute(stmt2) sends "dbver", "29"
SQLFetch(stmt1)
SQLExecute(stmt2) sends "desk", "spot"
SQLFetch(stmt1) -> SQL_NO_DATA
SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(SystemDataTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(LoggedRows(), ElementsAre(R"(insert row(1): [KeyName] = desk, [KeyValue] = spot;)"));
}

TEST_F(SystemDataTable, ANullInAnyColumnEndsTheTable) {
  ExpectANullInAnyColumnEndsTheTable(FirstRow());
}

TEST_F(SystemDataTable, TextsThatFillTheirColumnsArriveWhole) {
  SetRows({{"KKKKKKKKKKkkkkkkkkkk", "VVVVVVVVVVvvvvvvvvvvVVVVVVVVVVvvvvvvvvvvVVVVVVVVVV"}});
  Migrate();
  EXPECT_THAT(contract::SentRows(),
              ElementsAre(R"("KKKKKKKKKKkkkkkkkkkk", "VVVVVVVVVVvvvvvvvvvvVVVVVVVVVVvvvvvvvvvvVVVVVVVVVV")"));
}

TEST_F(SystemDataTable, LongerTextsAreCutToTheirColumnsAndTheRowCounts) {
  SetRows({{"KKKKKKKKKKkkkkkkkkkk+", "VVVVVVVVVVvvvvvvvvvvVVVVVVVVVVvvvvvvvvvvVVVVVVVVVV+"}, {"desk", "spot"}});
  Migrate();
  EXPECT_THAT(contract::SentRows(),
              ElementsAre(R"("KKKKKKKKKKkkkkkkkkkk", "VVVVVVVVVVvvvvvvvvvvVVVVVVVVVVvvvvvvvvvvVVVVVVVVVV")",
                          R"("desk", "spot")"));
}

TEST_F(SystemDataTable, AnEmptySourceTableLeavesTheDestinationEmptied) {
  Migrate();
  EXPECT_THAT(Calls(), HasSubstr(R"("TRUNCATE public."SystemData" RESTART IDENTITY;")"));
  EXPECT_THAT(contract::SentRows(), IsEmpty());
  EXPECT_THAT(console(), HasSubstr("Total rows read = 0 Total migrated rows = 0. "));
}

/// The table between two connections whose schema texts differ from the fixture's.
class SystemDataTableWithSchema : public SystemDataTable {
 protected:
  void MigrateWithSchema(const std::string& schema) {
    odbc::DBConnection schemaSource("Old", "reader", "secret", schema);
    odbc::DBConnection schemaDestination("New", "writer", "secret", schema);
    schemaSource.Connect();
    schemaDestination.Connect();
    Pair schemaPair(schemaSource, schemaDestination);
    Migrate(schemaPair);
  }
};

TEST_F(SystemDataTableWithSchema, AnEmptySchemaPutsNothingInFrontOfTheTable) {
  MigrateWithSchema("");
  EXPECT_THAT(odbc_double::Calls(),
              IsSupersetOf({
                  R"(SQLExecDirect(stmt2, "TRUNCATE "SystemData" RESTART IDENTITY;", 39))",
                  R"(SQLExecDirect(stmt1, "SELECT [KeyName], [KeyValue] FROM [SystemData]", 46))",
                  R"(SQLPrepare(stmt2, "INSERT INTO "SystemData"("KeyName", "KeyValue") VALUES (?, ?);", SQL_NTS))",
              }));
}

TEST_F(SystemDataTableWithSchema, ASchemaIsPutInFrontOfTheTableWithoutQuotes) {
  MigrateWithSchema("dbo.");
  EXPECT_THAT(odbc_double::Calls(),
              IsSupersetOf({
                  R"(SQLExecDirect(stmt2, "TRUNCATE dbo."SystemData" RESTART IDENTITY;", 43))",
                  R"(SQLExecDirect(stmt1, "SELECT [KeyName], [KeyValue] FROM dbo.[SystemData]", 50))",
                  R"(SQLPrepare(stmt2, "INSERT INTO dbo."SystemData"("KeyName", "KeyValue") VALUES (?, ?);", SQL_NTS))",
              }));
}

TEST_F(SystemDataTableWithSchema, ASchemaWithoutItsPointIsNotGivenOne) {
  MigrateWithSchema("dbo");
  EXPECT_THAT(odbc_double::Calls(),
              IsSupersetOf({
                  R"(SQLExecDirect(stmt2, "TRUNCATE dbo"SystemData" RESTART IDENTITY;", 42))",
                  R"(SQLExecDirect(stmt1, "SELECT [KeyName], [KeyValue] FROM dbo[SystemData]", 49))",
                  R"(SQLPrepare(stmt2, "INSERT INTO dbo"SystemData"("KeyName", "KeyValue") VALUES (?, ?);", SQL_NTS))",
              }));
}

}  // namespace
