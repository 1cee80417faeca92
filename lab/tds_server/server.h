#ifndef BW_LAB_TDS_SERVER_SERVER_H
#define BW_LAB_TDS_SERVER_SERVER_H

#include <atomic>
#include <cstdint>
#include <list>
#include <thread>

#include "lab/tds_server/connection.h"
#include "lab/tds_server/logins.h"
#include "lab/tds_server/options.h"

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
  void Serve(Client& client, std::uint16_t sessionId);
  void RemoveFinishedClients();

  Options options_;
  Logins logins_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::uint16_t nextSessionId_;
  std::list<Client> clients_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_SERVER_H
