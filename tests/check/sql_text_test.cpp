#include "check/sql/sql_text.h"

#include <gtest/gtest.h>

#include <string>

namespace check {
namespace {

TEST(SqlText, PlainTextsAreInQuotes) {
  for (const Side side : {Side::Source, Side::Destination}) {
    EXPECT_EQ(Literal(side, ""), "''");
    EXPECT_EQ(Literal(side, "it's a \"name\" [x]; -- /* ? :a"), "'it''s a \"name\" [x]; -- /* ? :a'");
  }
}

TEST(SqlText, CharactersBeyondAsciiStay) {
  EXPECT_EQ(Literal(Side::Source, "caf\u00E9 \u20AC"), "N'caf\u00E9 \u20AC'");
  EXPECT_EQ(Literal(Side::Destination, "caf\u00E9 \u20AC"), "'caf\u00E9 \u20AC'");
}

TEST(SqlText, WhatAClientMayReadInItsOwnWayIsANumber) {
  EXPECT_EQ(Literal(Side::Source, "a\nb\\c$(d)"), "('a' + CHAR(10) + 'b' + CHAR(92) + 'c' + CHAR(36) + '(d)')");
  EXPECT_EQ(Literal(Side::Destination, "a\nb\\c$(d)"), "('a' || chr(10) || 'b' || chr(92) || 'c' || chr(36) || '(d)')");
  EXPECT_EQ(Literal(Side::Source, "\\"), "CHAR(92)");
  EXPECT_EQ(Literal(Side::Destination, "\\'"), "(chr(92) || '''')");
  EXPECT_EQ(Literal(Side::Source, "\u0085\u202E"), "(NCHAR(133) + NCHAR(8238))");
  EXPECT_EQ(Literal(Side::Destination, "\u0085\u202E"), "(chr(133) || chr(8238))");
}

TEST(SqlText, TextsThatAreNoUtf8AreBytes) {
  // In code page 932 the second byte of a character may be that of a backslash.
  EXPECT_EQ(Literal(Side::Source, "a\x95\\"), "CAST(0x61955C AS varchar(8000))");
  EXPECT_EQ(Literal(Side::Destination, "a\x95\\"), "convert_from(decode('61955C', 'hex'), pg_client_encoding())");
}

TEST(SqlText, NamesAreQuotedAsTheirServerDoes) {
  EXPECT_EQ(QuotedName(Side::Source, "a]b\""), "[a]]b\"]");
  EXPECT_EQ(QuotedName(Side::Destination, "a]b\""), "\"a]b\"\"\"");
}

TEST(SqlText, ControlCharactersInNamesOfTheDestinationAreNumbers) {
  EXPECT_EQ(QuotedName(Side::Destination, "a\nb\"!\u202E"), "U&\"a!000Ab\"\"!!!202E\" UESCAPE '!'");
}

}  // namespace
}  // namespace check
