#include "check/rules/simulation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

#include "check/rules/catalogue.h"
#include "check/rules/table_rules.h"

namespace check {
namespace {

TEST(NumberOfText, ReadsWholeNumbersOf32Bits) {
  EXPECT_EQ(NumberOfText("65"), 65);
  EXPECT_EQ(NumberOfText(" 67 "), 67);
  EXPECT_EQ(NumberOfText("+68"), 68);
  EXPECT_EQ(NumberOfText("-1"), -1);
  EXPECT_EQ(NumberOfText("0069"), 69);
  EXPECT_EQ(NumberOfText("2147483647"), 2147483647);
  EXPECT_EQ(NumberOfText("-2147483648"), INT32_MIN);
  EXPECT_EQ(NumberOfText("00000000000000000065"), 65);
  EXPECT_EQ(NumberOfText("12.5"), 12);
  EXPECT_EQ(NumberOfText("12."), 12);
  EXPECT_EQ(NumberOfText(".5"), 0);
  EXPECT_EQ(NumberOfText("- 5"), -5);
  EXPECT_EQ(NumberOfText("-0"), 0);
  EXPECT_EQ(NumberOfText(""), 0);
  EXPECT_EQ(NumberOfText("   "), 0);
}

TEST(NumberOfText, RefusesWhatIsNone) {
  for (const char* const text : {"A", "1A", "1 2", "+", "-", "+-1", "--1", "2147483648", "-2147483649",
                                 "99999999999999999999", "1e3", "65 .", "65,0", "0x41", "\t65", "65\t", "BROKER-7"}) {
    EXPECT_EQ(NumberOfText(text), std::nullopt) << text;
  }
}

TEST(TableRules, NameTablesAndColumnsThatAreThere) {
  for (const db::TableDescription& table : Catalogue()) {
    const TableRules& rules = RulesFor(table.name);
    const auto has = [&table](std::string_view column) {
      return std::any_of(table.columns.begin(), table.columns.end(),
                         [column](const auto& each) { return each.name == column; });
    };
    EXPECT_FALSE(rules.key.empty()) << table.name;
    EXPECT_TRUE(std::all_of(rules.key.begin(), rules.key.end(), has)) << table.name;
    EXPECT_TRUE(rules.assigned.empty() || has(rules.assigned)) << table.name;
    for (const ColumnRule& rule : rules.columns) {
      EXPECT_TRUE(has(rule.column)) << table.name << '.' << rule.column;
      if (!rule.refersTo.empty()) {
        EXPECT_FALSE(RulesFor(rule.refersTo).assigned.empty()) << rule.refersTo;
      }
    }
  }
}

}  // namespace
}  // namespace check
