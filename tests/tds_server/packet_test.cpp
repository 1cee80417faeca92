#include "lab/tds_server/packet.h"

#include <gmock/gmock.h>

#include "tds_server/hex.h"

namespace tds {
namespace {

using testing::ElementsAre;

TEST(PacketHeader, ReadsTypeStatusAndLength) {
  const Bytes bytes = Hex("01 01 12 34 00 00 01 00");
  const PacketHeader header = ParsePacketHeader(ByteSpan(bytes).first<8>());
  EXPECT_EQ(header.type, PacketType::SqlBatch);
  EXPECT_EQ(header.length, 0x1234);
  EXPECT_TRUE(header.EndOfMessage());
  EXPECT_FALSE(header.IgnoreMessage());
}

TEST(PacketHeader, RefusesTypeThatNoClientSends) {
  const Bytes response = Hex("04 01 00 08 00 00 01 00");
  EXPECT_THROW(ParsePacketHeader(ByteSpan(response).first<8>()), ProtocolError);
  const Bytes unknown = Hex("55 01 00 08 00 00 01 00");
  EXPECT_THROW(ParsePacketHeader(ByteSpan(unknown).first<8>()), ProtocolError);
}

TEST(PacketHeader, RefusesLengthBelowHeaderSize) {
  const Bytes bytes = Hex("01 01 00 07 00 00 01 00");
  EXPECT_THROW(ParsePacketHeader(ByteSpan(bytes).first<8>()), ProtocolError);
}

TEST(MessageAssembler, JoinsPacketsOfOneMessage) {
  MessageAssembler assembler;
  assembler.Feed(Hex("01 00 00 0A 00 00 01 00 AA BB"));
  EXPECT_FALSE(assembler.Next());
  assembler.Feed(Hex("01 01 00 09 00 00 02 00 CC"));
  const auto message = assembler.Next();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->type, PacketType::SqlBatch);
  EXPECT_THAT(message->payload, ElementsAre(0xAA, 0xBB, 0xCC));
  EXPECT_FALSE(assembler.Next());
}

TEST(MessageAssembler, TakesBytesOneByOne) {
  MessageAssembler assembler;
  const Bytes bytes = Hex("03 01 00 09 00 00 01 00 7F");
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_FALSE(assembler.Next());
    assembler.Feed(ByteSpan(bytes).subspan(i, 1));
  }
  const auto message = assembler.Next();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->type, PacketType::Rpc);
  EXPECT_THAT(message->payload, ElementsAre(0x7F));
}

TEST(MessageAssembler, GivesMessagesThatArriveTogetherOneAfterTheOther) {
  MessageAssembler assembler;
  assembler.Feed(Hex("01 01 00 09 00 00 01 00 01  06 01 00 08 00 00 01 00"));
  EXPECT_EQ(assembler.Next()->type, PacketType::SqlBatch);
  EXPECT_EQ(assembler.Next()->type, PacketType::Attention);
  EXPECT_FALSE(assembler.Next());
}

TEST(MessageAssembler, AttentionReplacesUnfinishedMessage) {
  MessageAssembler assembler;
  assembler.Feed(Hex("01 00 00 09 00 00 01 00 01  06 01 00 08 00 00 01 00"));
  EXPECT_EQ(assembler.Next()->type, PacketType::Attention);
  assembler.Feed(Hex("01 01 00 09 00 00 01 00 02"));
  EXPECT_THAT(assembler.Next()->payload, ElementsAre(0x02));
}

TEST(MessageAssembler, DropsMessageThatItsClientGaveUp) {
  MessageAssembler assembler;
  assembler.Feed(Hex("01 00 00 09 00 00 01 00 01  01 03 00 09 00 00 02 00 02"));
  EXPECT_FALSE(assembler.Next());
  assembler.Feed(Hex("01 01 00 09 00 00 01 00 03"));
  EXPECT_THAT(assembler.Next()->payload, ElementsAre(0x03));
}

TEST(MessageAssembler, RefusesPacketsOfTwoKindsInOneMessage) {
  MessageAssembler assembler;
  assembler.Feed(Hex("01 00 00 09 00 00 01 00 01  03 01 00 09 00 00 02 00 02"));
  EXPECT_THROW(assembler.Next(), ProtocolError);
}

TEST(MessageAssembler, RefusesMessageWithoutEnd) {
  MessageAssembler assembler;
  Bytes packet = Hex("01 00 80 08 00 00 01 00");
  packet.resize(0x8008);
  const std::size_t allowedPackets = kMaxMessageSize / 0x8000;
  for (std::size_t i = 0; i < allowedPackets; ++i) {
    assembler.Feed(packet);
    ASSERT_FALSE(assembler.Next());
  }
  assembler.Feed(packet);
  EXPECT_THROW(assembler.Next(), ProtocolError);
}

class PacketWriterTest : public testing::Test {
 protected:
  std::vector<Bytes> sent_;
  PacketWriter writer_{[this](ByteSpan packet) { sent_.emplace_back(packet.begin(), packet.end()); }, 0x0133};
};

TEST_F(PacketWriterTest, MarksLastPacketAsEndOfMessage) {
  writer_.Append(Hex("FD 00"));
  writer_.EndMessage();
  EXPECT_THAT(sent_, ElementsAre(Hex("04 01 00 0A 01 33 01 00 FD 00")));
}

TEST_F(PacketWriterTest, CutsLongMessageAtPacketSize) {
  writer_.SetPacketSize(512);
  writer_.Append(Bytes(600, 0xEE));
  writer_.EndMessage();
  EXPECT_THAT(sent_, ElementsAre(Hex("04 00 02 00 01 33 01 00") + Bytes(504, 0xEE),
                                 Hex("04 01 00 68 01 33 02 00") + Bytes(96, 0xEE)));
}

TEST_F(PacketWriterTest, SendsMessageThatFillsOnePacketInOnePacket) {
  writer_.SetPacketSize(512);
  writer_.Append(Bytes(504, 0xEE));
  EXPECT_THAT(sent_, testing::IsEmpty());
  writer_.EndMessage();
  EXPECT_THAT(sent_, ElementsAre(Hex("04 01 02 00 01 33 01 00") + Bytes(504, 0xEE)));
}

TEST_F(PacketWriterTest, FlushSendsPacketThatIsNotTheLast) {
  writer_.Append(Hex("D1"));
  writer_.Flush();
  writer_.Flush();
  writer_.EndMessage();
  EXPECT_THAT(sent_, ElementsAre(Hex("04 00 00 09 01 33 01 00 D1"), Hex("04 01 00 08 01 33 02 00")));
}

TEST_F(PacketWriterTest, NumbersPacketsOfEachMessageFromOne) {
  writer_.EndMessage();
  writer_.EndMessage();
  EXPECT_THAT(sent_, ElementsAre(Hex("04 01 00 08 01 33 01 00"), Hex("04 01 00 08 01 33 01 00")));
}

}  // namespace
}  // namespace tds
