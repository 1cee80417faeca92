#include "db/table_source.h"

#include <cstring>
#include <optional>

#include "contract/contract_test.h"
#include "db/tables/system_data.h"

namespace {

using contract::RuntimeErrorOf;
using db::DBRowSystemData;
using db::DBTableSystemDataSrc;
using testing::ElementsAre;

constexpr const char* kSelect = R"(SQLExecDirect(stmt1, "SELECT [KeyName], [KeyValue] FROM dbo.[SystemData]", 50))";

class TableSource : public contract::TableTest {
 protected:
  /// Builds the table's source with its row named in the records.
  DBTableSystemDataSrc& Build() {
    table.emplace(source);
    odbc_double::NameFields("row", &table->row(),
                            {BW_FIELD(DBRowSystemData, KeyName), BW_FIELD(DBRowSystemData, KeyValue)});
    return *table;
  }

  std::optional<DBTableSystemDataSrc> table;
};

TEST_F(TableSource, AllocatesItsStatementAndZeroFillsItsRow) {
  Build();
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocStmt(dbc1)"));
  const DBRowSystemData zero{};
  EXPECT_EQ(std::memcmp(&table->row(), &zero, sizeof(zero)), 0);
  EXPECT_EQ(table->tableName(), "SystemData");
}

TEST_F(TableSource, FailedAllocationAsksTheNullStatementAndNotTheConnection) {
  odbc_double::OnCall("SQLAllocStmt", 1, {.result = SQL_ERROR, .diagnostics = {{"HY001", 1, "no memory"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { Build(); }), "SQL Error: ");
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocStmt(dbc1) -> SQL_ERROR",
                                                "SQLGetDiagRec(SQL_HANDLE_STMT, null, 1, 512) -> SQL_INVALID_HANDLE"));
}

TEST_F(TableSource, OpenExecutesWithLengthAndBindsEachColumnWithoutIndicator) {
  Build();
  odbc_double::ClearCalls();
  table->Open();
  EXPECT_THAT(odbc_double::Calls(), ElementsAre(kSelect, "SQLBindCol(stmt1, 1, SQL_C_CHAR, row.KeyName, 21, null)",
                                                "SQLBindCol(stmt1, 2, SQL_C_CHAR, row.KeyValue, 51, null)"));
}

TEST_F(TableSource, AnEmptySchemaLeavesTheTableUnqualified) {
  odbc::DBConnection plain("Plain", "reader", "secret", "");
  plain.Connect();
  DBTableSystemDataSrc unqualified(plain);
  odbc_double::ClearCalls();
  unqualified.Open();
  EXPECT_EQ(odbc_double::Calls().at(0),
            R"(SQLExecDirect(stmt1, "SELECT [KeyName], [KeyValue] FROM [SystemData]", 46))");
}

TEST_F(TableSource, FailedSelectThrowsTheStatementsDiagnosticsAndBindsNothing) {
  Build();
  odbc_double::ClearCalls();
  odbc_double::OnCall("SQLExecDirect", 1, {.result = SQL_ERROR, .diagnostics = {{"S0002", 208, "Invalid object"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { table->Open(); }), "SQL Error: State = S0002 Code = 208 Message = Invalid object");
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre(std::string(kSelect) + " -> SQL_ERROR", "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512)",
                          "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 2, 512) -> SQL_NO_DATA"));
}

TEST_F(TableSource, FailedBindingThrowsAtTheFirstFailure) {
  Build();
  odbc_double::OnCall("SQLBindCol", 1, {.result = SQL_ERROR, .diagnostics = {{"HY003", 1, "bad type"}}});
  odbc_double::ClearCalls();
  EXPECT_EQ(RuntimeErrorOf([&] { table->Open(); }), "SQL Error: State = HY003 Code = 1 Message = bad type");
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre(kSelect, "SQLBindCol(stmt1, 1, SQL_C_CHAR, row.KeyName, 21, null) -> SQL_ERROR",
                          "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512)",
                          "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 2, 512) -> SQL_NO_DATA"));
}

TEST_F(TableSource, NextOfAnEmptyTableIsNothing) {
  Build().Open();
  EXPECT_FALSE(table->Next());
}

TEST_F(TableSource, NextGivesEachRowThenNothing) {
  odbc_double::SetResult("[SystemData]", {{"dbver", "29"}, {"desk", "spot"}});
  Build().Open();
  odbc_double::ClearCalls();
  const std::optional<DBRowSystemData> first = table->Next();
  const std::optional<DBRowSystemData> second = table->Next();
  ASSERT_TRUE(first && second);
  EXPECT_STREQ(first->KeyName, "dbver");
  EXPECT_STREQ(first->KeyValue, "29");
  EXPECT_STREQ(second->KeyName, "desk");
  EXPECT_STREQ(second->KeyValue, "spot");
  EXPECT_FALSE(table->Next());
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLFetch(stmt1)", "SQLFetch(stmt1)", "SQLFetch(stmt1) -> SQL_NO_DATA",
                                                "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA"));
}

TEST_F(TableSource, ANullUnderABoundColumnEndsTheTableSilently) {
  odbc_double::SetResult("[SystemData]", {{"dbver", "29"}, {"desk", std::monostate{}}, {"site", "main"}});
  Build().Open();
  EXPECT_TRUE(table->Next());
  odbc_double::ClearCalls();
  EXPECT_FALSE(table->Next());
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLFetch(stmt1) -> SQL_ERROR", "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512)",
                          "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 2, 512) -> SQL_NO_DATA"));
}

TEST_F(TableSource, AFetchErrorEndsTheTableSilently) {
  odbc_double::SetResult("[SystemData]", {{"dbver", "29"}});
  Build().Open();
  odbc_double::OnCall("SQLFetch", 1, {.result = SQL_ERROR, .diagnostics = {{"08S01", 1, "gone"}}});
  EXPECT_FALSE(table->Next());
}

TEST_F(TableSource, TextsThatFillTheirColumnArriveWhole) {
  odbc_double::SetResult("[SystemData]", {{std::string(20, 'k'), std::string(50, 'v')}});
  Build().Open();
  const std::optional<DBRowSystemData> row = table->Next();
  ASSERT_TRUE(row);
  EXPECT_EQ(std::string(row->KeyName), std::string(20, 'k'));
  EXPECT_EQ(std::string(row->KeyValue), std::string(50, 'v'));
}

TEST_F(TableSource, LongerTextsAreCutAndTheRowCounts) {
  odbc_double::SetResult("[SystemData]", {{std::string(21, 'k'), std::string(60, 'v')}});
  Build().Open();
  const std::optional<DBRowSystemData> row = table->Next();
  ASSERT_TRUE(row);
  EXPECT_EQ(std::string(row->KeyName), std::string(20, 'k'));
  EXPECT_EQ(std::string(row->KeyValue), std::string(50, 'v'));
}

TEST_F(TableSource, DestructionFreesTheStatementOnce) {
  Build();
  odbc_double::ClearCalls();
  table.reset();
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(TableSource, DestructionAfterTheReleaseFreesNothing) {
  Build().ReleaseStatement();
  odbc_double::ClearCalls();
  table->ReleaseStatement();
  table.reset();
  EXPECT_THAT(odbc_double::Calls(), testing::IsEmpty());
}

}  // namespace
