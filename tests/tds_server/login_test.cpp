#include "lab/tds_server/login.h"

#include <gtest/gtest.h>

#include <sstream>

#include "lab/tds_server/logins.h"
#include "tds_server/hex.h"
#include "tds_server/login_bytes.h"

namespace tds {
namespace {

TEST(Login, ReadsWhatTheServerUses) {
  const Login login = ParseLogin(LoginOfVersion(Hex("04 00 00 74")));
  EXPECT_EQ(login.user, "sa");
  EXPECT_EQ(login.password, "pw");
  EXPECT_EQ(login.application, "a");
  EXPECT_EQ(login.database, "db");
  EXPECT_EQ(login.packetSize, 4096U);
  EXPECT_FALSE(login.integratedSecurity);
}

TEST(Login, TellsProtocolVersions) {
  EXPECT_EQ(ParseLogin(LoginOfVersion(Hex("01 00 00 71"))).version, ProtocolVersion::V71);
  EXPECT_EQ(ParseLogin(LoginOfVersion(Hex("02 00 09 72"))).version, ProtocolVersion::V72);
  EXPECT_EQ(ParseLogin(LoginOfVersion(Hex("03 00 0A 73"))).version, ProtocolVersion::V73);
  EXPECT_EQ(ParseLogin(LoginOfVersion(Hex("03 00 0B 73"))).version, ProtocolVersion::V73);
  EXPECT_EQ(ParseLogin(LoginOfVersion(Hex("04 00 00 74"))).version, ProtocolVersion::V74);
}

TEST(Login, AnswersNewerVersionsWithItsNewest) {
  EXPECT_EQ(ParseLogin(LoginOfVersion(Hex("00 00 00 80"))).version, ProtocolVersion::V74);
}

TEST(Login, RefusesOlderVersions) {
  EXPECT_THROW(ParseLogin(LoginOfVersion(Hex("00 00 00 70"))), ProtocolError);
}

TEST(Login, NoticesIntegratedSecurity) {
  Bytes bytes = LoginOfVersion(Hex("04 00 00 74"));
  bytes[25] = 0x83;
  EXPECT_TRUE(ParseLogin(bytes).integratedSecurity);
}

TEST(Login, RefusesTextOutsideMessage) {
  Bytes tooLong = LoginOfVersion(Hex("04 00 00 74"));
  tooLong[42] = 0xFF;
  EXPECT_THROW(ParseLogin(tooLong), ProtocolError);
  Bytes tooFar = LoginOfVersion(Hex("04 00 00 74"));
  tooFar[41] = 0xFF;
  EXPECT_THROW(ParseLogin(tooFar), ProtocolError);
}

TEST(Login, RefusesEveryShorterMessage) {
  const Bytes whole = LoginOfVersion(Hex("04 00 00 74"));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_THROW(ParseLogin(ByteSpan(whole).first(size)), ProtocolError) << size;
  }
}

TEST(NegotiatedPacketSize, KeepsRequestWithinLimits) {
  EXPECT_EQ(NegotiatedPacketSize(0), 4096U);
  EXPECT_EQ(NegotiatedPacketSize(100), 512U);
  EXPECT_EQ(NegotiatedPacketSize(512), 512U);
  EXPECT_EQ(NegotiatedPacketSize(8000), 8000U);
  EXPECT_EQ(NegotiatedPacketSize(0xFFFFFFFF), 32767U);
}

TEST(Logins, AcceptOnlyThePasswordOfTheUser) {
  std::istringstream lines("sa\tsecret\nreader\tp\tw \xC3\xA9\n");
  const Logins logins = Logins::Read(lines);
  EXPECT_TRUE(logins.Accepts("sa", "secret"));
  EXPECT_TRUE(logins.Accepts("reader", "p\tw \xC3\xA9"));
  EXPECT_FALSE(logins.Accepts("sa", "Secret"));
  EXPECT_FALSE(logins.Accepts("sa", ""));
  EXPECT_FALSE(logins.Accepts("reader", "secret"));
  EXPECT_FALSE(logins.Accepts("", ""));
}

TEST(Logins, RefuseLineWithoutTab) {
  std::istringstream lines("sa\tsecret\nreader\n");
  EXPECT_THROW(Logins::Read(lines), std::runtime_error);
}

}  // namespace
}  // namespace tds
