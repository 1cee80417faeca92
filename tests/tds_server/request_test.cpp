#include "lab/tds_server/request.h"

#include <gtest/gtest.h>

#include "tds_server/hex.h"

namespace tds {
namespace {

constexpr auto kHeaders = "16 00 00 00  12 00 00 00 02 00  00 00 00 00 00 00 00 00  01 00 00 00";

TEST(Batch, Version71HasTextAlone) {
  EXPECT_EQ(ParseBatch(Hex("'SELECT 1'"), ProtocolVersion::V71), "SELECT 1");
}

TEST(Batch, LaterVersionsHaveHeadersBeforeText) {
  for (const auto version : {ProtocolVersion::V72, ProtocolVersion::V73, ProtocolVersion::V74}) {
    EXPECT_EQ(ParseBatch(Hex(kHeaders) + Hex("'SELECT 1'"), version), "SELECT 1");
  }
}

TEST(Batch, MayBeEmpty) {
  EXPECT_EQ(ParseBatch({}, ProtocolVersion::V71), "");
  EXPECT_EQ(ParseBatch(Hex("04 00 00 00"), ProtocolVersion::V72), "");
}

TEST(Batch, RefusesHeadersThatDoNotFit) {
  EXPECT_THROW(ParseBatch(Hex("03 00 00 00"), ProtocolVersion::V72), ProtocolError);
  EXPECT_THROW(ParseBatch(Hex("05 00 00 00"), ProtocolVersion::V72), ProtocolError);
  EXPECT_THROW(ParseBatch(Hex("FF FF FF FF 00 00"), ProtocolVersion::V72), ProtocolError);
  EXPECT_THROW(ParseBatch(Hex("04 00 00"), ProtocolVersion::V72), ProtocolError);
}

TEST(Batch, RefusesHalfACharacter) {
  EXPECT_THROW(ParseBatch(Hex("53 00 45"), ProtocolVersion::V71), ProtocolError);
}

TEST(TransactionRequest, TellsOperations) {
  using Operation = TransactionRequest::Operation;
  EXPECT_EQ(ParseTransactionRequest(Hex("04 00 00 00  05 00  00 00")).operation, Operation::Begin);
  EXPECT_EQ(ParseTransactionRequest(Hex("04 00 00 00  07 00  00 00")).operation, Operation::Commit);
  EXPECT_EQ(ParseTransactionRequest(Hex("04 00 00 00  08 00  00 00")).operation, Operation::Rollback);
  EXPECT_EQ(ParseTransactionRequest(Hex("04 00 00 00  00 00")).operation, Operation::Unsupported);
}

TEST(TransactionRequest, CommitMayBeginAnotherTransaction) {
  EXPECT_FALSE(ParseTransactionRequest(Hex("04 00 00 00  07 00  02 'n' 00")).beginAnother);
  EXPECT_TRUE(ParseTransactionRequest(Hex("04 00 00 00  07 00  02 'n' 01 00 00")).beginAnother);
  EXPECT_TRUE(ParseTransactionRequest(Hex("04 00 00 00  08 00  00 01 00 00")).beginAnother);
}

TEST(TransactionRequest, RefusesShortMessages) {
  EXPECT_THROW(ParseTransactionRequest(Hex("04 00 00 00  05")), ProtocolError);
  EXPECT_THROW(ParseTransactionRequest(Hex("04 00 00 00  07 00")), ProtocolError);
  EXPECT_THROW(ParseTransactionRequest(Hex("04 00 00 00  07 00  04 'n' 01")), ProtocolError);
}

}  // namespace
}  // namespace tds
