#include "db/migrate_table.h"

#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "contract/contract_test.h"
#include "db/table_pair.h"
#include "db/tables/system_data.h"
#include "support/scratch_directory.h"

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using testing::Not;

const std::string kStamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} :: ";

/// Migrates pairs with a log of its own and a console that is a text.
class MigrateTable : public contract::TableTest {
 protected:
  MigrateTable() { EXPECT_TRUE(logger_.Open(directory_ / "log")); }

  template <class Pair>
  void Migrate(Pair& pair) {
    db::MigrateTable(pair, logger_, console_);
  }

  std::string console() const { return console_.str(); }

  std::string log() {
    logger_.Close();
    return support::ReadFile(directory_ / "log");
  }

 private:
  support::ScratchDirectory directory_;
  Logger logger_;
  std::ostringstream console_;
};

using SystemDataPair = db::TablePair<db::DBTableSystemDataSrc, db::DBTableSystemDataDst>;

TEST_F(MigrateTable, StreamsRowByRowAndFreesDestinationThenSource) {
  odbc_double::SetResult("[SystemData]", {{"dbver", "29"}, {"desk", "spot"}});
  SystemDataPair pair(source, destination);
  odbc_double::NameFields("source", &pair.source.row(),
                          {BW_FIELD(db::DBRowSystemData, KeyName), BW_FIELD(db::DBRowSystemData, KeyValue)});
  odbc_double::NameFields("destination", &pair.destination.row(),
                          {BW_FIELD(db::DBRowSystemData, KeyName), BW_FIELD(db::DBRowSystemData, KeyValue)});
  Migrate(pair);
  EXPECT_THAT(
      odbc_double::Calls(),
      ElementsAre(
          "SQLAllocStmt(dbc1)", "SQLAllocStmt(dbc2)",
          R"(SQLExecDirect(stmt2, "TRUNCATE public."SystemData" RESTART IDENTITY;", 46))",
          R"(SQLExecDirect(stmt1, "SELECT [KeyName], [KeyValue] FROM dbo.[SystemData]", 50))",
          "SQLBindCol(stmt1, 1, SQL_C_CHAR, source.KeyName, 21, null)",
          "SQLBindCol(stmt1, 2, SQL_C_CHAR, source.KeyValue, 51, null)",
          R"(SQLPrepare(stmt2, "INSERT INTO public."SystemData"("KeyName", "KeyValue") VALUES (?, ?);", SQL_NTS))",
          "SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 21, 0, destination.KeyName, 0, null)",
          "SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 51, 0, destination.KeyValue, 0, null)",
          "SQLFetch(stmt1)", R"(SQLExecute(stmt2) sends "dbver", "29")", "SQLFetch(stmt1)",
          R"(SQLExecute(stmt2) sends "desk", "spot")", "SQLFetch(stmt1) -> SQL_NO_DATA",
          "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA", "SQLFreeHandle(SQL_HANDLE_STMT, stmt2)",
          "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_F(MigrateTable, ReportsStartAndSummaryOnConsoleAndEveryRowInTheLog) {
  odbc_double::SetResult("[SystemData]", {{"dbver", "29"}, {"desk", "spot"}, {"site", "main"}});
  SystemDataPair pair(source, destination);
  Migrate(pair);
  EXPECT_THAT(console(), MatchesRegex("Start migrate SystemData table\n"
                                      "Complete migrate SystemData table\\. Total rows read = 3 "
                                      "Total migrated rows = 3\\. Migration time is [0-9]+ milliseconds\n"));
  EXPECT_THAT(log(), MatchesRegex(kStamp + "Start migrate SystemData table\n" +  //
                                  kStamp + "insert row\\(1\\): \\[KeyName\\] = dbver, \\[KeyValue\\] = 29;\n" + kStamp +
                                  "insert row\\(2\\): \\[KeyName\\] = desk, \\[KeyValue\\] = spot;\n" + kStamp +
                                  "insert row\\(3\\): \\[KeyName\\] = site, \\[KeyValue\\] = main;\n" + kStamp +
                                  "Complete migrate SystemData table\\. Total rows read = 3 "
                                  "Total migrated rows = 3\\. Migration time is [0-9]+ milliseconds\n"));
}

TEST_F(MigrateTable, ReportsAnEmptyTableWithoutRowEntries) {
  SystemDataPair pair(source, destination);
  Migrate(pair);
  EXPECT_THAT(console(), MatchesRegex("Start migrate SystemData table\n"
                                      "Complete migrate SystemData table\\. Total rows read = 0 "
                                      "Total migrated rows = 0\\. Migration time is [0-9]+ milliseconds\n"));
  EXPECT_THAT(log(), Not(testing::HasSubstr("insert row")));
}

TEST_F(MigrateTable, ANullInTheThirdRowEndsTheTableWithASummary) {
  odbc_double::SetResult("[SystemData]", {{"dbver", "29"}, {"a", "1"}, {"b", std::monostate{}}, {"c", "3"}});
  SystemDataPair pair(source, destination);
  Migrate(pair);
  EXPECT_THAT(console(), testing::HasSubstr("Total rows read = 2 Total migrated rows = 2. "));
}

TEST_F(MigrateTable, AFailingWriteLeavesTheStatementsToThePairAndLogsNothingOfItsRow) {
  odbc_double::SetResult("[SystemData]", {{"dbver", "29"}, {"a", "1"}, {"b", "2"}, {"c", "3"}});
  {
    SystemDataPair pair(source, destination);
    odbc_double::OnCall("SQLExecute", 3, {.result = SQL_ERROR, .diagnostics = {{"23505", 1, "duplicate"}}});
    EXPECT_EQ(contract::RuntimeErrorOf([&] { Migrate(pair); }),
              "SQL Error: State = 23505 Code = 1 Message = duplicate");
    EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt2"));
    odbc_double::ClearCalls();
  }
  EXPECT_THAT(odbc_double::Calls(),
              ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, stmt2)", "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
  EXPECT_EQ(console(), "Start migrate SystemData table\n");
  EXPECT_THAT(log(), MatchesRegex(kStamp + "Start migrate SystemData table\n" +  //
                                  kStamp + "insert row\\(1\\): \\[KeyName\\] = dbver, \\[KeyValue\\] = 29;\n" + kStamp +
                                  "insert row\\(2\\): \\[KeyName\\] = a, \\[KeyValue\\] = 1;\n"));
}

TEST_F(MigrateTable, TheTruncateNoticeShowsNowhere) {
  SystemDataPair pair(source, destination);
  Migrate(pair);
  EXPECT_THAT(console(), Not(testing::HasSubstr("Truncate")));
  EXPECT_THAT(log(), Not(testing::HasSubstr("Truncate")));
}

/// A pair without ODBC, to see what the procedure makes of what it is given.
struct StubRow {
  int number;
};

void Append(std::string& text, const StubRow& row) {
  text += std::to_string(row.number);
}

struct StubSource {
  void Open() const { events->push_back("source opens"); }
  std::optional<StubRow> Next() {
    if (next == 4) {
      return std::nullopt;
    }
    return StubRow{next++};
  }
  std::string tableName() const { return "Stub"; }
  void ReleaseStatement() const { events->push_back("source releases"); }

  std::vector<std::string>* events;
  int next = 1;
};

struct StubDestination {
  void Open() const { events->push_back("destination opens"); }
  bool Write(const StubRow& row) { return row.number != 2; }
  void ReleaseStatement() const { events->push_back("destination releases"); }

  std::vector<std::string>* events;
};

struct StubPair {
  using RowType = StubRow;

  StubSource source;
  StubDestination destination;
};

TEST_F(MigrateTable, ARowThatWriteLeavesOutCountsAsReadAndIsNotLogged) {
  std::vector<std::string> events;
  StubPair pair{{&events}, {&events}};
  Migrate(pair);
  EXPECT_THAT(console(), testing::HasSubstr("Total rows read = 3 Total migrated rows = 2. "));
  EXPECT_THAT(log(), MatchesRegex(kStamp + "Start migrate Stub table\n" +  //
                                  kStamp + "insert row\\(1\\): 1\n" +      //
                                  kStamp + "insert row\\(3\\): 3\n" +      //
                                  kStamp + "Complete migrate Stub table.*\n"));
}

TEST_F(MigrateTable, OpensSourceFirstAndReleasesDestinationFirst) {
  std::vector<std::string> events;
  StubPair pair{{&events}, {&events}};
  Migrate(pair);
  EXPECT_THAT(events, ElementsAre("source opens", "destination opens", "destination releases", "source releases"));
}

}  // namespace
