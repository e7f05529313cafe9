// TCP for a server: sockets that never wait, and one wait for many of them.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace platform {

// Owns one socket. Nothing here throws or raises a signal.
class tcp_socket {
 public:
  tcp_socket() = default;
  explicit tcp_socket(int number) : number_(number) {}
  ~tcp_socket();
  tcp_socket(tcp_socket&& other) noexcept;
  tcp_socket& operator=(tcp_socket&& other) noexcept;
  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }

  enum class result { moved, not_now, ended };
  // Moves at least one byte and says how many, or tells why it did not.
  result receive(char* buffer, std::size_t size, std::size_t& moved);
  result send(const char* buffer, std::size_t size, std::size_t& moved);
  // The peer sees the end of what was sent; it can still be heard.
  void end_sending();

 private:
  int number_ = -1;
};

// Listens at an address: IPv4 or IPv6 in numbers, "localhost", or empty for all interfaces. Port 0 takes any free one.
// Without success an empty socket, with the reason in `error`, and its errno.
tcp_socket listen_tcp(const std::string& host, int port, std::string& error, int& error_number);
int port_of(const tcp_socket& listener);
// The next connection that waits. Empty when there is none, or with `crowded` when the process has no descriptor left.
tcp_socket accept_tcp(const tcp_socket& listener, bool& crowded);

// The name by which other computers find this one.
std::string host_name();

// Waits until a socket is ready or another thread calls wake().
class tcp_wait {
 public:
  tcp_wait();
  ~tcp_wait();
  tcp_wait(const tcp_wait&) = delete;
  tcp_wait& operator=(const tcp_wait&) = delete;

  void clear();
  // Returns the socket's number for ready(). Neither to read nor to write: ready when the peer is gone.
  std::size_t add(const tcp_socket& socket, bool to_read, bool to_write);
  // Milliseconds, below 0 without an end.
  void wait(int milliseconds);
  bool ready(std::size_t index) const;
  // Ends a running or coming wait(). Any thread.
  void wake();

 private:
  struct watched;
  std::unique_ptr<watched> watched_;
};

}  // namespace platform
