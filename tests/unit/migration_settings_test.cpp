#include "config/migration_settings.h"

#include <gtest/gtest.h>

#include <string>

#include "support/scratch_directory.h"

namespace {

TEST(MigrationSettings, ReadsBothSections) {
  const support::ScratchDirectory directory;
  const std::string path = directory.Write("bw_migrate.ini",
                                           "[DBSource]\n"
                                           "db_connection_name=Old server\n"
                                           "db_connection_login=reader\n"
                                           "db_schema=dbo\n"
                                           "[DBDestination]\n"
                                           "db_connection_name=New server\n"
                                           "db_connection_login=writer\n"
                                           "db_schema=public\n");
  const config::MigrationSettings settings(path);
  EXPECT_EQ(settings.path, path);
  EXPECT_EQ(settings.source.dataSourceName, "Old server");
  EXPECT_EQ(settings.source.login, "reader");
  EXPECT_EQ(settings.source.schema, "dbo.");
  EXPECT_EQ(settings.destination.dataSourceName, "New server");
  EXPECT_EQ(settings.destination.login, "writer");
  EXPECT_EQ(settings.destination.schema, "public.");
}

TEST(MigrationSettings, NeverReadsPasswords) {
  const support::ScratchDirectory directory;
  const config::MigrationSettings settings(directory.Write(
      "bw_migrate.ini",
      "[DBSource]\npassword=secret\ndb_connection_password=secret\n[DBDestination]\npassword=secret\n"));
  EXPECT_EQ(settings.source.password, "");
  EXPECT_EQ(settings.destination.password, "");
}

TEST(MigrationSettings, LeavesAMissingSectionEmpty) {
  const support::ScratchDirectory directory;
  const config::MigrationSettings settings(
      directory.Write("bw_migrate.ini", "[DBSource]\ndb_connection_name=Old\ndb_connection_login=a\ndb_schema=dbo\n"));
  EXPECT_EQ(settings.source.dataSourceName, "Old");
  EXPECT_EQ(settings.destination.dataSourceName, "");
  EXPECT_EQ(settings.destination.login, "");
  EXPECT_EQ(settings.destination.schema, "");
}

std::string SchemaOf(const std::string& line) {
  const support::ScratchDirectory directory;
  return config::ReadConnectionSettings(directory.Write("bw_migrate.ini", "[DBSource]\n" + line + "\n"), "DBSource")
      .schema;
}

TEST(ConnectionSettings, AppendsAPointToTheSchema) {
  EXPECT_EQ(SchemaOf("db_schema=dbo"), "dbo.");
}

TEST(ConnectionSettings, LeavesAnEmptySchemaEmpty) {
  EXPECT_EQ(SchemaOf("db_schema="), "");
  EXPECT_EQ(SchemaOf("db_schema=\"\""), "");
  EXPECT_EQ(SchemaOf("other=1"), "");
}

TEST(ConnectionSettings, AppendsAPointEvenBehindAPoint) {
  EXPECT_EQ(SchemaOf("db_schema=dbo."), "dbo..");
}

TEST(ConnectionSettings, CutsValuesTo1023Bytes) {
  EXPECT_EQ(SchemaOf("db_schema=" + std::string(1023, 'x')), std::string(1023, 'x') + ".");
  EXPECT_EQ(SchemaOf("db_schema=" + std::string(1024, 'x')), std::string(1023, 'x') + ".");
}

}  // namespace
