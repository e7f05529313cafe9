// A browser's end of a connection to a server on this computer.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace support {

class http_client {
 public:
  explicit http_client(int port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
  ~http_client() { close(socket_); }
  http_client(http_client&& other) noexcept : socket_(std::exchange(other.socket_, -1)), connected_(other.connected_) {}
  http_client& operator=(http_client&&) = delete;

  bool connected() const { return connected_; }
  int socket_number() const { return socket_; }
  bool send(std::string_view bytes) const {
    return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
  }
  // Whether the server has closed the connection or sent something, within the time.
  bool heard(int milliseconds) const {
    pollfd entry{socket_, POLLIN, 0};
    return poll(&entry, 1, milliseconds) == 1;
  }
  // All that comes until the server closes; at most a minute.
  std::string receive() const {
    std::string all;
    char block[65536];
    while (heard(60000)) {
      const ssize_t count = recv(socket_, block, sizeof block, 0);
      if (count <= 0) break;
      all.append(block, static_cast<std::size_t>(count));
    }
    return all;
  }

 private:
  int socket_;
  bool connected_ = false;
};

inline std::string http_get(int port, std::string_view path) {
  const http_client client(port);
  client.send("GET " + std::string(path) + " HTTP/1.0\r\n\r\n");
  return client.receive();
}

// The bytes after the header.
inline std::string http_body(const std::string& answer) {
  const std::size_t end = answer.find("\r\n\r\n");
  return end == answer.npos ? std::string() : answer.substr(end + 4);
}

}  // namespace support
