#include "config/profile_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "support/scratch_directory.h"

namespace {

using namespace std::string_view_literals;

/// What the key "key" of the section "Section" reads as in a file of that content.
std::string Read(std::string_view content) {
  const support::ScratchDirectory directory;
  return config::ReadProfileString(directory.Write("settings.ini", content), "Section", "key", 1023);
}

TEST(ProfileFile, ReadsTheValueOfAKeyInItsSection) {
  EXPECT_EQ(Read("[Section]\nkey=value\n"), "value");
}

TEST(ProfileFile, ReadsFilesWithCarriageReturns) {
  EXPECT_EQ(Read("[Section]\r\nother=1\r\nkey=value\r\n"), "value");
}

TEST(ProfileFile, EndsALineAtACarriageReturnAlone) {
  EXPECT_EQ(Read("[Section]\rother=1\rkey=value\rmore=2\r"), "value");
  EXPECT_EQ(Read("[Section]\nkey=value\rmore\n"), "value");
}

TEST(ProfileFile, ReadsALastLineWithoutLineEnd) {
  EXPECT_EQ(Read("[Section]\nkey=value"), "value");
}

TEST(ProfileFile, IgnoresTheCaseOfSectionAndKey) {
  EXPECT_EQ(Read("[sECTION]\nKEY=Value\n"), "Value");
}

TEST(ProfileFile, DropsBlanksAroundNamesAndValue) {
  EXPECT_EQ(Read(" [ Section ] \n \t key \t = \t a value \t \n"), "a value");
}

TEST(ProfileFile, DropsAnEndOfFileMarkLikeABlank) {
  EXPECT_EQ(Read("[Section]\nkey=value\x1A"), "value");
}

TEST(ProfileFile, RemovesOnePairOfDoubleQuotes) {
  EXPECT_EQ(Read("[Section]\nkey=\" value \"\n"), " value ");
}

TEST(ProfileFile, RemovesOnePairOfSingleQuotes) {
  EXPECT_EQ(Read("[Section]\nkey=' value '\n"), " value ");
}

TEST(ProfileFile, RemovesOnlyTheOuterPairOfQuotes) {
  EXPECT_EQ(Read("[Section]\nkey=\"'value'\"\n"), "'value'");
}

TEST(ProfileFile, KeepsQuotesThatAreNoPair) {
  EXPECT_EQ(Read("[Section]\nkey=\"value\n"), "\"value");
  EXPECT_EQ(Read("[Section]\nkey=\"value'\n"), "\"value'");
  EXPECT_EQ(Read("[Section]\nkey=\"\n"), "\"");
}

TEST(ProfileFile, SkipsCommentsAndBlankLines) {
  EXPECT_EQ(Read("; [Section]\n\n[Section]\n;key=comment\n  ; key=comment\n \t\nkey=value\n"), "value");
}

TEST(ProfileFile, KeepsASemicolonInsideAValue) {
  EXPECT_EQ(Read("[Section]\nkey=a;b\n"), "a;b");
}

TEST(ProfileFile, KeepsAnEqualsSignInsideAValue) {
  EXPECT_EQ(Read("[Section]\nkey=a=b\n"), "a=b");
}

TEST(ProfileFile, TakesTheFirstOfTwoEqualKeys) {
  EXPECT_EQ(Read("[Section]\nkey=first\nkey=second\n"), "first");
}

TEST(ProfileFile, TakesAnEmptyFirstKeyBeforeASecondOne) {
  EXPECT_EQ(Read("[Section]\nkey=\nkey=second\n"), "");
}

TEST(ProfileFile, LooksOnlyIntoTheFirstOfTwoEqualSections) {
  EXPECT_EQ(Read("[Section]\nother=1\n[Section]\nkey=value\n"), "");
}

TEST(ProfileFile, IgnoresTheKeyInOtherSectionsAndBeforeAny) {
  EXPECT_EQ(Read("key=before\n[Other]\nkey=other\n[SectionX]\nkey=longer\n[Section]\nkey=value\n"), "value");
}

TEST(ProfileFile, EndsTheNameOfASectionAtTheFirstClosingBracket) {
  EXPECT_EQ(Read("[Section] ; see [1]\nkey=value\n"), "value");
  EXPECT_EQ(Read("[Section]]\nkey=value\n"), "value");
  EXPECT_EQ(Read("[Other [Section]\nkey=value\n"), "");
}

TEST(ProfileFile, EndsTheNameOfASectionAtTheEndOfTheLineWithoutClosingBracket) {
  EXPECT_EQ(Read("[Section\nkey=value\n"), "value");
  EXPECT_EQ(Read("[Section]\n[key=value\nkey=value\n"), "");
}

TEST(ProfileFile, TakesNoKeyFromTheLineOfASection) {
  EXPECT_EQ(Read("[Section]key=value\n"), "");
}

TEST(ProfileFile, DoesNotTakeALongerKeyForTheKey) {
  EXPECT_EQ(Read("[Section]\nkeys=1\nkey=value\n"), "value");
}

TEST(ProfileFile, SkipsALineWithoutEqualsSign) {
  EXPECT_EQ(Read("[Section]\nkey\nkey=value\n"), "value");
}

TEST(ProfileFile, EndsNamesAndValuesAtAZeroByte) {
  EXPECT_EQ(Read("[Section\0x]\nkey\0y=value\0z\n"sv), "value");
  EXPECT_EQ(Read("[Section]\nkey \0=value\n"sv), "");
  EXPECT_EQ(Read("[Section]\n\0key=value\n"sv), "");
}

TEST(ProfileFile, LooksForQuotesInFrontOfAZeroByte) {
  EXPECT_EQ(Read("[Section]\nkey=\"value\"\0z\n"sv), "value");
  EXPECT_EQ(Read("[Section]\nkey=\"value\0\"\n"sv), "\"value");
}

TEST(ProfileFile, SkipsAByteOrderMark) {
  EXPECT_EQ(Read("\xEF\xBB\xBF[Section]\nkey=value\n"), "value");
}

TEST(ProfileFile, GivesAnEmptyTextForWhatIsNotThere) {
  EXPECT_EQ(Read(""), "");
  EXPECT_EQ(Read("[Other]\nkey=value\n"), "");
  EXPECT_EQ(Read("[Section]\nother=value\n"), "");
  EXPECT_EQ(config::ReadProfileString("/nonexistent/settings.ini", "Section", "key", 1023), "");
}

TEST(ProfileFile, ExistsWhenThereIsAFileOrADirectory) {
  const support::ScratchDirectory directory;
  directory.Write("settings.ini", "");
  EXPECT_TRUE(config::ProfileFileExists(directory / "settings.ini"));
  EXPECT_TRUE(config::ProfileFileExists(directory.path()));
}

TEST(ProfileFile, DoesNotExistWithoutFileOrDirectory) {
  const support::ScratchDirectory directory;
  directory.Write("file", "");
  std::filesystem::create_symlink("nowhere", directory / "link");
  EXPECT_FALSE(config::ProfileFileExists(directory / "settings.ini"));
  EXPECT_FALSE(config::ProfileFileExists(directory / "nowhere" / "settings.ini"));
  EXPECT_FALSE(config::ProfileFileExists(directory / "file" / "settings.ini"));
  EXPECT_FALSE(config::ProfileFileExists(directory / "link"));
}

TEST(ProfileFile, ThrowsWhenItCannotBeToldWhetherItExists) {
  const support::ScratchDirectory directory;
  std::filesystem::create_symlink("circle", directory / "circle");
  EXPECT_THROW(config::ProfileFileExists(directory / "circle"), std::filesystem::filesystem_error);
}

TEST(ProfileFile, GivesAnEmptyTextForADirectory) {
  const support::ScratchDirectory directory;
  EXPECT_EQ(config::ReadProfileString(directory.path().string(), "Section", "key", 1023), "");
}

TEST(ProfileFile, CutsALongValue) {
  const support::ScratchDirectory directory;
  const std::string path = directory.Write("settings.ini", "[Section]\nkey=abcdef\n");
  EXPECT_EQ(config::ReadProfileString(path, "Section", "key", 6), "abcdef");
  EXPECT_EQ(config::ReadProfileString(path, "Section", "key", 5), "abcde");
}

TEST(ProfileFile, KeepsLettersBeyondAscii) {
  EXPECT_EQ(Read("[Section]\nkey=K\xC3\xB6ln \xCF\xEE\n"), "K\xC3\xB6ln \xCF\xEE");
}

}  // namespace
