#include "lab/tds_server/connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <system_error>
#include <utility>

namespace tds {

namespace {

/// Waits for one of the events; no timeout means for ever.
void Poll(int socket, short events, std::optional<std::chrono::milliseconds> timeout = std::nullopt) {
  pollfd waiting{.fd = socket, .events = events, .revents = 0};
  if (poll(&waiting, 1, timeout ? static_cast<int>(timeout->count()) : -1) < 0 && errno != EINTR) {
    throw std::system_error(errno, std::generic_category(), "poll");
  }
}

/// The system call takes an int.
constexpr std::chrono::milliseconds kLongestPoll = std::chrono::hours(1);

bool WouldBlock(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

Connection::Connection(int socket) : socket_(socket) {}

Connection::~Connection() {
  close(socket_);
}

std::optional<Message> Connection::Receive() {
  while (!closed_) {
    if (std::optional<Message> message = assembler_.Next()) {
      return message;
    }
    switch (ReceiveAvailable()) {
      case Received::Something:
        break;
      case Received::Nothing:
        Poll(socket_, POLLIN);
        break;
      case Received::End:
        break;
    }
  }
  return std::nullopt;
}

void Connection::Send(ByteSpan bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(sent));
      continue;
    }
    if (!WouldBlock(errno)) {
      throw ConnectionClosed(std::generic_category().message(errno));
    }
    Poll(socket_, static_cast<short>(Interrupted() ? POLLOUT : POLLOUT | POLLIN));
    ResponseUnwanted();
    if (closed_) {
      throw ConnectionClosed("the client has closed the connection");
    }
  }
}

void Connection::Wait(std::chrono::milliseconds duration) {
  const auto end = std::chrono::steady_clock::now() + duration;
  while (!ResponseUnwanted()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      return;
    }
    Poll(socket_, POLLIN, std::min(left, kLongestPoll));
  }
}

bool Connection::ResponseUnwanted() noexcept {
  try {
    NoteInterruption();
  } catch (const std::exception& error) {
    std::cerr << "connection given up: " << error.what() << '\n';
    closed_ = true;
  }
  return Interrupted();
}

bool Connection::TakeAttention() {
  return std::exchange(attention_, false);
}

void Connection::Shutdown() const {
  shutdown(socket_, SHUT_RDWR);
}

Connection::Received Connection::ReceiveAvailable() {
  std::array<std::uint8_t, kDefaultPacketSize> buffer;
  const ssize_t received = recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (received < 0 && WouldBlock(errno)) {
    return Received::Nothing;
  }
  if (received <= 0) {
    closed_ = true;
    return Received::End;
  }
  assembler_.Feed(ByteSpan(buffer).first(static_cast<std::size_t>(received)));
  return Received::Something;
}

void Connection::NoteInterruption() {
  while (!Interrupted()) {
    // What came together with the request may be complete already, so the assembler is asked before the socket.
    if (const std::optional<Message> message = assembler_.Next()) {
      if (message->type != PacketType::Attention) {
        throw ProtocolError("request in the middle of a response");
      }
      attention_ = true;
    } else if (ReceiveAvailable() != Received::Something) {
      return;
    }
  }
}

}  // namespace tds
