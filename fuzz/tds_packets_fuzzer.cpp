#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "fuzz/require.h"
#include "lab/tds_server/packet.h"

namespace {

/// What a client's bytes hold: its messages, and whether the connection ends at a breach of the protocol behind them.
struct Conversation {
  std::vector<tds::Message> messages;
  bool breached = false;

  void CheckSame(const Conversation& other) const {
    Require(messages.size() == other.messages.size(), "the same number of messages");
    for (std::size_t i = 0; i < messages.size(); ++i) {
      Require(messages[i].type == other.messages[i].type, "messages of the same type");
      Require(messages[i].payload == other.messages[i].payload, "messages with the same payload");
    }
    Require(breached == other.breached, "the same end");
  }
};

/// Takes the bytes apart packet by packet. The inputs are too short for a message that is too long.
Conversation TellAgain(tds::ByteSpan bytes) {
  Conversation conversation;
  std::optional<tds::Message> open;
  for (std::size_t at = 0; at + 8 <= bytes.size();) {
    const std::uint8_t type = bytes[at];
    const bool ends = bytes[at + 1] % 2 == 1;
    const bool ignored = bytes[at + 1] / 2 % 2 == 1;
    const std::size_t length = 256U * bytes[at + 2] + bytes[at + 3];
    const bool knownType = type == 1 || type == 3 || type == 6 || type == 7 || type == 14 || type == 16 || type == 18;
    if (!knownType || length < 8) {
      conversation.breached = true;
      return conversation;
    }
    if (at + length > bytes.size()) {
      return conversation;
    }
    if (!open || type == 6) {
      open = tds::Message{.type = tds::PacketType{type}, .payload = {}};
    }
    if (open->type != tds::PacketType{type}) {
      conversation.breached = true;
      return conversation;
    }
    for (std::size_t i = 8; i < length; ++i) {
      open->payload.push_back(bytes[at + i]);
    }
    if (ignored) {
      open.reset();
    } else if (ends) {
      conversation.messages.push_back(*open);
      open.reset();
    }
    at += length;
  }
  return conversation;
}

/// Feeds the bytes to the assembler in pieces of up to that size.
Conversation Assemble(tds::ByteSpan bytes, std::size_t pieceSize) {
  Conversation conversation;
  tds::MessageAssembler assembler;
  try {
    while (!bytes.empty()) {
      const tds::ByteSpan piece = bytes.first(std::min(pieceSize, bytes.size()));
      bytes = bytes.subspan(piece.size());
      assembler.Feed(piece);
      while (std::optional<tds::Message> message = assembler.Next()) {
        conversation.messages.push_back(std::move(*message));
      }
    }
  } catch (const tds::ProtocolError&) {
    conversation.breached = true;
  }
  return conversation;
}

}  // namespace

/// The input is what a client sends from the beginning of a connection.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tds::ByteSpan bytes(data, size);
  const Conversation expected = TellAgain(bytes);
  expected.CheckSame(Assemble(bytes, std::max<std::size_t>(size, 1)));
  expected.CheckSame(Assemble(bytes, 13));
  expected.CheckSame(Assemble(bytes, 1));
  return 0;
}
