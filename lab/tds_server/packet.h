#pragma once

#include <functional>
#include <optional>

#include "bytes.h"

namespace tds {

enum class PacketType : std::uint8_t {
  kSqlBatch = 1,
  kRpc = 3,
  kResponse = 4,
  kAttention = 6,
  kBulkLoad = 7,
  kTransactionManager = 14,
  kLogin7 = 16,
  kPreLogin = 18,
};

inline constexpr std::size_t kPacketHeaderSize = 8;
inline constexpr std::size_t kMinPacketSize = 512;
inline constexpr std::size_t kDefaultPacketSize = 4096;
inline constexpr std::size_t kMaxPacketSize = 32767;

/// A longer message is refused, so that a client cannot make the server hold any amount of memory.
inline constexpr std::size_t kMaxMessageSize = 16U * 1024U * 1024U;

/// The eight bytes in front of every packet.
struct PacketHeader {
  PacketType type;
  std::uint8_t status;
  std::uint16_t length;  ///< of the whole packet, this header included

  bool EndOfMessage() const { return (status & 0x01U) != 0; }
  /// The client gave up the message while it was sending it.
  bool IgnoreMessage() const { return (status & 0x02U) != 0; }
};

/// \throws ProtocolError for a type that no client sends and a length that no packet has.
PacketHeader ParsePacketHeader(std::span<const std::uint8_t, kPacketHeaderSize> bytes);

/// One request: the payload of all its packets.
struct Message {
  PacketType type;
  Bytes payload;
};

/// Puts requests together from bytes as they arrive, in pieces of any size.
class MessageAssembler {
 public:
  /// Takes bytes in. \throws ProtocolError when they are no packets or the message becomes too long.
  void Feed(ByteSpan bytes);

  /// The next complete message, if one has arrived. An attention in the middle of another message replaces that
  /// message. \throws ProtocolError like Feed.
  std::optional<Message> Next();

 private:
  Bytes received_;
  std::optional<Message> unfinished_;
};

/// Cuts the tokens of a response into packets and hands each packet to a sink as soon as it is full.
class PacketWriter {
 public:
  using Sink = std::function<void(ByteSpan packet)>;

  /// `session_id` goes into every header, for a client that logs it.
  PacketWriter(Sink sink, std::uint16_t session_id);

  /// Holds from the next packet on; to be called between two messages.
  void SetPacketSize(std::size_t size);

  void Append(ByteSpan bytes);

  /// Sends what has been collected although the message goes on.
  void Flush();

  /// Sends the rest as the last packet of the message.
  void EndMessage();

 private:
  void Send(bool end_of_message);

  Sink sink_;
  std::uint16_t session_id_;
  std::uint8_t next_packet_id_ = 1;
  std::size_t packet_size_ = kDefaultPacketSize;
  Bytes packet_;
};

}  // namespace tds
