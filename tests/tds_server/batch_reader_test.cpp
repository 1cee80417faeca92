#include "lab/tds_server/batch_reader.h"

#include <gmock/gmock.h>

#include <vector>

#include "lab/tds_server/sql_error.h"

namespace tds {

bool operator==(const BatchStatement& left, const BatchStatement& right) {
  return left.kind == right.kind && left.text == right.text;
}

void PrintTo(const BatchStatement& statement, std::ostream* out) {
  *out << static_cast<int>(statement.kind) << " \"" << statement.text << '"';
}

namespace {

using Kind = BatchStatement::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<BatchStatement> Read(std::string_view sql) {
  std::vector<BatchStatement> statements;
  BatchReader reader(sql);
  while (const auto statement = reader.Next()) {
    statements.push_back(*statement);
  }
  return statements;
}

BatchStatement Query(std::string_view text) {
  return {Kind::Query, text};
}

TEST(BatchReader, CutsQueriesAtSemicolons) {
  EXPECT_THAT(Read("SELECT 1; SELECT 2"), ElementsAre(Query("SELECT 1"), Query("SELECT 2")));
}

TEST(BatchReader, FindsNothingInBlanksCommentsAndSemicolons) {
  EXPECT_THAT(Read(""), IsEmpty());
  EXPECT_THAT(Read(" ;; -- one\n /* two */ ; -- three"), IsEmpty());
}

TEST(BatchReader, KeepsSemicolonsInTextsNamesAndComments) {
  EXPECT_THAT(Read("SELECT ';''' FROM [a;b] -- ;\n WHERE \"c;d\" /* ; */ = 1"),
              ElementsAre(Query("SELECT ';''' FROM [a;b] -- ;\n WHERE \"c;d\" /* ; */ = 1")));
}

TEST(BatchReader, TextWithoutEndReachesToTheEnd) {
  EXPECT_THAT(Read("SELECT 'a; SELECT 2"), ElementsAre(Query("SELECT 'a; SELECT 2")));
  EXPECT_THAT(Read("SELECT [a; SELECT 2"), ElementsAre(Query("SELECT [a; SELECT 2")));
  EXPECT_THAT(Read("/* a; SELECT 2"), IsEmpty());
}

TEST(BatchReader, TakesSetOptionsWithoutSemicolons) {
  EXPECT_THAT(Read("set textsize 2147483647 SET ANSI_NULLS, ANSI_WARNINGS ON\nSELECT 1"),
              ElementsAre(BatchStatement{Kind::SetOption, "textsize"}, BatchStatement{Kind::SetOption, "ANSI_NULLS"},
                          Query("SELECT 1")));
  EXPECT_THAT(Read("SET"), ElementsAre(BatchStatement{Kind::SetOption, ""}));
}

TEST(BatchReader, TakesDatabaseNames) {
  EXPECT_THAT(Read("USE Brantwell; use [My Base]"), ElementsAre(BatchStatement{Kind::UseDatabase, "Brantwell"},
                                                                BatchStatement{Kind::UseDatabase, "My Base"}));
  EXPECT_THAT(Read("USE"), ElementsAre(Query("USE")));
}

TEST(BatchReader, TakesTransactionStatements) {
  EXPECT_THAT(Read("BEGIN TRAN BEGIN TRANSACTION t1; COMMIT COMMIT WORK; ROLLBACK TRAN t1"),
              ElementsAre(BatchStatement{Kind::BeginTransaction, ""}, BatchStatement{Kind::BeginTransaction, ""},
                          BatchStatement{Kind::CommitTransaction, ""}, BatchStatement{Kind::CommitTransaction, ""},
                          BatchStatement{Kind::RollbackTransaction, ""}));
}

TEST(BatchReader, TakesConditionThatDriversPutBeforeCommit) {
  EXPECT_THAT(Read("IF @@TRANCOUNT > 0 COMMIT BEGIN TRANSACTION"),
              ElementsAre(BatchStatement{Kind::IfInTransaction, ""}, BatchStatement{Kind::CommitTransaction, ""},
                          BatchStatement{Kind::BeginTransaction, ""}));
}

TEST(BatchReader, LeavesOtherControlStatementsAsQueries) {
  EXPECT_THAT(Read("IF 1 = 1 SELECT 1; BEGIN SELECT 1"),
              ElementsAre(Query("IF 1 = 1 SELECT 1"), Query("BEGIN SELECT 1")));
}

std::optional<std::string> KnownVariables(std::string_view name) {
  return name == "SPID" ? std::optional<std::string>("51") : std::nullopt;
}

TEST(ReplaceGlobalVariables, PutsValuesInPlaceOfNames) {
  EXPECT_EQ(ReplaceGlobalVariables("SELECT @@SPID+@@SPID, x", KnownVariables), "SELECT 51+51, x");
}

TEST(ReplaceGlobalVariables, LeavesTextsNamesAndCommentsAlone) {
  EXPECT_EQ(ReplaceGlobalVariables("SELECT '@@SPID', [@@SPID] -- @@SPID", KnownVariables),
            "SELECT '@@SPID', [@@SPID] -- @@SPID");
}

TEST(ReplaceGlobalVariables, RefusesUnknownNames) {
  try {
    ReplaceGlobalVariables("SELECT @@NOPE", KnownVariables);
    FAIL();
  } catch (const SqlError& error) {
    EXPECT_EQ(error.number(), 137);
    EXPECT_STREQ(error.what(), "Must declare the scalar variable \"@@NOPE\".");
  }
}

TEST(PassCollations, MakesThemArguments) {
  EXPECT_EQ(PassCollations("SELECT f(a COLLATE X), g(b, h(c) collate Y_1) FROM t"),
            "SELECT f(a, 'X'), g(b, h(c), 'Y_1') FROM t");
  EXPECT_EQ(PassCollations("WITH n(n) AS (SELECT 1) SELECT f(n COLLATE X) FROM n"),
            "WITH n(n) AS (SELECT 1) SELECT f(n, 'X') FROM n");
}

TEST(PassCollations, LeavesTextsAndOtherPlacesAlone) {
  EXPECT_EQ(PassCollations("SELECT f('a COLLATE X') FROM t ORDER BY a COLLATE X"),
            "SELECT f('a COLLATE X') FROM t ORDER BY a COLLATE X");
  EXPECT_EQ(PassCollations("CREATE TABLE t (a varchar(4) COLLATE X)"), "CREATE TABLE t (a varchar(4) COLLATE X)");
}

}  // namespace
}  // namespace tds
