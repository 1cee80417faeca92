#include "odbc/connection.h"

#include <optional>
#include <string>

#include "contract/contract_test.h"

namespace {

using contract::RuntimeErrorOf;
using odbc::DBConnection;
using odbc::ServerKind;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kVersionQuery =
    R"(SQLExecDirect(stmt1, "SELECT [KeyValue] FROM [dbo].[SystemData] WHERE [KeyName] = 'dbver';", 68))";

class Connection : public contract::OdbcTest {
 protected:
  DBConnection connection{"Old server", "reader", "pass word", "sales."};
};

TEST_F(Connection, StartsWithNothing) {
  EXPECT_EQ(connection.connection(), nullptr);
  EXPECT_EQ(connection.environment(), nullptr);
  EXPECT_FALSE(connection.connected());
  EXPECT_EQ(connection.serverKind(), ServerKind::Unknown);
  EXPECT_EQ(connection.schema(), "sales.");
  EXPECT_THAT(odbc_double::Calls(), IsEmpty());
}

TEST_F(Connection, ConnectsWithExplicitLengthsAndNoEnvironmentAttribute) {
  EXPECT_TRUE(connection.Connect());
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocEnv()", "SQLAllocHandle(SQL_HANDLE_DBC, env1)",
                                                R"(SQLConnect(dbc1, "Old server", 10, "reader", 6, "pass word", 9))",
                                                "SQLGetInfo(dbc1, SQL_DBMS_NAME, 512, null)"));
  EXPECT_TRUE(connection.connected());
}

TEST_F(Connection, RecognisesSqlServer) {
  odbc_double::SetServerName("Old server", "Microsoft SQL Server");
  EXPECT_TRUE(connection.Connect());
  EXPECT_EQ(connection.serverKind(), ServerKind::SqlServer);
  EXPECT_EQ(static_cast<int>(connection.serverKind()), 1);
}

TEST_F(Connection, RecognisesPostgreSql) {
  odbc_double::SetServerName("Old server", "PostgreSQL");
  EXPECT_TRUE(connection.Connect());
  EXPECT_EQ(connection.serverKind(), ServerKind::PostgreSql);
  EXPECT_EQ(static_cast<int>(connection.serverKind()), 2);
}

class UnknownServer : public contract::OdbcTest, public testing::WithParamInterface<const char*> {};

TEST_P(UnknownServer, IsNotAcceptedAndStaysConnected) {
  odbc_double::SetServerName("Server", GetParam());
  DBConnection connection("Server", "reader", "secret", "");
  EXPECT_FALSE(connection.Connect());
  EXPECT_EQ(connection.serverKind(), ServerKind::Unknown);
  EXPECT_TRUE(connection.connected());
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1"));
}

INSTANTIATE_TEST_SUITE_P(Names, UnknownServer,
                         testing::Values("", "MySQL", "Microsoft SQL Server 2019", "microsoft sql server",
                                         "Microsoft SQL Serve", " Microsoft SQL Server", "PostgreSQL 15", "postgresql",
                                         "PostgreSQ", "PostgreSQL "));

TEST_F(Connection, ForgetsThePasswordOnceConnected) {
  EXPECT_EQ(connection.password(), "pass word");
  connection.Connect();
  EXPECT_EQ(connection.password(), "");
}

TEST_F(Connection, KeepsThePasswordWhenConnectingFails) {
  odbc_double::OnCall("SQLConnect", 1, {});
  EXPECT_THROW(connection.Connect(), std::runtime_error);
  EXPECT_EQ(connection.password(), "pass word");
  EXPECT_FALSE(connection.connected());
}

TEST_F(Connection, FailedEnvironmentThrowsTheEnvironmentsDiagnostics) {
  odbc_double::OnCall("SQLAllocEnv", 1, {});
  EXPECT_EQ(RuntimeErrorOf([&] { connection.Connect(); }), "SQL Error: ");
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocEnv() -> SQL_ERROR",
                                                "SQLGetDiagRec(SQL_HANDLE_ENV, null, 1, 512) -> SQL_INVALID_HANDLE"));
}

TEST_F(Connection, FailedConnectionHandleThrowsTheEnvironmentsDiagnostics) {
  odbc_double::OnCall("SQLAllocHandle", 1, {.result = SQL_ERROR, .diagnostics = {{"HY001", 5, "no memory"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { connection.Connect(); }), "SQL Error: State = HY001 Code = 5 Message = no memory");
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocEnv()", "SQLAllocHandle(SQL_HANDLE_DBC, env1) -> SQL_ERROR",
                                                "SQLGetDiagRec(SQL_HANDLE_ENV, env1, 1, 512)",
                                                "SQLGetDiagRec(SQL_HANDLE_ENV, env1, 2, 512) -> SQL_NO_DATA"));
}

TEST_F(Connection, FailedLoginThrowsTheConnectionsDiagnostics) {
  odbc_double::OnCall("SQLConnect", 1,
                      {.result = SQL_ERROR, .diagnostics = {{"28000", 18456, "Login failed"}, {"01000", 0, "more"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { connection.Connect(); }),
            "SQL Error: State = 28000 Code = 18456 Message = Login failedState = 01000 Code = 0 Message = more");
}

TEST_F(Connection, NoDataIsAFailureToConnect) {
  odbc_double::OnCall("SQLConnect", 1, {.result = SQL_NO_DATA, .diagnostics = {}});
  EXPECT_EQ(RuntimeErrorOf([&] { connection.Connect(); }), "SQL Error: ");
}

TEST_F(Connection, InformationFromConnectingIsSuccess) {
  odbc_double::OnCall("SQLConnect", 1,
                      {.result = SQL_SUCCESS_WITH_INFO, .diagnostics = {{"01000", 5701, "Changed database"}}});
  EXPECT_TRUE(connection.Connect());
}

TEST_F(Connection, FailedServerNameThrowsAnEmptyMessageWithoutDiagnostics) {
  odbc_double::OnCall("SQLGetInfo", 1, {.result = SQL_ERROR, .diagnostics = {{"08S01", 1, "gone"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { connection.Connect(); }), "");
  EXPECT_THAT(odbc_double::Calls().back(), "SQLGetInfo(dbc1, SQL_DBMS_NAME, 512, null) -> SQL_ERROR");
}

class Destruction : public contract::OdbcTest {
 protected:
  std::optional<DBConnection> connection{std::in_place, "Old", "reader", "secret", ""};
};

TEST_F(Destruction, OfAConnectionThatWasNeverMadeCallsNothing) {
  connection.reset();
  EXPECT_THAT(odbc_double::Calls(), IsEmpty());
}

TEST_F(Destruction, DisconnectsThenFreesConnectionThenEnvironment) {
  connection->Connect();
  odbc_double::ClearCalls();
  connection.reset();
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLDisconnect(dbc1)", "SQLFreeHandle(SQL_HANDLE_DBC, dbc1)", "SQLFreeEnv(env1)"));
}

TEST_F(Destruction, DisconnectsEvenWhenTheLoginFailed) {
  odbc_double::OnCall("SQLConnect", 1, {});
  EXPECT_THROW(connection->Connect(), std::runtime_error);
  odbc_double::ClearCalls();
  connection.reset();
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLDisconnect(dbc1)", "SQLFreeHandle(SQL_HANDLE_DBC, dbc1)", "SQLFreeEnv(env1)"));
}

TEST_F(Destruction, FreesOnlyTheEnvironmentWhenThereIsNoConnectionHandle) {
  odbc_double::OnCall("SQLAllocHandle", 1, {});
  EXPECT_THROW(connection->Connect(), std::runtime_error);
  odbc_double::ClearCalls();
  connection.reset();
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLFreeEnv(env1)"));
}

TEST_F(Destruction, IgnoresFailures) {
  connection->Connect();
  odbc_double::ClearCalls();
  odbc_double::OnCall("SQLDisconnect", 1, {.result = SQL_SUCCESS_WITH_INFO, .diagnostics = {{"01002", 0, "late"}}});
  odbc_double::OnCall("SQLFreeEnv", 1, {});
  EXPECT_NO_THROW(connection.reset());
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLDisconnect(dbc1) -> SQL_SUCCESS_WITH_INFO", "SQLFreeHandle(SQL_HANDLE_DBC, dbc1)",
                          "SQLFreeEnv(env1) -> SQL_ERROR"));
}

class SchemaVersion : public contract::OdbcTest {
 protected:
  SchemaVersion() {
    connection.Connect();
    odbc_double::ClearCalls();
  }

  bool Check(const odbc_double::Value& storedVersion) {
    odbc_double::SetResult("'dbver'", {{storedVersion}});
    return connection.CheckSchemaVersion();
  }

  DBConnection connection{"Old", "reader", "secret", "sales."};
};

TEST_F(SchemaVersion, IsReadFromDboWhateverTheSchemaAndFreed) {
  EXPECT_TRUE(Check("29"));
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocStmt(dbc1)", kVersionQuery, "SQLFetch(stmt1)",
                                                "SQLGetData(stmt1, 1, SQL_C_LONG, address, 4, null)",
                                                "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(SchemaVersion, OtherThan29IsNotAccepted) {
  EXPECT_FALSE(Check("28"));
  EXPECT_FALSE(Check("30"));
  EXPECT_FALSE(Check("-29"));
  EXPECT_FALSE(Check("0"));
}

TEST_F(SchemaVersion, OnlyTheFirstRowCounts) {
  odbc_double::SetResult("'dbver'", {{"28"}, {"29"}});
  EXPECT_FALSE(connection.CheckSchemaVersion());
}

TEST_F(SchemaVersion, NotWrittenByTheDriverIsNotAccepted) {
  odbc_double::IgnoreNullsWithoutIndicator();
  EXPECT_FALSE(Check(std::monostate{}));
}

TEST_F(SchemaVersion, MissingThrowsWithoutRecords) {
  EXPECT_EQ(RuntimeErrorOf([&] { connection.CheckSchemaVersion(); }), "SQL Error: ");
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocStmt(dbc1)", kVersionQuery, "SQLFetch(stmt1) -> SQL_NO_DATA",
                                                "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA"));
}

TEST_F(SchemaVersion, ThatIsNoNumberThrowsTheStatementsDiagnostics) {
  EXPECT_EQ(RuntimeErrorOf([&] { Check("twenty-nine"); }),
            "SQL Error: State = 22005 Code = 0 Message = Error in assignment");
}

TEST_F(SchemaVersion, FailedAllocationAsksTheNullStatement) {
  odbc_double::OnCall("SQLAllocStmt", 1, {.result = SQL_ERROR, .diagnostics = {{"HY001", 1, "no memory"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { Check("29"); }), "SQL Error: ");
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLAllocStmt(dbc1) -> SQL_ERROR",
                                                "SQLGetDiagRec(SQL_HANDLE_STMT, null, 1, 512) -> SQL_INVALID_HANDLE"));
}

TEST_F(SchemaVersion, FailedQueryThrowsAndLeavesTheStatementToTheConnection) {
  odbc_double::OnCall("SQLExecDirect", 1, {.result = SQL_ERROR, .diagnostics = {{"S0002", 208, "Invalid object"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { Check("29"); }), "SQL Error: State = S0002 Code = 208 Message = Invalid object");
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "stmt1"));
}

TEST_F(SchemaVersion, FailedFreeThrows) {
  odbc_double::OnCall("SQLFreeHandle", 1, {.result = SQL_ERROR, .diagnostics = {{"HY000", 9, "busy"}}});
  EXPECT_EQ(RuntimeErrorOf([&] { Check("29"); }), "SQL Error: State = HY000 Code = 9 Message = busy");
}

}  // namespace
