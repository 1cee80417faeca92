#include "check/before/destination_types.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>

#include "check/rules/catalogue.h"

namespace {

using check::Cost;
using check::DestinationType;
using check::Finding;
using check::JudgeType;
using db::ValueKind;
using testing::HasSubstr;

constexpr std::size_t kLetters = 20;

/// As PostgreSQL packs them.
DestinationType Text(const std::string& name, int width) {
  return {.name = name, .category = 'S', .modifier = width + 4};
}
DestinationType Numeric(int precision, int scale) {
  return {.name = "numeric", .category = 'N', .modifier = (precision * 65536 + (scale & 0x7FF)) + 4};
}
DestinationType Plain(const std::string& name, char category) {
  return {.name = name, .category = category, .modifier = -1};
}

void ExpectNothing(ValueKind kind, const DestinationType& type) {
  const std::optional<Finding> finding = JudgeType(kind, kLetters, type);
  EXPECT_EQ(finding, std::nullopt) << type.name << ": " << finding->text;
}

void ExpectFinding(ValueKind kind, const DestinationType& type, const std::string& id, Cost cost,
                   const std::string& text) {
  const std::optional<Finding> finding = JudgeType(kind, kLetters, type);
  ASSERT_TRUE(finding) << type.name;
  EXPECT_EQ(finding->kind->id, id) << type.name;
  EXPECT_EQ(finding->cost, cost) << type.name;
  EXPECT_THAT(finding->text, HasSubstr(text));
}

TEST(DestinationTypesTest, NumbersOf32BitsFit) {
  ExpectNothing(ValueKind::Int32, Plain("int4", 'N'));
  ExpectNothing(ValueKind::Int32, Plain("int8", 'N'));
  ExpectNothing(ValueKind::Int32, Plain("float8", 'N'));
  ExpectNothing(ValueKind::Int32, Plain("numeric", 'N'));
  ExpectNothing(ValueKind::Int32, Numeric(10, 0));
  ExpectNothing(ValueKind::Int32, Numeric(12, 2));
}

TEST(DestinationTypesTest, NumbersOf32BitsDoNotFit) {
  ExpectFinding(ValueKind::Int32, Plain("int2", 'N'), "destination-type", Cost::RunEnds, "22003");
  ExpectFinding(ValueKind::Int32, Numeric(9, 0), "destination-type", Cost::RunEnds, "more than 9 digits");
  ExpectFinding(ValueKind::Int32, Numeric(10, 1), "destination-type", Cost::RunEnds, "more than 9 digits");
  ExpectFinding(ValueKind::Int32, Plain("float4", 'N'), "destination-type", Cost::ValueChanged, "16777216");
  ExpectFinding(ValueKind::Int32, Plain("text", 'S'), "destination-type", Cost::ValueChanged, "digits");
  ExpectFinding(ValueKind::Int32, Text("varchar", 11), "destination-type", Cost::ValueChanged, "digits");
  ExpectFinding(ValueKind::Int32, Text("varchar", 10), "destination-type", Cost::RunEnds, "more than 10 characters");
  ExpectFinding(ValueKind::Int32, Plain("bool", 'B'), "destination-type", Cost::RunEnds, "Its type is bool");
}

TEST(DestinationTypesTest, DoublesFit) {
  ExpectNothing(ValueKind::Double, Plain("float8", 'N'));
  ExpectNothing(ValueKind::Double, Plain("numeric", 'N'));
}

TEST(DestinationTypesTest, DoublesDoNotFit) {
  ExpectFinding(ValueKind::Double, Numeric(12, 2), "destination-type", Cost::RunEnds,
                "rounded to 2 decimals, and one of more than 10 digits");
  // A scale below 0 rounds to hundreds.
  ExpectFinding(ValueKind::Double, Numeric(10, -2), "destination-type", Cost::RunEnds,
                "rounded to -2 decimals, and one of more than 12 digits");
  ExpectFinding(ValueKind::Double, Plain("float4", 'N'), "destination-type", Cost::RunEnds, "1e50");
  ExpectFinding(ValueKind::Double, Plain("int8", 'N'), "destination-type", Cost::RunEnds, "22P02");
  ExpectFinding(ValueKind::Double, Text("varchar", 23), "destination-type", Cost::RunEnds, "more than 23 characters");
  ExpectFinding(ValueKind::Double, Text("varchar", 24), "destination-type", Cost::ValueChanged, "digits");
  ExpectFinding(ValueKind::Double, Plain("date", 'D'), "destination-type", Cost::RunEnds, "Its type is date");
}

TEST(DestinationTypesTest, TextsFit) {
  ExpectNothing(ValueKind::Text, Plain("text", 'S'));
  ExpectNothing(ValueKind::Text, Plain("varchar", 'S'));
  ExpectNothing(ValueKind::Text, Plain("citext", 'S'));
  ExpectNothing(ValueKind::Text, Plain("name", 'S'));
  ExpectNothing(ValueKind::Text, Text("varchar", kLetters));
}

TEST(DestinationTypesTest, TextsDoNotFit) {
  ExpectFinding(ValueKind::Text, Text("varchar", kLetters - 1), "destination-narrow", Cost::CannotForesee,
                "holds 19 letters, 20 may be sent");
  ExpectFinding(ValueKind::Text, Text("bpchar", kLetters - 1), "destination-narrow", Cost::CannotForesee, "22001");
  ExpectFinding(ValueKind::Text, Text("bpchar", kLetters), "destination-pads", Cost::ValueChanged, "char(20)");
  ExpectFinding(ValueKind::Text, Plain("char", 'Z'), "destination-type", Cost::TextCut, "one byte");
  ExpectFinding(ValueKind::Text, Plain("int4", 'N'), "destination-type", Cost::RunEnds, "Its type is int4");
  EXPECT_EQ(JudgeType(ValueKind::Text, 64, Plain("name", 'S'))->cost, Cost::TextCut);
}

std::size_t Sent(const std::string& table, const std::string& column) {
  for (const db::ColumnDescription& each : check::TableNamed(table).columns) {
    if (each.name == column) {
      return check::LettersSent(each, table);
    }
  }
  return 0;
}

TEST(DestinationTypesTest, LettersSentAreThoseOfTheField) {
  EXPECT_EQ(Sent("Clients", "Comment"), 50U);
  EXPECT_EQ(Sent("GroupDesc", "Mode"), 10U);
}

TEST(DestinationTypesTest, LettersSentAreThoseOfTheNumber) {
  EXPECT_EQ(Sent("Restrictions", "Mode"), 11U);
  EXPECT_EQ(Sent("ExportOrder", "BrokerPoolID"), 4U);
}

}  // namespace
