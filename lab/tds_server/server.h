#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <thread>

#include "connection.h"
#include "logins.h"
#include "options.h"

namespace tds {

/// Listens on the loopback interface and serves each client in a thread of its own.
class Server {
 public:
  /// Starts to listen. \throws std::system_error when the port cannot be had.
  Server(Options options, Logins logins);
  /// Closes all connections and waits for their threads.
  ~Server();

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  Server(Server&&) = delete;
  Server& operator=(Server&&) = delete;

  std::uint16_t Port() const { return port_; }

  /// Serves clients until the file descriptor `stop` can be read from.
  void Run(int stop);

 private:
  struct Client {
    explicit Client(int socket) : connection(socket) {}

    Connection connection;
    std::atomic<bool> finished = false;
    std::thread thread;
  };

  void Accept();
  void Serve(Client& client, std::uint16_t session_id);
  void RemoveFinishedClients();

  Options options_;
  Logins logins_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::uint16_t next_session_id_;
  std::list<Client> clients_;
};

}  // namespace tds
