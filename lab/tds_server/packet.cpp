#include "lab/tds_server/packet.h"

#include <algorithm>
#include <utility>

namespace tds {

namespace {

bool IsRequest(std::uint8_t type) {
  switch (static_cast<PacketType>(type)) {
    case PacketType::SqlBatch:
    case PacketType::Rpc:
    case PacketType::Attention:
    case PacketType::BulkLoad:
    case PacketType::TransactionManager:
    case PacketType::Login7:
    case PacketType::PreLogin:
      return true;
    case PacketType::Response:
      return false;
  }
  return false;
}

}  // namespace

PacketHeader ParsePacketHeader(std::span<const std::uint8_t, kPacketHeaderSize> bytes) {
  ByteReader reader(bytes);
  const std::uint8_t type = reader.U8();
  if (!IsRequest(type)) {
    throw ProtocolError("packet of type " + std::to_string(type) + " is no request");
  }
  PacketHeader header{.type = static_cast<PacketType>(type), .status = reader.U8(), .length = reader.U16BigEndian()};
  if (header.length < kPacketHeaderSize) {
    throw ProtocolError("packet is shorter than its header");
  }
  return header;
}

void MessageAssembler::Feed(ByteSpan bytes) {
  received_.insert(received_.end(), bytes.begin(), bytes.end());
}

std::optional<Message> MessageAssembler::Next() {
  std::size_t used = 0;
  std::optional<Message> complete;
  while (!complete && received_.size() - used >= kPacketHeaderSize) {
    const ByteSpan rest = ByteSpan(received_).subspan(used);
    const PacketHeader header = ParsePacketHeader(rest.first<kPacketHeaderSize>());
    if (rest.size() < header.length) {
      break;
    }
    used += header.length;
    const ByteSpan payload = rest.subspan(kPacketHeaderSize, header.length - kPacketHeaderSize);

    if (header.type == PacketType::Attention || !unfinished_) {
      unfinished_ = Message{.type = header.type, .payload = {}};
    } else if (unfinished_->type != header.type) {
      throw ProtocolError("packets of two kinds in one message");
    }
    if (unfinished_->payload.size() + payload.size() > kMaxMessageSize) {
      throw ProtocolError("message is too long");
    }
    unfinished_->payload.insert(unfinished_->payload.end(), payload.begin(), payload.end());

    if (header.IgnoreMessage()) {
      unfinished_.reset();
    } else if (header.EndOfMessage()) {
      complete = std::exchange(unfinished_, std::nullopt);
    }
  }
  received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(used));
  return complete;
}

PacketWriter::PacketWriter(Sink sink, std::uint16_t sessionId) : sink_(std::move(sink)), sessionId_(sessionId) {
  packet_.assign(kPacketHeaderSize, 0);
}

void PacketWriter::SetPacketSize(std::size_t size) {
  packetSize_ = size;
  packet_.reserve(size);
}

void PacketWriter::Append(ByteSpan bytes) {
  while (!bytes.empty()) {
    // A full packet waits for the next byte, because only then it is known not to be the last of its message.
    if (packet_.size() == packetSize_) {
      Send(false);
    }
    const ByteSpan part = bytes.first(std::min(bytes.size(), packetSize_ - packet_.size()));
    packet_.insert(packet_.end(), part.begin(), part.end());
    bytes = bytes.subspan(part.size());
  }
}

void PacketWriter::Flush() {
  if (packet_.size() > kPacketHeaderSize) {
    Send(false);
  }
}

void PacketWriter::EndMessage() {
  Send(true);
  nextPacketId_ = 1;
}

void PacketWriter::Send(bool endOfMessage) {
  packet_[0] = static_cast<std::uint8_t>(PacketType::Response);
  packet_[1] = endOfMessage ? 0x01 : 0x00;
  packet_[2] = static_cast<std::uint8_t>(packet_.size() >> 8U);
  packet_[3] = static_cast<std::uint8_t>(packet_.size());
  packet_[4] = static_cast<std::uint8_t>(sessionId_ >> 8U);
  packet_[5] = static_cast<std::uint8_t>(sessionId_);
  packet_[6] = nextPacketId_++;
  packet_[7] = 0;
  sink_(packet_);
  packet_.resize(kPacketHeaderSize);
}

}  // namespace tds
