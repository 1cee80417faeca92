#include "lab/tds_server/text.h"

#include <gtest/gtest.h>

#include "tds_server/hex.h"

namespace tds {
namespace {

TEST(Utf16ToUtf8, DecodesEveryLength) {
  EXPECT_EQ(Utf16ToUtf8(Hex("41 00  E9 00  AC 20  3D D8 00 DE")), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Utf16ToUtf8, ReplacesUnpairedSurrogates) {
  EXPECT_EQ(Utf16ToUtf8(Hex("3D D8")), "\xEF\xBF\xBD");
  EXPECT_EQ(Utf16ToUtf8(Hex("3D D8 41 00")),
            "\xEF\xBF\xBD"
            "A");
  EXPECT_EQ(Utf16ToUtf8(Hex("00 DE 41 00")),
            "\xEF\xBF\xBD"
            "A");
}

TEST(Utf16ToUtf8, RefusesOddNumberOfBytes) {
  EXPECT_THROW(Utf16ToUtf8(Hex("41 00 42")), ProtocolError);
}

TEST(Utf8ToUtf16, EncodesEveryLength) {
  EXPECT_EQ(Utf8ToUtf16("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), u"A\u00E9\u20AC\U0001F600");
}

TEST(Utf8ToUtf16, ReplacesBytesThatAreNoUtf8) {
  EXPECT_EQ(Utf8ToUtf16("\xFF"
                        "A"),
            u"\uFFFDA");
  EXPECT_EQ(Utf8ToUtf16("\xE2\x82"), u"\uFFFD\uFFFD");
}

TEST(Utf8SequenceLength, IsZeroForMalformedSequences) {
  EXPECT_EQ(Utf8SequenceLength(""), 0U);
  EXPECT_EQ(Utf8SequenceLength("\x80"), 0U);              // continuation first
  EXPECT_EQ(Utf8SequenceLength("\xC1\xBF"), 0U);          // two bytes for an ASCII character
  EXPECT_EQ(Utf8SequenceLength("\xE0\x9F\xBF"), 0U);      // three for one of two
  EXPECT_EQ(Utf8SequenceLength("\xF0\x8F\xBF\xBF"), 0U);  // four for one of three
  EXPECT_EQ(Utf8SequenceLength("\xED\xA0\x80"), 0U);      // surrogate
  EXPECT_EQ(Utf8SequenceLength("\xF4\x90\x80\x80"), 0U);  // beyond the last character
  EXPECT_EQ(Utf8SequenceLength("\xC3"
                               "A"),
            0U);  // not continued
}

TEST(Utf8SequenceLength, CountsTheBytesOfOneCharacter) {
  EXPECT_EQ(Utf8SequenceLength("AB"), 1U);
  EXPECT_EQ(Utf8SequenceLength("\xC3\xA9"
                               "B"),
            2U);
  EXPECT_EQ(Utf8SequenceLength("\xE2\x82\xAC"
                               "B"),
            3U);
  EXPECT_EQ(Utf8SequenceLength("\xF4\x8F\xBF\xBF"
                               "B"),
            4U);
}

TEST(EqualsIgnoringCase, ComparesWholeNames) {
  EXPECT_TRUE(EqualsIgnoringCase("Clients", "cLIENTS"));
  EXPECT_FALSE(EqualsIgnoringCase("Clients", "Client"));
  EXPECT_FALSE(EqualsIgnoringCase("[", "{"));
}

}  // namespace
}  // namespace tds
