#include "lab/tds_server/tokens.h"

#include <gtest/gtest.h>

#include "tds_server/hex.h"

namespace tds {
namespace {

constexpr ColumnType kVarChar20 = {WireType::BigVarChar, 20};
constexpr ColumnType kChar5 = {WireType::BigChar, 5};

/// The tokens that `write` writes, without the packets around them.
template <typename Write>
Bytes Written(ProtocolVersion version, Write write) {
  Bytes tokens;
  const auto collect = [&tokens](ByteSpan packet) {
    tokens.insert(tokens.end(), packet.begin() + kPacketHeaderSize, packet.end());
  };
  PacketWriter packets(collect, 51);
  TokenWriter writer(packets, version, FindCodePage(1252));
  write(writer);
  packets.EndMessage();
  return tokens;
}

class TokensOfEveryVersion : public testing::TestWithParam<ProtocolVersion> {};
class TokensFromVersion72 : public testing::TestWithParam<ProtocolVersion> {};

INSTANTIATE_TEST_SUITE_P(Version, TokensOfEveryVersion,
                         testing::Values(ProtocolVersion::V71, ProtocolVersion::V72, ProtocolVersion::V73,
                                         ProtocolVersion::V74));
INSTANTIATE_TEST_SUITE_P(Version, TokensFromVersion72,
                         testing::Values(ProtocolVersion::V72, ProtocolVersion::V73, ProtocolVersion::V74));

constexpr auto kAcknowledgementOfX = "AD 0C 00 01";
constexpr auto kProductX = "01 'X' 0C 00 07 D0";

TEST(LoginAck, NamesProtocolVersionAndProduct) {
  const auto write = [](TokenWriter& tokens) { tokens.LoginAck("X"); };
  EXPECT_EQ(Written(ProtocolVersion::V71, write), Hex(kAcknowledgementOfX) + Hex("71 00 00 01") + Hex(kProductX));
  EXPECT_EQ(Written(ProtocolVersion::V72, write), Hex(kAcknowledgementOfX) + Hex("72 09 00 02") + Hex(kProductX));
  EXPECT_EQ(Written(ProtocolVersion::V73, write), Hex(kAcknowledgementOfX) + Hex("73 0B 00 03") + Hex(kProductX));
  EXPECT_EQ(Written(ProtocolVersion::V74, write), Hex(kAcknowledgementOfX) + Hex("74 00 00 04") + Hex(kProductX));
}

TEST_P(TokensOfEveryVersion, EnvironmentChangesSayNewAndOldValue) {
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.DatabaseChanged("db", "m"); }),
            Hex("E3 09 00 01 02 'db' 01 'm'"));
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.LanguageChanged("e"); }),
            Hex("E3 05 00 02 01 'e' 00"));
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.PacketSizeChanged(512, 4096); }),
            Hex("E3 11 00 04 03 '512' 04 '4096'"));
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.CollationChanged(); }),
            Hex("E3 08 00 07 05 09 04 D0 00 34 00"));
}

TEST_P(TokensFromVersion72, TransactionChangesCarryTheTransaction) {
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.TransactionBegun(0x0102); }),
            Hex("E3 0B 00 08 08 02 01 00 00 00 00 00 00 00"));
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.TransactionCommitted(0x0102); }),
            Hex("E3 0B 00 09 00 08 02 01 00 00 00 00 00 00"));
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.TransactionRolledBack(0x0102); }),
            Hex("E3 0B 00 0A 00 08 02 01 00 00 00 00 00 00"));
}

TEST(TransactionChanges, AreUnknownInVersion71) {
  EXPECT_EQ(Written(ProtocolVersion::V71,
                    [](TokenWriter& tokens) {
                      tokens.TransactionBegun(1);
                      tokens.TransactionCommitted(1);
                      tokens.TransactionRolledBack(1);
                    }),
            Bytes{});
}

TEST(Messages, HaveShortLineNumberInVersion71) {
  EXPECT_EQ(Written(ProtocolVersion::V71, [](TokenWriter& tokens) { tokens.Error(SqlError(208, 16, 1, "No")); }),
            Hex("AA 16 00  D0 00 00 00  01 10  02 00 'No'  03 'LAB'  00  01 00"));
}

TEST_P(TokensFromVersion72, MessagesHaveLongLineNumber) {
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.Error(SqlError(18456, 14, 1, "No")); }),
            Hex("AA 18 00  18 48 00 00  01 0E  02 00 'No'  03 'LAB'  00  01 00 00 00"));
  EXPECT_EQ(Written(GetParam(), [](TokenWriter& tokens) { tokens.Info(5701, 2, "No"); }),
            Hex("AB 18 00  45 16 00 00  02 00  02 00 'No'  03 'LAB'  00  01 00 00 00"));
}

TEST(Messages, AreCutToWhatATokenCanHold) {
  const Bytes written = Written(ProtocolVersion::V74, [](TokenWriter& tokens) {
    tokens.Error(SqlError(50000, 16, 1, std::string(100000, 'x')));
  });
  EXPECT_LT(written.size(), 65536U);
  EXPECT_EQ(Bytes(written.begin() + 9, written.begin() + 13), Hex("00 08 'x'"));
}

void WriteFourColumns(TokenWriter& tokens) {
  tokens.ColumnMetadata(std::vector<Column>{
      {"i", kInt}, {"f", kFloat}, {"v", kVarChar20, &FindCodePage(1252)}, {"c", kChar5, &FindCodePage(1251)}});
}

TEST(ColumnMetadata, HasShortUserTypeInVersion71) {
  EXPECT_EQ(Written(ProtocolVersion::V71, WriteFourColumns), Hex("81 04 00"
                                                                 "00 00  09 00  26 04  01 'i'"
                                                                 "00 00  09 00  6D 08  01 'f'"
                                                                 "00 00  09 00  A7 14 00 09 04 D0 00 34  01 'v'"
                                                                 "00 00  09 00  AF 05 00 19 04 D0 00 00  01 'c'"));
}

TEST_P(TokensFromVersion72, ColumnMetadataHasLongUserType) {
  EXPECT_EQ(Written(GetParam(), WriteFourColumns), Hex("81 04 00"
                                                       "00 00 00 00  09 00  26 04  01 'i'"
                                                       "00 00 00 00  09 00  6D 08  01 'f'"
                                                       "00 00 00 00  09 00  A7 14 00 09 04 D0 00 34  01 'v'"
                                                       "00 00 00 00  09 00  AF 05 00 19 04 D0 00 00  01 'c'"));
}

TEST_P(TokensOfEveryVersion, RowHasValuesInOrder) {
  EXPECT_EQ(Written(GetParam(),
                    [](TokenWriter& tokens) {
                      tokens.BeginRow();
                      tokens.Integer(kInt, -2);
                      tokens.Integer(kBigInt, 4294967296);
                      tokens.Float(-2.5);
                      tokens.Text(kVarChar20, "a\xFC");
                      tokens.Text(kChar5, "ab");
                      tokens.EndRow();
                    }),
            Hex("D1  04 FE FF FF FF  08 00 00 00 00 01 00 00 00  08 00 00 00 00 00 00 04 C0  02 00 61 FC"
                "05 00 61 62 20 20 20"));
}

TEST_P(TokensOfEveryVersion, RowTellsNullFromEmptyText) {
  EXPECT_EQ(Written(GetParam(),
                    [](TokenWriter& tokens) {
                      tokens.BeginRow();
                      tokens.Null(kInt);
                      tokens.Null(kFloat);
                      tokens.Null(kVarChar20);
                      tokens.Null(kChar5);
                      tokens.Text(kVarChar20, "");
                      tokens.EndRow();
                    }),
            Hex("D1  00  00  FF FF  FF FF  00 00"));
}

TEST_P(TokensOfEveryVersion, RowThatIsNotEndedIsNotSent) {
  EXPECT_EQ(Written(GetParam(),
                    [](TokenWriter& tokens) {
                      tokens.BeginRow();
                      tokens.Integer(kInt, 1);
                      tokens.Error(SqlError(245, 16, 1, "No"));
                    })[0],
            0xAA);
}

TEST(End, HasShortRowCountInVersion71) {
  EXPECT_EQ(Written(ProtocolVersion::V71,
                    [](TokenWriter& tokens) {
                      tokens.End(DoneKind::Statement, {.status = Done::kCount, .command = 0xC1, .rowCount = 3});
                    }),
            Hex("FD 10 00 C1 00 03 00 00 00"));
}

TEST_P(TokensFromVersion72, EndHasLongRowCount) {
  EXPECT_EQ(Written(GetParam(),
                    [](TokenWriter& tokens) {
                      tokens.End(DoneKind::Statement,
                                 {.status = Done::kCount | Done::kMore, .command = 0xC1, .rowCount = 4294967299});
                    }),
            Hex("FD 11 00 C1 00 03 00 00 00 01 00 00 00"));
}

TEST(End, SaysWhatEnds) {
  EXPECT_EQ(Written(ProtocolVersion::V71,
                    [](TokenWriter& tokens) {
                      tokens.End(DoneKind::Statement, {.status = Done::kAttention});
                      tokens.End(DoneKind::StatementInProcedure, {.status = Done::kMore});
                      tokens.End(DoneKind::Procedure, {.status = Done::kError});
                    }),
            Hex("FD 20 00 00 00 00 00 00 00  FF 01 00 00 00 00 00 00 00  FE 02 00 00 00 00 00 00 00"));
}

TEST(FirstOutputParameter, IsAnInt) {
  const auto write = [](TokenWriter& tokens) {
    tokens.ReturnStatus(1);
    tokens.FirstOutputParameter(7);
  };
  EXPECT_EQ(Written(ProtocolVersion::V71, write),
            Hex("79 01 00 00 00  AC 00 00 00 01 00 00 01 00 26 04 04 07 00 00 00"));
  EXPECT_EQ(Written(ProtocolVersion::V72, write),
            Hex("79 01 00 00 00  AC 00 00 00 01 00 00 00 00 01 00 26 04 04 07 00 00 00"));
}

}  // namespace
}  // namespace tds
