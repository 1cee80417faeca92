#include "lab/tds_server/column_type.h"

#include <gtest/gtest.h>

namespace tds {
namespace {

constexpr ColumnType VarChar(std::uint16_t size) {
  return {WireType::BigVarChar, size};
}
constexpr ColumnType Char(std::uint16_t size) {
  return {WireType::BigChar, size};
}

TEST(TypeFromDeclaration, KnowsTypesInAnyCase) {
  EXPECT_EQ(TypeFromDeclaration("int"), kInt);
  EXPECT_EQ(TypeFromDeclaration("INTEGER"), kInt);
  EXPECT_EQ(TypeFromDeclaration("BigInt"), kBigInt);
  EXPECT_EQ(TypeFromDeclaration("Float"), kFloat);
  EXPECT_EQ(TypeFromDeclaration("VARCHAR(20)"), VarChar(20));
  EXPECT_EQ(TypeFromDeclaration("char(3)"), Char(3));
  EXPECT_EQ(TypeFromDeclaration("nvarchar(3)"), (ColumnType{WireType::NVarChar, 6}));
  EXPECT_EQ(TypeFromDeclaration("varbinary(3)"), (ColumnType{WireType::BigVarBinary, 3}));
}

TEST(TypeFromDeclaration, AllowsBlanks) {
  EXPECT_EQ(TypeFromDeclaration(" varchar ( 20 ) "), VarChar(20));
}

TEST(TypeFromDeclaration, TextWithoutSizeHasOneCharacter) {
  EXPECT_EQ(TypeFromDeclaration("char"), Char(1));
  EXPECT_EQ(TypeFromDeclaration("varchar"), VarChar(1));
}

TEST(TypeFromDeclaration, KnowsLimitsOfSizes) {
  EXPECT_EQ(TypeFromDeclaration("varchar(8000)"), VarChar(8000));
  EXPECT_EQ(TypeFromDeclaration("varchar(8001)"), std::nullopt);
  EXPECT_EQ(TypeFromDeclaration("varchar(0)"), std::nullopt);
  EXPECT_EQ(TypeFromDeclaration("nvarchar(4000)"), kLongestNVarChar);
  EXPECT_EQ(TypeFromDeclaration("nvarchar(4001)"), std::nullopt);
  EXPECT_EQ(TypeFromDeclaration("varchar(99999999999)"), std::nullopt);
  EXPECT_EQ(TypeFromDeclaration("varchar(-1)"), std::nullopt);
  EXPECT_EQ(TypeFromDeclaration("varchar()"), std::nullopt);
}

TEST(TypeFromDeclaration, HasNoOtherTypes) {
  EXPECT_EQ(TypeFromDeclaration("datetime"), std::nullopt);
  EXPECT_EQ(TypeFromDeclaration(""), std::nullopt);
  EXPECT_EQ(TypeFromDeclaration(")varchar("), std::nullopt);
}

}  // namespace
}  // namespace tds
