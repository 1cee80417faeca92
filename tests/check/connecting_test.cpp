#include "check/setup/connecting.h"

#include <gtest/gtest.h>

namespace check::setup {
namespace {

// The records that the drivers were seen to leave.

TEST(MeaningOf, KnowsARefusedLoginOfFreeTds) {
  EXPECT_EQ(MeaningOf({{"S1000", 0}, {"37000", 18456}}),
            "The server refuses the login. Check the login and the password, and that the login is enabled.");
}

TEST(MeaningOf, KnowsAnUnreachableServerOfFreeTds) {
  EXPECT_EQ(MeaningOf({{"S1000", 0}, {"08S01", 20009}}),
            "The server cannot be reached. Check Server and Port in the data source, that the server runs, and the "
            "network between.");
}

TEST(MeaningOf, KnowsAnUnknownHostOfFreeTds) {
  EXPECT_EQ(MeaningOf({{"S1000", 0}, {"01000", 20013}}),
            "The name of the server is unknown. Check Server in the data source, and that you may write to its file.");
}

TEST(MeaningOf, LeavesTheReasonToThePostgresDriver) {
  EXPECT_EQ(MeaningOf({{"08001", 101}}),
            "There is no connection. The driver's message says why: the server, its port, the database, the "
            "encryption, the login or the password.");
}

TEST(MeaningOf, KnowsAConnectionThatBrokeOff) {
  EXPECT_EQ(MeaningOf({{"08S01", 20017}}),
            "The connection broke off. Check that the server can be reached, and the version of the protocol and the "
            "encryption in the data source.");
}

TEST(MeaningOf, SaysNothingOfWhatItDoesNotKnow) {
  EXPECT_EQ(MeaningOf({{"S1000", 0}}), "");
  EXPECT_EQ(MeaningOf({}), "");
}

TEST(DoubtsAboutPassword, AreNoneOfAnOrdinaryOne) {
  EXPECT_EQ(DoubtsAboutPassword("night-desk-1", "[unixODBC][FreeTDS][SQL Server]Login failed"), "");
  EXPECT_EQ(DoubtsAboutPassword("", "[unixODBC]"), "");
  EXPECT_EQ(DoubtsAboutPassword("a\rb", "[unixODBC]"), "");
}

TEST(DoubtsAboutPassword, AreOfACarriageReturnAtItsEnd) {
  EXPECT_EQ(DoubtsAboutPassword("night-desk-1\r", "[unixODBC]"),
            " The password ends with a carriage return, as a line of a file of Windows does: end the line with LF.");
}

TEST(DoubtsAboutPassword, AreOfCharactersBeyondAscii) {
  EXPECT_EQ(DoubtsAboutPassword("p\xC3\xA4ss", "[unixODBC][FreeTDS][SQL Server]Login failed"),
            " The password has characters beyond ASCII: FreeTDS takes each of its bytes for a character of ISO 8859-1, "
            "so one that is typed in UTF-8 is refused.");
  EXPECT_EQ(DoubtsAboutPassword("p\xE4ss", "[unixODBC]connection to server failed"),
            " The password has characters beyond ASCII: its bytes are sent as they are typed, so it is refused when it "
            "was set in another encoding.");
}

}  // namespace
}  // namespace check::setup
