#include "check/report/characters.h"

#include <gtest/gtest.h>

#include <string>

namespace check {
namespace {

TEST(Printable, KeepsCharactersOfUtf8) {
  const std::string characters = "a~ \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\x88 \xC2\xA0";
  EXPECT_EQ(Printable(characters), characters);
}

TEST(Printable, ShowsControlCharactersAsNumbers) {
  EXPECT_EQ(Printable(std::string("\0\t\n\x1F\x7F", 5)), "\\x00\\x09\\x0A\\x1F\\x7F");
  // Those with eight bits end at U+009F.
  EXPECT_EQ(Printable("\xC2\x80\xC2\x9B\xC2\x9F"), "\\xC2\\x80\\xC2\\x9B\\xC2\\x9F");
}

TEST(Printable, ShowsCharactersThatChangeTheDirectionOrTheLineAsNumbers) {
  EXPECT_EQ(Printable("\u061C\u200E\u200F"), R"(\xD8\x9C\xE2\x80\x8E\xE2\x80\x8F)");
  EXPECT_EQ(Printable("\u2028\u2029"), R"(\xE2\x80\xA8\xE2\x80\xA9)");
  EXPECT_EQ(Printable("\u202A\u202B\u202C\u202D\u202E"),  // NOLINT(misc-misleading-bidirectional)
            R"(\xE2\x80\xAA\xE2\x80\xAB\xE2\x80\xAC\xE2\x80\xAD\xE2\x80\xAE)");
  // NOLINTNEXTLINE(misc-misleading-bidirectional)
  EXPECT_EQ(Printable("\u2066\u2067\u2068\u2069"), R"(\xE2\x81\xA6\xE2\x81\xA7\xE2\x81\xA8\xE2\x81\xA9)");
  const std::string neighbours = "\u061B\u061D\u200D\u2010\u2027\u202F\u2065\u206A";
  EXPECT_EQ(Printable(neighbours), neighbours);
}

TEST(Printable, ShowsBytesThatAreNoUtf8AsNumbers) {
  EXPECT_EQ(Printable("\xEF\xE0\xF0"), "\\xEF\\xE0\\xF0");
  EXPECT_EQ(Printable("caf\xE9"), "caf\\xE9");
  EXPECT_EQ(Printable("\xC3"), "\\xC3");             // The second byte is missing.
  EXPECT_EQ(Printable("\xE2\x82z"), "\\xE2\\x82z");  // The third byte is missing.
  EXPECT_EQ(Printable("\xC0\xAF"), "\\xC0\\xAF");    // A longer form of a shorter character.
  EXPECT_EQ(Printable("\xE0\x9F\xBF"), "\\xE0\\x9F\\xBF");
  EXPECT_EQ(Printable("\xF0\x8F\xBF\xBF"), "\\xF0\\x8F\\xBF\\xBF");
  EXPECT_EQ(Printable("\xED\xA0\x80"), "\\xED\\xA0\\x80");           // A surrogate.
  EXPECT_EQ(Printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");  // After the last character.
  EXPECT_EQ(Printable("\xFF"), "\\xFF");
}

TEST(Printable, KeepsWhatItIsToldTo) {
  EXPECT_EQ(Printable("a\nb\tc", "\n"), "a\nb\\x09c");
}

TEST(AsUtf8, KeepsUtf8) {
  const std::string characters = "a\n \u00E9 \u20AC \U0001F4C8";
  EXPECT_EQ(AsUtf8(characters), characters);
}

TEST(AsUtf8, MakesOtherBytesCharactersOfTheirNumber) {
  EXPECT_EQ(AsUtf8("caf\xE9 \x80\u20AC\xFF"), "caf\u00E9 \u0080\u20AC\u00FF");
  EXPECT_EQ(AsUtf8("\xE2\x82z"), "\u00E2\u0082z");
}

}  // namespace
}  // namespace check
