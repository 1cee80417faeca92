#include "lab/tds_server/connection.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <system_error>

#include "tds_server/hex.h"

namespace tds {
namespace {

const Bytes kAttention = Hex("06 01 00 08 00 00 01 00");
const Bytes kBatch = Hex("01 01 00 0A 00 00 01 00 'x'");

std::array<int, 2> SocketPair() {
  std::array<int, 2> sockets{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
    throw std::system_error(errno, std::generic_category());
  }
  return sockets;
}

class ConnectionTest : public testing::Test {
 protected:
  void TearDown() override { CloseClient(); }

  void ClientSends(const Bytes& bytes) const {
    ASSERT_EQ(write(client_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  void CloseClient() {
    if (client_ >= 0) {
      close(client_);
      client_ = -1;
    }
  }

  std::array<int, 2> sockets_ = SocketPair();
  int client_ = sockets_[1];
  Connection connection_{sockets_[0]};
};

TEST_F(ConnectionTest, ReceivesRequestsUntilTheClientCloses) {
  ClientSends(kBatch + kAttention);
  CloseClient();
  EXPECT_EQ(connection_.Receive()->type, PacketType::SqlBatch);
  EXPECT_EQ(connection_.Receive()->type, PacketType::Attention);
  EXPECT_FALSE(connection_.Receive());
}

TEST_F(ConnectionTest, ResponseIsWantedWhileNothingComes) {
  EXPECT_FALSE(connection_.ResponseUnwanted());
  EXPECT_FALSE(connection_.TakeAttention());
}

TEST_F(ConnectionTest, AttentionMakesResponseUnwantedUntilTaken) {
  ClientSends(kAttention);
  EXPECT_TRUE(connection_.ResponseUnwanted());
  EXPECT_TRUE(connection_.Interrupted());
  EXPECT_TRUE(connection_.TakeAttention());
  EXPECT_FALSE(connection_.Interrupted());
  EXPECT_FALSE(connection_.TakeAttention());
}

TEST_F(ConnectionTest, GoneClientMakesResponseUnwanted) {
  CloseClient();
  EXPECT_TRUE(connection_.ResponseUnwanted());
  EXPECT_FALSE(connection_.TakeAttention());
}

TEST_F(ConnectionTest, RequestInTheMiddleOfAResponseEndsTheConnection) {
  ClientSends(kBatch);
  EXPECT_TRUE(connection_.ResponseUnwanted());
  EXPECT_FALSE(connection_.TakeAttention());
}

TEST_F(ConnectionTest, SendFailsWhenTheClientIsGone) {
  CloseClient();
  EXPECT_THROW(connection_.Send(kBatch), ConnectionClosed);
}

TEST_F(ConnectionTest, SendThatWaitsFailsWhenTheClientSendsNonsense) {
  ClientSends(Hex("FF 01 00 08 00 00 01 00"));
  EXPECT_THROW(connection_.Send(Bytes(16U << 20U)), ConnectionClosed);
}

TEST_F(ConnectionTest, WaitEndsWithAttention) {
  ClientSends(kAttention);
  connection_.Wait(std::chrono::hours(1));
  EXPECT_TRUE(connection_.TakeAttention());
}

TEST_F(ConnectionTest, ShutdownEndsReceiving) {
  connection_.Shutdown();
  EXPECT_FALSE(connection_.Receive());
}

}  // namespace
}  // namespace tds
