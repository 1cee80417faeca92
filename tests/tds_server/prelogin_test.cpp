#include "lab/tds_server/prelogin.h"

#include <gtest/gtest.h>

#include "tds_server/hex.h"

namespace tds {
namespace {

TEST(PreLogin, ReadsRequestedEncryption) {
  const Bytes off = Hex("00 00 0B 00 06  01 00 11 00 01  FF  09 00 00 00 00 00  00");
  EXPECT_EQ(ParsePreLogin(off).encryption, 0);
  EXPECT_FALSE(ParsePreLogin(off).RequiresEncryption());
  const Bytes required = Hex("01 00 06 00 01  FF  03");
  EXPECT_TRUE(ParsePreLogin(required).RequiresEncryption());
}

TEST(PreLogin, EncryptionMayBeMissing) {
  EXPECT_FALSE(ParsePreLogin(Hex("FF")).encryption);
}

TEST(PreLogin, RefusesListWithoutEnd) {
  EXPECT_THROW(ParsePreLogin(Hex("")), ProtocolError);
  EXPECT_THROW(ParsePreLogin(Hex("01 00 06 00")), ProtocolError);
  EXPECT_THROW(ParsePreLogin(Hex("01 00 05 00 00")), ProtocolError);
}

TEST(PreLogin, RefusesOptionOutsideMessage) {
  EXPECT_THROW(ParsePreLogin(Hex("01 00 06 00 02  FF  03")), ProtocolError);
  EXPECT_THROW(ParsePreLogin(Hex("01 FF FF 00 01  FF  03")), ProtocolError);
}

TEST(PreLogin, AnswerNamesVersionAndRefusesEncryption) {
  EXPECT_EQ(PreLoginResponse(), Hex("00 00 1A 00 06"     // version
                                    "01 00 20 00 01"     // encryption
                                    "02 00 21 00 01"     // instance
                                    "03 00 22 00 00"     // thread
                                    "04 00 22 00 01"     // several results at a time
                                    "FF"                 //
                                    "0C 00 07 D0 00 00"  // 12.0.2000
                                    "02 00 00"));
}

}  // namespace
}  // namespace tds
