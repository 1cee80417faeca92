#include "check/connections/encryption.h"

#include <gtest/gtest.h>

namespace check {
namespace {

const Encryption kUnknown;
const Encryption kOn{.on = true, .local = false, .version = "TLSv1.3"};
const Encryption kOff{.on = false, .local = false, .version = {}};
const Encryption kOffSomewhere{.on = false, .local = {}, .version = {}};
const Encryption kOffLocal{.on = false, .local = true, .version = {}};

TEST(EncryptionFact, SaysWhatIsKnown) {
  EXPECT_EQ(EncryptionFact(Side::Source, kUnknown), "Source: encryption unknown.");
  EXPECT_EQ(EncryptionFact(Side::Destination, kOn), "Destination: encryption on, TLSv1.3.");
  EXPECT_EQ(EncryptionFact(Side::Source, kOff), "Source: encryption off.");
  EXPECT_EQ(EncryptionFact(Side::Destination, kOffLocal), "Destination: encryption off, on the server's own computer.");
}

TEST(UnencryptedFinding, OfWhatIsKnownToBeInTheClearOnly) {
  EXPECT_FALSE(UnencryptedFinding(Side::Source, kUnknown));
  EXPECT_FALSE(UnencryptedFinding(Side::Source, kOn));
  EXPECT_FALSE(UnencryptedFinding(Side::Source, kOffLocal));
  EXPECT_TRUE(UnencryptedFinding(Side::Source, kOffSomewhere));
  const auto finding = UnencryptedFinding(Side::Destination, kOff);
  ASSERT_TRUE(finding);
  EXPECT_EQ(finding->kind, &finding::ConnectionUnencrypted);
  EXPECT_EQ(finding->text.substr(0, 52), "The connection to the destination is not encrypted: ");
}

}  // namespace
}  // namespace check
