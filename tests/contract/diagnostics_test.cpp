#include "odbc/diagnostics.h"

#include <string>

#include "contract/contract_test.h"

namespace {

using odbc_double::Diagnostic;
using testing::ElementsAre;

class Diagnostics : public contract::OdbcTest {
 protected:
  Diagnostics() {
    SQLAllocEnv(&environment);
    SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection);
    SQLAllocStmt(connection, &statement);
  }

  /// Leaves the records with the statement.
  void FailStatement(std::vector<Diagnostic> records) {
    odbc_double::OnCall("SQLExecute", 1, {.result = SQL_ERROR, .diagnostics = std::move(records)});
    SQLExecute(statement);
    odbc_double::ClearCalls();
  }

  SQLHENV environment = nullptr;
  SQLHDBC connection = nullptr;
  SQLHSTMT statement = nullptr;
};

TEST_F(Diagnostics, OfAHandleWithoutRecordsAreTheBeginningAlone) {
  EXPECT_EQ(odbc::GetStatementDiagnostics(statement), "SQL Error: ");
}

TEST_F(Diagnostics, OfANullHandleAreTheBeginningAlone) {
  EXPECT_EQ(odbc::GetStatementDiagnostics(nullptr), "SQL Error: ");
  EXPECT_EQ(odbc::GetConnectionDiagnostics(nullptr), "SQL Error: ");
  EXPECT_EQ(odbc::GetEnvironmentDiagnostics(nullptr), "SQL Error: ");
}

TEST_F(Diagnostics, OfAFreedHandleAreTheBeginningAlone) {
  FailStatement({{"37000", 102, "Incorrect syntax"}});
  SQLFreeHandle(SQL_HANDLE_STMT, statement);
  EXPECT_EQ(odbc::GetStatementDiagnostics(statement), "SQL Error: ");
}

TEST_F(Diagnostics, ShowStateCodeAndMessage) {
  FailStatement({{"37000", 102, "Incorrect syntax"}});
  EXPECT_EQ(odbc::GetStatementDiagnostics(statement), "SQL Error: State = 37000 Code = 102 Message = Incorrect syntax");
}

TEST_F(Diagnostics, ShowANegativeCodeWithItsSign) {
  FailStatement({{"08S01", -2147483647, "gone"}});
  EXPECT_EQ(odbc::GetStatementDiagnostics(statement), "SQL Error: State = 08S01 Code = -2147483647 Message = gone");
}

TEST_F(Diagnostics, PutNothingBetweenRecords) {
  FailStatement({{"01000", 1, "first"}, {"01001", 2, "second"}, {"01002", 3, "third"}});
  EXPECT_EQ(odbc::GetStatementDiagnostics(statement),
            "SQL Error: State = 01000 Code = 1 Message = firstState = 01001 Code = 2 Message = second"
            "State = 01002 Code = 3 Message = third");
}

TEST_F(Diagnostics, CutAMessageTo511Bytes) {
  FailStatement({{"HY000", 1, std::string(511, 'a')}, {"HY000", 2, std::string(512, 'b')}, {"HY000", 3, "c"}});
  EXPECT_EQ(odbc::GetStatementDiagnostics(statement),
            "SQL Error: State = HY000 Code = 1 Message = " + std::string(511, 'a') +
                "State = HY000 Code = 2 Message = " + std::string(511, 'b') + "State = HY000 Code = 3 Message = c");
}

TEST_F(Diagnostics, AreAskedRecordByRecordUntilThereIsNone) {
  FailStatement({{"37000", 102, "Incorrect syntax"}});
  odbc::GetDiagnostics(SQL_HANDLE_STMT, statement);
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512)",
                                                "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 2, 512) -> SQL_NO_DATA"));
}

TEST_F(Diagnostics, AreAskedOfTheHandleTypeInTheName) {
  odbc_double::ClearCalls();
  odbc::GetStatementDiagnostics(statement);
  odbc::GetConnectionDiagnostics(connection);
  odbc::GetEnvironmentDiagnostics(environment);
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA",
                                                "SQLGetDiagRec(SQL_HANDLE_DBC, dbc1, 1, 512) -> SQL_NO_DATA",
                                                "SQLGetDiagRec(SQL_HANDLE_ENV, env1, 1, 512) -> SQL_NO_DATA"));
}

TEST(Succeeded, IsTrueForSuccessWithOrWithoutInformationOnly) {
  EXPECT_TRUE(odbc::Succeeded(SQL_SUCCESS));
  EXPECT_TRUE(odbc::Succeeded(SQL_SUCCESS_WITH_INFO));
  EXPECT_FALSE(odbc::Succeeded(SQL_NO_DATA));
  EXPECT_FALSE(odbc::Succeeded(SQL_ERROR));
  EXPECT_FALSE(odbc::Succeeded(SQL_INVALID_HANDLE));
  EXPECT_FALSE(odbc::Succeeded(SQL_STILL_EXECUTING));
  EXPECT_FALSE(odbc::Succeeded(SQL_NEED_DATA));
}

}  // namespace
