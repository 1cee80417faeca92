#ifndef BW_LAB_TDS_SERVER_REQUEST_H
#define BW_LAB_TDS_SERVER_REQUEST_H

#include <string>

#include "lab/tds_server/bytes.h"
#include "lab/tds_server/protocol_version.h"

namespace tds {

/// The reader behind the headers that stand before a request from version 7.2 on: about the transaction, for example.
/// The server needs none of them, as it has one transaction per connection.
/// \throws ProtocolError when they do not fit the message.
ByteReader AfterHeaders(ByteSpan payload, ProtocolVersion version);

/// The text of an SQL batch.
/// \throws ProtocolError when the headers before the text do not fit the message.
std::string ParseBatch(ByteSpan payload, ProtocolVersion version);

/// A request to begin or end a transaction that is not made in SQL.
struct TransactionRequest {
  enum class Operation : std::uint8_t { Begin, Commit, Rollback, Unsupported };

  Operation operation;
  bool beginAnother;  ///< after the end of this transaction
};

/// \throws ProtocolError when the message ends too early.
TransactionRequest ParseTransactionRequest(ByteSpan payload);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_REQUEST_H
