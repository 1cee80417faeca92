#ifndef BW_LAB_TDS_SERVER_CONNECTION_H
#define BW_LAB_TDS_SERVER_CONNECTION_H

#include <chrono>
#include <optional>
#include <stdexcept>

#include "lab/tds_server/packet.h"

namespace tds {

/// The client is gone: nothing more can be sent to it.
class ConnectionClosed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The socket of one client. While a response is under way it watches for the client's attention, so that a client that
/// stops reading in order to cancel is never waited for.
class Connection {
 public:
  /// Takes the socket over.
  explicit Connection(int socket);
  ~Connection();

  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Connection(Connection&&) = delete;
  Connection& operator=(Connection&&) = delete;

  /// Waits for the next request; none when the client has closed the connection.
  /// \throws ProtocolError when the client sends something else.
  std::optional<Message> Receive();

  /// \throws ConnectionClosed when the client is gone.
  void Send(ByteSpan bytes);

  /// Waits that long, or shorter when the client wants no more of the response.
  void Wait(std::chrono::milliseconds duration);

  /// Looks without waiting whether the client has sent an attention or is gone, and so wants no more of the response.
  bool ResponseUnwanted() noexcept;

  /// Whether ResponseUnwanted, Send or Wait have met an attention or the client's end.
  bool Interrupted() const { return attention_ || closed_; }

  /// Whether they have met an attention; forgets it.
  bool TakeAttention();

  /// Ends both directions at once, from any thread; blocked members return.
  void Shutdown() const;

 private:
  enum class Received { Something, Nothing, End };

  Received ReceiveAvailable();
  /// Takes in what has arrived in the middle of a response, where only an attention is allowed.
  void NoteInterruption();
  int socket_;
  MessageAssembler assembler_;
  bool attention_ = false;
  bool closed_ = false;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_CONNECTION_H
