#ifndef BW_LAB_TDS_SERVER_PACKET_H
#define BW_LAB_TDS_SERVER_PACKET_H

#include <functional>
#include <optional>

#include "lab/tds_server/bytes.h"

namespace tds {

enum class PacketType : std::uint8_t {
  SqlBatch = 1,
  Rpc = 3,
  Response = 4,
  Attention = 6,
  BulkLoad = 7,
  TransactionManager = 14,
  Login7 = 16,
  PreLogin = 18,
};

inline constexpr std::size_t kPacketHeaderSize = 8;
inline constexpr std::size_t kMinPacketSize = 512;
inline constexpr std::size_t kDefaultPacketSize = 4096;
inline constexpr std::size_t kMaxPacketSize = 32767;

/// A longer message is refused, so that a client cannot make the server hold any amount of memory.
inline constexpr std::size_t kMaxMessageSize = std::size_t{16} * 1024 * 1024;

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

  /// `sessionId` goes into every header, for a client that logs it.
  PacketWriter(Sink sink, std::uint16_t sessionId);

  /// Holds from the next packet on; to be called between two messages.
  void SetPacketSize(std::size_t size);

  void Append(ByteSpan bytes);

  /// Sends what has been collected although the message goes on.
  void Flush();

  /// Sends the rest as the last packet of the message.
  void EndMessage();

 private:
  void Send(bool endOfMessage);

  Sink sink_;
  std::uint16_t sessionId_;
  std::uint8_t nextPacketId_ = 1;
  std::size_t packetSize_ = kDefaultPacketSize;
  Bytes packet_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_PACKET_H
