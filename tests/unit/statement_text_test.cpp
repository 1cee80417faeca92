#include "db/statement_text.h"

#include <gtest/gtest.h>

namespace {

TEST(StatementText, PutsTheSchemaVerbatimInPlaceOfThePlaceholder) {
  EXPECT_EQ(db::WithSchema("SELECT [A] FROM {schema}[T];", "dbo."), "SELECT [A] FROM dbo.[T];");
  EXPECT_EQ(db::WithSchema("SELECT [A] FROM {schema}[T];", ""), "SELECT [A] FROM [T];");
  EXPECT_EQ(db::WithSchema("SELECT [A] FROM {schema}[T];", "dbo"), "SELECT [A] FROM dbo[T];");
  EXPECT_EQ(db::WithSchema("INSERT INTO {schema}\"T\"", "{schema}."), "INSERT INTO {schema}.\"T\"");
}

TEST(StatementText, TruncateRestartsIdentities) {
  EXPECT_EQ(db::TruncateStatement("public.", "Clients", db::Truncation::Restrict),
            "TRUNCATE public.\"Clients\" RESTART IDENTITY;");
  EXPECT_EQ(db::TruncateStatement("", "Clients", db::Truncation::Restrict), "TRUNCATE \"Clients\" RESTART IDENTITY;");
}

TEST(StatementText, TruncateCascadesWhereAsked) {
  EXPECT_EQ(db::TruncateStatement("public.", "GroupDesc", db::Truncation::Cascade),
            "TRUNCATE public.\"GroupDesc\" RESTART IDENTITY CASCADE;");
}

}  // namespace
