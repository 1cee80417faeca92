#include "lab/tds_server/server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <system_error>
#include <utility>

#include "lab/tds_server/session.h"

namespace tds {

namespace {

/// SQL Server keeps the numbers up to 50 for itself.
constexpr std::uint16_t kFirstSessionId = 51;

void Check(int result, const char* call) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), call);
  }
}

}  // namespace

Server::Server(Options options, Logins logins)
    : options_(std::move(options)), logins_(std::move(logins)), nextSessionId_(kFirstSessionId) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  Check(listener_, "socket");
  const int on = 1;
  Check(setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), "setsockopt");

  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(options_.port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  Check(bind(listener_, generic, size), "bind");
  Check(listen(listener_, SOMAXCONN), "listen");
  Check(getsockname(listener_, generic, &size), "getsockname");
  port_ = ntohs(address.sin_port);
}

Server::~Server() {
  close(listener_);
  for (Client& client : clients_) {
    client.connection.Shutdown();
  }
  for (Client& client : clients_) {
    client.thread.join();
  }
}

void Server::Run(int stop) {
  while (true) {
    std::array<pollfd, 2> waiting = {
        {{.fd = stop, .events = POLLIN, .revents = 0}, {.fd = listener_, .events = POLLIN, .revents = 0}}};
    if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "poll");
    }
    if (waiting[0].revents != 0) {
      return;
    }
    if (waiting[1].revents != 0) {
      RemoveFinishedClients();
      Accept();
    }
  }
}

void Server::Accept() {
  const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  if (socket < 0) {
    std::cerr << "accept: " << std::generic_category().message(errno) << '\n';
    return;
  }
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  Client& client = clients_.emplace_back(socket);
  client.thread = std::thread([this, &client, sessionId = nextSessionId_++] { Serve(client, sessionId); });
}

void Server::Serve(Client& client, std::uint16_t sessionId) {
  try {
    Session(options_, logins_, client.connection, sessionId).Run();
  } catch (const std::exception& error) {
    std::cerr << "session " << sessionId << ": " << error.what() << '\n';
  }
  client.connection.Shutdown();
  client.finished = true;
}

void Server::RemoveFinishedClients() {
  clients_.remove_if([](Client& client) {
    if (!client.finished) {
      return false;
    }
    client.thread.join();
    return true;
  });
}

}  // namespace tds
