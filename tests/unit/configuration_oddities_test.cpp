#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "config/migration_settings.h"
#include "support/scratch_directory.h"

namespace {

constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

/// The settings in a file of that content.
config::MigrationSettings Read(std::string_view content) {
  const support::ScratchDirectory directory;
  return config::MigrationSettings(directory.Write("bw_migrate.ini", content));
}

void ExpectNothing(const config::ConnectionSettings& settings) {
  EXPECT_EQ(settings.dataSourceName, "");
  EXPECT_EQ(settings.login, "");
  EXPECT_EQ(settings.schema, "");
  EXPECT_EQ(settings.password, "");
}

void ExpectNothing(const config::MigrationSettings& settings) {
  ExpectNothing(settings.source);
  ExpectNothing(settings.destination);
}

/// The name of the source when its line holds that value.
std::string NameOf(const std::string& value) {
  return Read("[DBSource]\ndb_connection_name=" + value + "\ndb_schema=dbo\n").source.dataSourceName;
}

TEST(OddConfiguration, AnEmptyFileSaysNothing) {
  ExpectNothing(Read(""));
}

TEST(OddConfiguration, AFileOfLineEndsSaysNothing) {
  ExpectNothing(Read("\n\r\n\r\r\n\n"));
}

TEST(OddConfiguration, AFileOfZeroBytesSaysNothing) {
  ExpectNothing(Read(std::string(5000, '\0')));
}

TEST(OddConfiguration, AFileOfAllBytesSaysNothing) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  ExpectNothing(Read(bytes + bytes));
}

TEST(OddConfiguration, AFileInUtf16SaysNothing) {
  std::string utf16 = "\xFF\xFE";
  for (const char c : std::string_view("[DBSource]\r\ndb_connection_name=Old\r\n")) {
    utf16 += c;
    utf16 += '\0';
  }
  ExpectNothing(Read(utf16));
}

TEST(OddConfiguration, AValueEndsAtAZeroByte) {
  using namespace std::string_literals;
  EXPECT_EQ(NameOf("Old\0server"s), "Old");
  EXPECT_EQ(NameOf("\0Old"s), "");
}

TEST(OddConfiguration, AZeroByteEndsANameAndLeavesTheOtherLinesAlone) {
  using namespace std::string_literals;
  const config::MigrationSettings settings =
      Read("\0\n[DBSource]\n\0db_connection_name=No\ndb_connection_login\0=reader\ndb_connection_name=Old\n"s);
  EXPECT_EQ(settings.source.dataSourceName, "Old");
  EXPECT_EQ(settings.source.login, "reader");
}

TEST(OddConfiguration, ALineOfTenMebibytesSaysNothing) {
  ExpectNothing(Read(std::string(10 * kMebibyte, 'x')));
}

TEST(OddConfiguration, AValueOfTenMebibytesIsCut) {
  EXPECT_EQ(NameOf(std::string(10 * kMebibyte, 'x')), std::string(1023, 'x'));
}

TEST(OddConfiguration, ACommentOfTenMebibytesIsSkipped) {
  const config::MigrationSettings settings =
      Read("[DBSource]\n;" + std::string(10 * kMebibyte, 'x') + "\ndb_connection_name=Old\n");
  EXPECT_EQ(settings.source.dataSourceName, "Old");
}

TEST(OddConfiguration, TheLastLineNeedsNoLineEnd) {
  const config::MigrationSettings settings =
      Read("[DBSource]\ndb_connection_name=Old\n[DBDestination]\ndb_schema=public");
  EXPECT_EQ(settings.source.dataSourceName, "Old");
  EXPECT_EQ(settings.destination.schema, "public.");
}

TEST(OddConfiguration, ASectionAsLastLineWithoutLineEndIsEmpty) {
  ExpectNothing(Read("[DBSource]"));
}

TEST(OddConfiguration, CarriageReturnsAreNoPartOfValues) {
  const config::MigrationSettings settings =
      Read("[DBSource]\r\ndb_connection_name=Old\r\ndb_schema=\r\n[DBDestination]\r\ndb_schema=public\r\n");
  EXPECT_EQ(settings.source.dataSourceName, "Old");
  EXPECT_EQ(settings.source.schema, "");
  EXPECT_EQ(settings.destination.schema, "public.");
}

TEST(OddConfiguration, AByteOrderMarkIsSkippedOnceAndAtTheBeginningOnly) {
  EXPECT_EQ(Read("\xEF\xBB\xBF[DBSource]\ndb_connection_name=Old\n").source.dataSourceName, "Old");
  ExpectNothing(Read("\xEF\xBB\xBF\xEF\xBB\xBF[DBSource]\ndb_connection_name=Old\n"));
  ExpectNothing(Read("\n\xEF\xBB\xBF[DBSource]\ndb_connection_name=Old\n"));
}

TEST(OddConfiguration, TheFirstOfTwoEqualSectionsCounts) {
  const config::MigrationSettings settings = Read(
      "[DBSource]\ndb_connection_name=Old\n[DBDestination]\ndb_schema=public\n"
      "[dbsource]\ndb_connection_name=Other\ndb_connection_login=reader\n");
  EXPECT_EQ(settings.source.dataSourceName, "Old");
  EXPECT_EQ(settings.source.login, "");
  EXPECT_EQ(settings.destination.schema, "public.");
}

TEST(OddConfiguration, TheFirstOfTwoEqualKeysCounts) {
  const config::MigrationSettings settings =
      Read("[DBSource]\ndb_connection_name=Old\nDB_Connection_Name=Other\ndb_schema=\ndb_schema=dbo\n");
  EXPECT_EQ(settings.source.dataSourceName, "Old");
  EXPECT_EQ(settings.source.schema, "");
}

TEST(OddConfiguration, KeysBeforeAnySectionDoNotCount) {
  const config::MigrationSettings settings =
      Read("db_connection_name=Before\ndb_schema=before\n[DBSource]\ndb_connection_name=Old\n");
  EXPECT_EQ(settings.source.dataSourceName, "Old");
  EXPECT_EQ(settings.source.schema, "");
  ExpectNothing(settings.destination);
}

TEST(OddConfiguration, ValuesAreCutTo1023Characters) {
  EXPECT_EQ(NameOf(std::string(1022, 'x') + "y"), std::string(1022, 'x') + "y");
  EXPECT_EQ(NameOf(std::string(1023, 'x') + "y"), std::string(1023, 'x'));
  EXPECT_EQ(NameOf(std::string(1023, 'x') + std::string(3977, 'y')), std::string(1023, 'x'));
}

TEST(OddConfiguration, QuotesAroundALongValueAreNoPartOfWhatIsCut) {
  EXPECT_EQ(NameOf('"' + std::string(1023, 'x') + '"'), std::string(1023, 'x'));
  EXPECT_EQ(NameOf('"' + std::string(5000, 'x') + '"'), std::string(1023, 'x'));
}

}  // namespace
