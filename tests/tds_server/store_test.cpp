#include "lab/tds_server/store.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "lab/tds_server/collations.h"
#include "lab/tds_server/sql_error.h"
#include "support/scratch_directory.h"

namespace tds {
namespace {

using testing::ElementsAre;

class StoreTest : public testing::Test {
 protected:
  void Run(const char* sql) { store_.Prepare(sql).Step(); }

  std::int64_t Number(const char* sql) {
    Statement statement = store_.Prepare(sql);
    EXPECT_TRUE(statement.Step());
    return statement.Integer(0);
  }

  int ErrorOf(const char* sql) {
    try {
      Run(sql);
    } catch (const SqlError& error) {
      return error.number();
    }
    return 0;
  }

  support::ScratchDirectory directory_;
  bool interrupted_ = false;
  Store store_{directory_ / "store.sqlite", [this] { return interrupted_; }};
};

TEST_F(StoreTest, TablesBelongToSchemaDbo) {
  Run("CREATE TABLE [dbo].[Clients] ([ClientCode] varchar(12) NOT NULL, [Num] int NULL)");
  Run("INSERT INTO dbo.[Clients] VALUES ('C1', 4)");
  EXPECT_EQ(Number("SELECT [Num] FROM dbo.[Clients]"), 4);
  EXPECT_EQ(Number("SELECT [num] FROM [dbo].[CLIENTS]"), 4);
  EXPECT_EQ(Number("SELECT Num FROM Clients"), 4);
}

TEST_F(StoreTest, TableWithoutSchemaIsKeptInTheFile) {
  Run("CREATE TABLE t (a int)");
  Store other(directory_ / "store.sqlite", [] { return false; });
  EXPECT_FALSE(other.Prepare("SELECT a FROM dbo.t").Step());
}

TEST_F(StoreTest, KnowsDeclaredTypesOfColumnsOnly) {
  Run("CREATE TABLE t (a VarChar(7))");
  const Statement statement = store_.Prepare("SELECT a, a || 'x' FROM t");
  EXPECT_EQ(statement.DeclaredType(0), "VarChar(7)");
  EXPECT_EQ(statement.DeclaredType(1), std::nullopt);
}

TEST_F(StoreTest, KnowsTheTableAndColumnOfAValue) {
  Run("CREATE TABLE t (a VarChar(7))");
  const Statement statement = store_.Prepare("SELECT a AS b, a || 'x' FROM dbo.[T]");
  EXPECT_EQ(statement.OriginOf(0)->table, "t");
  EXPECT_EQ(statement.OriginOf(0)->column, "a");
  EXPECT_FALSE(statement.OriginOf(1));
}

TEST_F(StoreTest, NotesTablesThatAreRead) {
  Run("CREATE TABLE a (x int)");
  Run("CREATE TABLE b (y int)");
  EXPECT_THAT(store_.Prepare("SELECT x FROM A WHERE x IN (SELECT y FROM dbo.[B])").TablesRead(), ElementsAre("a", "b"));
  EXPECT_THAT(store_.Prepare("SELECT COUNT(*) FROM a").TablesRead(), ElementsAre("a"));
}

TEST_F(StoreTest, NotesChanges) {
  Run("CREATE TABLE t (a int)");
  EXPECT_EQ(store_.Prepare("INSERT INTO t VALUES (1)").change(), Statement::Change::Insert);
  EXPECT_EQ(store_.Prepare("UPDATE t SET a = 2").change(), Statement::Change::Update);
  EXPECT_EQ(store_.Prepare("DELETE FROM t").change(), Statement::Change::Delete);
  EXPECT_EQ(store_.Prepare("SELECT a FROM t").change(), Statement::Change::None);
  EXPECT_EQ(store_.Prepare("CREATE TABLE u (a int)").change(), Statement::Change::None);
  EXPECT_EQ(store_.Prepare("DROP TABLE t").change(), Statement::Change::Drop);
}

TEST_F(StoreTest, CountsChangedRows) {
  Run("CREATE TABLE t (a int)");
  Run("INSERT INTO t VALUES (1), (2), (3)");
  EXPECT_EQ(store_.RowsChanged(), 3U);
}

TEST_F(StoreTest, FailsWithNumbersOfTheServer) {
  Run("CREATE TABLE t (a int NOT NULL PRIMARY KEY)");
  Run("INSERT INTO t VALUES (1)");
  EXPECT_EQ(ErrorOf("SELECT * FROM dbo.[Nope]"), 208);
  EXPECT_EQ(ErrorOf("SELECT [nope] FROM t"), 207);
  EXPECT_EQ(ErrorOf("SELECT \"nope\" FROM t"), 207);
  EXPECT_EQ(ErrorOf("SELECT a FRM t WHERE"), 102);
  EXPECT_EQ(ErrorOf("SELECT a FROM t WHERE"), 102);
  EXPECT_EQ(ErrorOf("SELECT 'a"), 105);
  EXPECT_EQ(ErrorOf("INSERT INTO t VALUES (1)"), 2627);
  EXPECT_EQ(ErrorOf("INSERT INTO t VALUES (NULL)"), 515);
  EXPECT_EQ(ErrorOf("INSERT INTO t VALUES (1, 2)"), 213);
  EXPECT_EQ(ErrorOf("CREATE TABLE t (b int)"), 2714);
}

TEST_F(StoreTest, RefusesTextWithZeroCharacter) {
  using namespace std::string_view_literals;
  EXPECT_THROW(store_.Prepare("SELECT 1\0 SELECT"sv), SqlError);
  EXPECT_THROW(store_.Prepare("\0"sv), SqlError);
}

TEST_F(StoreTest, KeepsClientsWithinTheDatabase) {
  EXPECT_EQ(ErrorOf("ATTACH 'other.sqlite' AS other"), 229);
  EXPECT_EQ(ErrorOf("PRAGMA journal_mode = OFF"), 229);
}

TEST_F(StoreTest, NoStatementWritesAnotherFile) {
  const std::string intoAFile = "VACUUM INTO '" + (directory_ / "copy.sqlite").string() + "'";
  EXPECT_NE(ErrorOf(intoAFile.c_str()), 0);
  const Options options;
  Collations collations{options};
  store_.DefineFunctions(collations);
  EXPECT_NE(ErrorOf(intoAFile.c_str()), 0);
  EXPECT_EQ(ErrorOf("ATTACH 'other.sqlite' AS other"), 229);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "copy.sqlite"));
}

TEST_F(StoreTest, LeavesTransactionsToItsMembers) {
  EXPECT_EQ(ErrorOf("BEGIN"), 229);
  EXPECT_EQ(ErrorOf("SAVEPOINT s"), 229);
}

TEST_F(StoreTest, OnlyOutermostCommitHasAnEffect) {
  Run("CREATE TABLE t (a int)");
  store_.BeginTransaction();
  store_.BeginTransaction();
  EXPECT_EQ(store_.TransactionDepth(), 2);
  Run("INSERT INTO t VALUES (1)");
  store_.CommitTransaction();
  store_.RollbackTransaction();
  EXPECT_EQ(store_.TransactionDepth(), 0);
  EXPECT_EQ(Number("SELECT COUNT(*) FROM t"), 0);

  store_.BeginTransaction();
  Run("INSERT INTO t VALUES (1)");
  store_.CommitTransaction();
  EXPECT_EQ(Number("SELECT COUNT(*) FROM t"), 1);
}

TEST_F(StoreTest, RefusesToEndTransactionThatIsNotOpen) {
  EXPECT_THROW(store_.CommitTransaction(), SqlError);
  EXPECT_THROW(store_.RollbackTransaction(), SqlError);
}

TEST_F(StoreTest, GivesStatementUpWhenInterrupted) {
  Statement endless =
      store_.Prepare("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n WHERE i < 0");
  interrupted_ = true;
  EXPECT_THROW(endless.Step(), StatementInterrupted);
}

TEST_F(StoreTest, RefusesFileThatIsNoDatabase) {
  const std::filesystem::path file = directory_ / "text";
  std::ofstream(file) << std::string(1000, 'x');
  EXPECT_THROW(Store(file, [] { return false; }), std::runtime_error);
  EXPECT_THROW(Store(directory_ / "missing" / "file", [] { return false; }), std::runtime_error);
}

}  // namespace
}  // namespace tds
