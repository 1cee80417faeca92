#include "lab/tds_server/sql_error.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace tds {
namespace {

struct Case {
  int code;
  const char* message;
  int number;
  int severity;
  const char* translated;
};

class TranslateSqliteErrorTest : public testing::TestWithParam<Case> {};

TEST_P(TranslateSqliteErrorTest, GivesNumberAndMessageOfTheServer) {
  const SqlError error = TranslateSqliteError(GetParam().code, GetParam().message);
  EXPECT_EQ(error.number(), GetParam().number);
  EXPECT_EQ(error.severity(), GetParam().severity);
  EXPECT_STREQ(error.what(), GetParam().translated);
}

INSTANTIATE_TEST_SUITE_P(
    All, TranslateSqliteErrorTest,
    testing::Values(
        Case{SQLITE_ERROR, "no such table: dbo.Nope", 208, 16, "Invalid object name 'dbo.Nope'."},
        Case{SQLITE_ERROR, "no such column: T.nope", 207, 16, "Invalid column name 'nope'."},
        Case{SQLITE_ERROR, "table Clients has no column named nope", 207, 16, "Invalid column name 'nope'."},
        Case{SQLITE_ERROR, "near \"SELEKT\": syntax error", 102, 15, "Incorrect syntax near 'SELEKT'."},
        Case{SQLITE_ERROR, "incomplete input", 102, 15, "Incorrect syntax near ''."},
        Case{SQLITE_ERROR, "unrecognized token: \"#\"", 102, 15, "Incorrect syntax near '#'."},
        Case{SQLITE_ERROR, "unrecognized token: \"'ab\"", 105, 15,
             "Unclosed quotation mark after the character string 'ab'."},
        Case{SQLITE_ERROR, "no such function: nope", 195, 15, "'nope' is not a recognized built-in function name."},
        Case{SQLITE_ERROR, "table t has 2 columns but 3 values were supplied", 213, 16,
             "Column name or number of supplied values does not match table definition."},
        Case{SQLITE_ERROR, "table t already exists", 2714, 16, "There is already an object named 't' in the database."},
        Case{SQLITE_CONSTRAINT_PRIMARYKEY, "UNIQUE constraint failed: t.a", 2627, 14,
             "Violation of a key constraint. Cannot insert duplicate key in object 't.a'."},
        Case{SQLITE_CONSTRAINT_UNIQUE, "UNIQUE constraint failed: t.a", 2627, 14,
             "Violation of a key constraint. Cannot insert duplicate key in object 't.a'."},
        Case{SQLITE_CONSTRAINT_NOTNULL, "NOT NULL constraint failed: t.a", 515, 16,
             "Cannot insert the value NULL into column 'a', table 't'; column does not allow nulls. INSERT fails."},
        Case{SQLITE_CONSTRAINT_CHECK, "CHECK constraint failed: a > 0", 547, 16,
             "The statement conflicted with a constraint: CHECK constraint failed: a > 0."},
        Case{SQLITE_BUSY, "database is locked", 1222, 16, "Lock request time out period exceeded."},
        Case{SQLITE_AUTH, "not authorized", 229, 14, "The permission was denied: not authorized."},
        Case{SQLITE_CORRUPT, "database disk image is malformed", 50000, 16, "database disk image is malformed"}));

}  // namespace
}  // namespace tds
