#include "check/characters/unicode.h"

#include <gtest/gtest.h>

namespace check::characters {
namespace {

using namespace std::string_view_literals;

TEST(FromUtf16, JoinsSurrogatePairs) {
  EXPECT_EQ(FromUtf16(""), U"");
  EXPECT_EQ(FromUtf16("a\0\x36\x04\x3D\xD8\x42\xDE"sv), U"a\u0436\U0001F642");
  EXPECT_EQ(FromUtf16("\x00\xD8\x00\xDC\xFF\xDB\xFF\xDF"sv), U"\U00010000\U0010FFFF");
}

TEST(FromUtf16, ReplacesHalvesOfPairs) {
  EXPECT_EQ(FromUtf16("\x3D\xD8"sv), U"\uFFFD");
  EXPECT_EQ(FromUtf16("\x3D\xD8\x61\0"sv), U"\uFFFDa");
  EXPECT_EQ(FromUtf16("\x42\xDE\x3D\xD8"sv), U"\uFFFD\uFFFD");
}

TEST(FromUtf16, LeavesHalfAUnitOut) {
  EXPECT_EQ(FromUtf16("a\0b"sv), U"a");
}

TEST(Utf8, IsReadAndWritten) {
  EXPECT_EQ(FromUtf8("a\xD0\xB6\xE2\x82\xAC\xF0\x9F\x99\x82"), U"a\u0436\u20AC\U0001F642");
  EXPECT_EQ(ToUtf8(U"a\u0436\u20AC\U0001F642"), "a\xD0\xB6\xE2\x82\xAC\xF0\x9F\x99\x82");
}

TEST(IsCombining, IsTrueOfMarksThatDriversJoin) {
  EXPECT_TRUE(IsCombining(0x0301));   // the acute accent, Vietnamese
  EXPECT_TRUE(IsCombining(0x05C1));   // the shin dot, Hebrew
  EXPECT_TRUE(IsCombining(0x309A));   // the semi-voiced sound mark, Japanese
  EXPECT_FALSE(IsCombining(0x00E1));  // a letter with its accent
  EXPECT_FALSE(IsCombining(U'a'));
}

TEST(Shown, IsANumberOfWhatIsNotSeen) {
  EXPECT_EQ(Shown(U'a'), "a");
  EXPECT_EQ(Shown(0x20AC), "\u20AC");
  EXPECT_EQ(Shown(0x1F642), "\U0001F642");
  EXPECT_EQ(Shown(0x00A0), "U+00A0");
  EXPECT_EQ(Shown(0x0301), "U+0301");
  EXPECT_EQ(Shown(0x202E), "U+202E");
  EXPECT_EQ(Shown(0x0007), "U+0007");
}

}  // namespace
}  // namespace check::characters
