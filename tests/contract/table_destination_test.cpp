#include "db/table_destination.h"

#include <array>
#include <cstring>
#include <optional>

#include "contract/contract_test.h"
#include "db/tables/system_data.h"
#include "support/scratch_directory.h"

namespace {

using contract::RuntimeErrorOf;
using db::DBRowSystemData;
using db::DBTableSystemDataDst;
using testing::ElementsAre;

constexpr const char* kTruncate = R"(SQLExecDirect(stmt1, "TRUNCATE public."SystemData" RESTART IDENTITY;", 46))";
constexpr const char* kPrepare =
    R"(SQLPrepare(stmt1, "INSERT INTO public."SystemData"("KeyName", "KeyValue") VALUES (?, ?);", SQL_NTS))";

class TableDestination : public contract::TableTest {
 protected:
  /// Builds the table's destination with its row named in the records.
  DBTableSystemDataDst& Build() {
    table.emplace(destination);
    odbc_double::NameFields("row", &table->row(),
                            {BW_FIELD(DBRowSystemData, KeyName), BW_FIELD(DBRowSystemData, KeyValue)});
    return *table;
  }

  std::optional<DBTableSystemDataDst> table;
};

TEST_F(TableDestination, ConstructionEmptiesTheTable) {
  Build();
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocStmt(dbc2)", kTruncate));
  const DBRowSystemData zero{};
  EXPECT_EQ(std::memcmp(&table->row(), &zero, sizeof(zero)), 0);
}

TEST_F(TableDestination, FailedAllocationAsksTheNullStatementAndNotTheConnection) {
  odbc_double::OnCall("SQLAllocStmt", 1, {.result = SQL_ERROR, .diagnostics = {{"HY001", 1, "no memory"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { Build(); }), "SQL Error: ");
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocStmt(dbc2) -> SQL_ERROR",
                                                "SQLGetDiagRec(SQL_HANDLE_STMT, null, 1, 512) -> SQL_INVALID_HANDLE"));
}

TEST_F(TableDestination, FailedTruncateThrowsTheStatementsDiagnosticsAndFreesTheStatement) {
  odbc_double::OnCall("SQLExecDirect", 1, {.result = SQL_ERROR, .diagnostics = {{"42P01", 1, "no such table"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { Build(); }), "SQL Error: State = 42P01 Code = 1 Message = no such table");
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocStmt(dbc2)", std::string(kTruncate) + " -> SQL_ERROR",
                                                "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512)",
                                                "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 2, 512) -> SQL_NO_DATA",
                                                "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(TableDestination, OpenPreparesZeroTerminatedAndBindsEachParameterWithoutIndicator) {
  Build();
  odbc_double::ClearCalls();
  table->Open();
  EXPECT_THAT(
      odbc_double::Calls(),
      ElementsAre(
          kPrepare, "SQLBindParameter(stmt1, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 21, 0, row.KeyName, 0, null)",
          "SQLBindParameter(stmt1, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 51, 0, row.KeyValue, 0, null)"));
}

TEST_F(TableDestination, AnEmptySchemaLeavesTheTableUnqualified) {
  odbc::DBConnection plain("Plain", "writer", "secret", "");
  plain.Connect();
  odbc_double::ClearCalls();
  DBTableSystemDataDst unqualified(plain);
  unqualified.Open();
  EXPECT_EQ(odbc_double::Calls().at(1), R"(SQLExecDirect(stmt1, "TRUNCATE "SystemData" RESTART IDENTITY;", 39))");
  EXPECT_EQ(odbc_double::Calls().at(2),
            R"(SQLPrepare(stmt1, "INSERT INTO "SystemData"("KeyName", "KeyValue") VALUES (?, ?);", SQL_NTS))");
}

TEST_F(TableDestination, FailedPrepareThrowsAndBindsNothing) {
  Build();
  odbc_double::ClearCalls();
  odbc_double::OnCall("SQLPrepare", 1, {.result = SQL_ERROR, .diagnostics = {{"37000", 1, "syntax"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { table->Open(); }), "SQL Error: State = 37000 Code = 1 Message = syntax");
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre(std::string(kPrepare) + " -> SQL_ERROR", "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512)",
                          "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 2, 512) -> SQL_NO_DATA"));
}

TEST_F(TableDestination, FailedBindingThrowsAtTheFirstFailure) {
  Build();
  odbc_double::OnCall("SQLBindParameter", 2, {.result = SQL_ERROR, .diagnostics = {{"HY105", 1, "bad type"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { table->Open(); }), "SQL Error: State = HY105 Code = 1 Message = bad type");
}

TEST_F(TableDestination, WriteSendsTheRowAndPreparesNothing) {
  Build().Open();
  odbc_double::ClearCalls();
  EXPECT_TRUE(table->Write({"dbver", "29"}));
  EXPECT_TRUE(table->Write({"desk", ""}));
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre(R"(SQLExecute(stmt1) sends "dbver", "29")", R"(SQLExecute(stmt1) sends "desk", "")"));
}

TEST_F(TableDestination, WriteWithInformationIsSuccess) {
  Build().Open();
  odbc_double::OnCall("SQLExecute", 1, {.result = SQL_SUCCESS_WITH_INFO, .diagnostics = {{"01000", 0, "notice"}}});
  EXPECT_TRUE(table->Write({"dbver", "29"}));
}

TEST_F(TableDestination, FailedWriteThrowsTheStatementsDiagnostics) {
  Build().Open();
  odbc_double::OnCall("SQLExecute", 1, {.result = SQL_ERROR, .diagnostics = {{"23505", 1, "duplicate key"}}});
  EXPECT_EQ(RuntimeErrorOf([&] {
              table->Write({"dbver", "29"});
            }),
            "SQL Error: State = 23505 Code = 1 Message = duplicate key");
}

TEST_F(TableDestination, AWriteWithoutDataIsAFailure) {
  Build().Open();
  odbc_double::OnCall("SQLExecute", 1, {.result = SQL_NO_DATA, .diagnostics = {}});
  EXPECT_EQ(RuntimeErrorOf([&] { table->Write({"dbver", "29"}); }), "SQL Error: ");
}

TEST_F(TableDestination, DestructionFreesTheStatementOnce) {
  Build();
  odbc_double::ClearCalls();
  table.reset();
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(TableDestination, DestructionAfterTheReleaseFreesNothing) {
  Build().ReleaseStatement();
  odbc_double::ClearCalls();
  table.reset();
  EXPECT_THAT(odbc_double::Calls(), testing::IsEmpty());
}

/// A table of its own, to see what it hands to its channel.
struct Note {
  using Row = DBRowSystemData;

  static constexpr std::string_view name = "Note";
  static constexpr std::array columns = {db::VarChar<&Row::KeyName>, db::VarChar<&Row::KeyValue>};
  static constexpr std::string_view select = "SELECT [KeyName], [KeyValue] FROM {schema}[Note]";
  static constexpr std::array parameters = db::AllInput(columns);
  static constexpr std::string_view write = R"(INSERT INTO {schema}"Note"("KeyName", "KeyValue") VALUES (?, ?);)";
  static constexpr db::Truncation truncation = db::Truncation::Cascade;
};

class NoteDestination final : public db::DBTableDst<DBRowSystemData> {
 public:
  NoteDestination(const odbc::DBConnection& destination, Logger& channel) : DBTableDst(destination, Note{}, channel) {}
};

TEST_F(TableDestination, HandsTheTruncateNoticeToTheChannelItIsGiven) {
  const support::ScratchDirectory directory;
  Logger channel;
  ASSERT_TRUE(channel.Open(directory / "log"));
  const NoteDestination note(destination, channel);
  channel.Close();
  EXPECT_THAT(support::ReadFile(directory / "log"), testing::EndsWith(" :: Truncate Note table"));
  EXPECT_EQ(odbc_double::Calls().at(1),
            R"(SQLExecDirect(stmt1, "TRUNCATE public."Note" RESTART IDENTITY CASCADE;", 48))");
}

TEST_F(TableDestination, HandsOverNoNoticeWhenTheTableWasNotEmptied) {
  const support::ScratchDirectory directory;
  Logger channel;
  ASSERT_TRUE(channel.Open(directory / "log"));
  odbc_double::OnCall("SQLExecDirect", 1, {});
  EXPECT_THROW(NoteDestination(destination, channel), std::runtime_error);
  channel.Close();
  EXPECT_EQ(support::ReadFile(directory / "log"), "");
}

}  // namespace
