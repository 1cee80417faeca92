#include "lab/tds_server/code_page.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace tds {
namespace {

TEST(CodePage, CollationSaysLocaleAndSortOrder) {
  EXPECT_EQ(FindCodePage(1252).collation, (Collation{0x09, 0x04, 0xD0, 0x00, 0x34}));
  EXPECT_EQ(FindCodePage(1251).collation, (Collation{0x19, 0x04, 0xD0, 0x00, 0x00}));
}

TEST(CodePage, RefusesOthers) {
  EXPECT_THROW(FindCodePage(437), std::invalid_argument);
  EXPECT_THROW(FindCollation("Klingon_CI_AS"), std::invalid_argument);
}

TEST(CodePage, IsFoundByItsCollation) {
  EXPECT_EQ(FindCollation("cyrillic_general_ci_as").number, 1251);
  EXPECT_EQ(FindCollation("Japanese_CI_AS").number, 932);
}

TEST(TextEncoder, EncodesLettersOfItsCodePage) {
  TextEncoder western(FindCodePage(1252));
  EXPECT_EQ(western.Encode("Z\xC3\xBCrich \xE2\x82\xAC", 20), "Z\xFCrich \x80");
  TextEncoder cyrillic(FindCodePage(1251));
  EXPECT_EQ(cyrillic.Encode("\xD0\x96\xD1\x8F", 20), "\xC6\xFF");
}

TEST(TextEncoder, EncodesCharactersOfSeveralBytes) {
  EXPECT_EQ(TextEncoder(FindCodePage(932)).Encode("a\u4E2D\uFF76", 20), "a\x92\x86\xB6");
  EXPECT_EQ(TextEncoder(FindCodePage(936)).Encode("\u4E2D\u20AC", 20), "\xD6\xD0\x80");
  EXPECT_EQ(TextEncoder(FindCodePage(949)).Encode("\uD55C", 20), "\xC7\xD1");
  EXPECT_EQ(TextEncoder(FindCodePage(950)).Encode("\u4E2D", 20), "\xA4\xA4");
  EXPECT_EQ(TextEncoder(FindCodePage(932)).Encode("\u4E2D\u4E2D", 3), "\x92\x86");
}

TEST(TextEncoder, DoesNotTakeACharacterApart) {
  TextEncoder vietnamese(FindCodePage(1258));
  EXPECT_EQ(vietnamese.Encode("\u00E1a\u0323", 20),
            "\xE1"
            "a\xF2");
  EXPECT_EQ(vietnamese.Encode("\u1EA1", 20), "?");
}

TEST(TextEncoder, WritesQuestionMarkForWhatTheCodePageLacks) {
  TextEncoder western(FindCodePage(1252));
  EXPECT_EQ(western.Encode("a\xD0\x96z\xF0\x9F\x98\x80", 20), "a?z?");
}

TEST(TextEncoder, WritesQuestionMarkForEachByteThatIsNoUtf8) {
  TextEncoder western(FindCodePage(1252));
  EXPECT_EQ(western.Encode("\xC3\xBC\xFF\xFEz\xC3", 20), "\xFC??z?");
}

TEST(TextEncoder, CutsToSizeInBytesOfTheCodePage) {
  TextEncoder western(FindCodePage(1252));
  EXPECT_EQ(western.Encode("abcdef", 3), "abc");
  EXPECT_EQ(western.Encode("\xC3\xBC\xC3\xBC\xC3\xBC", 2), "\xFC\xFC");
  EXPECT_EQ(western.Encode("\xC3\xBC\xD0\x96\xD0\x96", 2), "\xFC?");
}

TEST(TextEncoder, StaysWithinSizeWhenBytesThatAreNoUtf8Follow) {
  TextEncoder western(FindCodePage(1252));
  EXPECT_EQ(western.Encode("\xC3\xBC\xFF", 1), "\xFC");
  EXPECT_EQ(western.Encode("\xC3\xBC" + std::string(100'000, '\xFF'), 1), "\xFC");
}

TEST(TextEncoder, DoesNotCutWithinACharacter) {
  TextEncoder unicode(FindCodePage(65001));
  EXPECT_EQ(unicode.Encode("a\xC3\xBC\xC3\xBC", 4), "a\xC3\xBC");
}

}  // namespace
}  // namespace tds
