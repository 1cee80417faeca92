#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "check/setup/configuration.h"
#include "support/scratch_directory.h"

namespace check::setup {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kWhole =
    "[DBSource]\ndb_connection_name=A\ndb_connection_login=B\ndb_schema=dbo\n"
    "[DBDestination]\ndb_connection_name=C\ndb_connection_login=D\ndb_schema=\n";

class ConfigurationTest : public testing::Test {
 protected:
  std::string FlawOf(std::string_view content) const { return FlawAt(directory_.Write("bw_migrate.ini", content)); }

  static std::string FlawAt(const std::filesystem::path& path) {
    try {
      RequireUsableConfiguration(path);
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "none";
  }

  /// The whole file with one text in it replaced.
  static std::string With(std::string_view text, std::string_view other) {
    std::string changed(kWhole);
    const std::size_t place = changed.find(text);
    EXPECT_NE(place, std::string::npos);
    return changed.replace(place, text.size(), other);
  }

  support::ScratchDirectory directory_;
};

TEST(Resembles, AllowsTwoCharactersAtMost) {
  EXPECT_TRUE(Resembles("db_shema", "db_schema"));
  EXPECT_TRUE(Resembles("DB-SCHEMA", "db_schema"));
  EXPECT_TRUE(Resembles("bd_schema", "db_schema"));
  EXPECT_TRUE(Resembles("db schemas", "db_schema"));
  EXPECT_FALSE(Resembles("b_shemas", "db_schema"));
  EXPECT_FALSE(Resembles("schema", "db_schema"));
  EXPECT_FALSE(Resembles("", "db_schema"));
}

TEST(Resembles, IsNotTheNameItself) {
  EXPECT_FALSE(Resembles("db_schema", "db_schema"));
  EXPECT_FALSE(Resembles("DB_Schema", "db_schema"));
}

TEST_F(ConfigurationTest, IsUsableWithAnEmptySchema) {
  EXPECT_EQ(FlawOf(kWhole), "none");
}

TEST_F(ConfigurationTest, IsUsableInAnyCaseAndWithAByteOrderMark) {
  EXPECT_EQ(FlawOf("\xEF\xBB\xBF" + With("[DBSource]\ndb_connection_name", "[dbsource]\nDB_Connection_Name")), "none");
}

TEST_F(ConfigurationTest, MayHoldOtherKeysAndSections) {
  EXPECT_EQ(FlawOf(With("db_schema=dbo\n", "db_schema=dbo\n#db_schema=old\ncomment=x\n[Other]\ndb_shema=y\n")), "none");
}

TEST_F(ConfigurationTest, SaysThatItIsNoFile) {
  EXPECT_EQ(FlawAt(directory_.path()), "bw_migrate.ini is not a regular file: put the configuration file there");
}

TEST_F(ConfigurationTest, SaysThatItIsEmpty) {
  EXPECT_EQ(FlawOf("\r\n \n"),
            "bw_migrate.ini is empty: write both sections into it, with the keys db_connection_name, "
            "db_connection_login, db_schema");
}

TEST_F(ConfigurationTest, SaysThatItIsInUtf16) {
  constexpr std::string_view flaw =
      "bw_migrate.ini is in UTF-16, or is no text file: save it as ANSI or as UTF-8 without a byte-order mark";
  EXPECT_EQ(FlawOf("\xFF\xFE[\0D\0"sv), flaw);
  EXPECT_EQ(FlawOf("\xFE\xFF\0[\0D"sv), flaw);
  EXPECT_EQ(FlawOf("[\0D\0B\0"sv), flaw);
}

TEST_F(ConfigurationTest, NamesAMissingSection) {
  EXPECT_EQ(FlawOf(With("[DBDestination]", "[Destinations]")),
            "bw_migrate.ini: there is no section [DBDestination]. Write it, with the keys db_connection_name, "
            "db_connection_login, db_schema");
}

TEST_F(ConfigurationTest, NamesASectionThatResemblesAMissingOne) {
  EXPECT_EQ(FlawOf(With("[DBSource]", "[DB Source]")),
            "bw_migrate.ini: there is no section [DBSource], but one named [DB Source]. Rename it");
}

TEST_F(ConfigurationTest, NamesAMissingKey) {
  EXPECT_EQ(FlawOf(With("db_connection_name=A\n", "")),
            "bw_migrate.ini: there is no key db_connection_name in [DBSource]. Write the line db_connection_name=NAME, "
            "with the name of the data source");
  EXPECT_EQ(FlawOf(With("db_connection_login=D\n", "")),
            "bw_migrate.ini: there is no key db_connection_login in [DBDestination]. Write the line "
            "db_connection_login=LOGIN; without a login if the data source has it");
  EXPECT_EQ(FlawOf(With("db_schema=dbo\n", "db_schema\n")),
            "bw_migrate.ini: there is no key db_schema in [DBSource]. Write the line db_schema=SCHEMA; without a "
            "schema if table names need none");
}

TEST_F(ConfigurationTest, NamesAKeyThatResemblesAnother) {
  EXPECT_EQ(FlawOf(With("db_schema=dbo", "db_shema=dbo")),
            "bw_migrate.ini: the key db_shema in [DBSource] is not read. Rename it to db_schema");
  EXPECT_EQ(FlawOf(With("db_schema=dbo", "db_schema=dbo\ndb_scheme=other")),
            "bw_migrate.ini: the key db_scheme in [DBSource] is not read. Rename it to db_schema, or remove it");
}

TEST_F(ConfigurationTest, SaysThatADataSourceHasNoName) {
  EXPECT_EQ(FlawOf(With("db_connection_name=C", "db_connection_name=\"\"")),
            "bw_migrate.ini: db_connection_name in [DBDestination] is empty. Write the name of the data source after "
            "the =");
}

TEST_F(ConfigurationTest, NamesAllFlaws) {
  EXPECT_EQ(FlawOf("[DBSource]\ndb_connection_name=A\ndb_connection_login=B\ndb_shema=dbo\n[DBDestinaton]\n"),
            "bw_migrate.ini: the key db_shema in [DBSource] is not read. Rename it to db_schema\n"
            "bw_migrate.ini: there is no section [DBDestination], but one named [DBDestinaton]. Rename it");
}

}  // namespace
}  // namespace check::setup
