#include "platform/tcp.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <utility>

namespace platform {
namespace {

constexpr int backlog = 64;

tcp_socket::result result_of(ssize_t count, std::size_t& moved) {
  if (count > 0) {
    moved = static_cast<std::size_t>(count);
    return tcp_socket::result::moved;
  }
  const bool later = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
  return later ? tcp_socket::result::not_now : tcp_socket::result::ended;
}

tcp_socket listen_at(const addrinfo& address) {
  tcp_socket socket(::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) return socket;
  const int on = 1;
  setsockopt(socket.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(socket.number(), address.ai_addr, address.ai_addrlen) != 0 || listen(socket.number(), backlog) != 0) {
    const int reason = errno;
    socket = tcp_socket();
    errno = reason;
  }
  return socket;
}

}  // namespace

tcp_socket::~tcp_socket() {
  if (number_ >= 0) close(number_);
}
tcp_socket::tcp_socket(tcp_socket&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
tcp_socket& tcp_socket::operator=(tcp_socket&& other) noexcept {
  if (number_ >= 0) close(number_);
  number_ = std::exchange(other.number_, -1);
  return *this;
}

tcp_socket::result tcp_socket::receive(char* buffer, std::size_t size, std::size_t& moved) {
  return result_of(recv(number_, buffer, size, 0), moved);
}

tcp_socket::result tcp_socket::send(const char* buffer, std::size_t size, std::size_t& moved) {
  return result_of(::send(number_, buffer, size, MSG_NOSIGNAL), moved);
}

void tcp_socket::end_sending() {
  shutdown(number_, SHUT_WR);
}

tcp_socket listen_tcp(const std::string& host, int port, std::string& error, int& error_number) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_PASSIVE | AI_NUMERICHOST | AI_NUMERICSERV;
  // All interfaces means those of IPv4: the other family is not there on every machine.
  if (host.empty()) wanted.ai_family = AF_INET;
  const std::string numbers = host == "localhost" ? "127.0.0.1" : host;
  addrinfo* found = nullptr;
  error_number = 0;
  const int failure =
      getaddrinfo(host.empty() ? nullptr : numbers.c_str(), std::to_string(port).c_str(), &wanted, &found);
  if (failure != 0) {
    error = "no address in numbers";
    return tcp_socket();
  }
  tcp_socket socket = listen_at(*found);
  if (!socket) {
    error_number = errno;
    error = std::strerror(error_number);
  }
  freeaddrinfo(found);
  return socket;
}

int port_of(const tcp_socket& listener) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (getsockname(listener.number(), reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                                             : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

tcp_socket accept_tcp(const tcp_socket& listener, bool& crowded) {
  tcp_socket socket(accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  crowded = !socket && (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM);
  return socket;
}

std::string host_name() {
  char name[HOST_NAME_MAX + 1] = {};
  return gethostname(name, sizeof name - 1) == 0 && name[0] ? name : "localhost";
}

// The first entry is the signal of wake().
struct tcp_wait::watched {
  int signal = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  std::vector<pollfd> entries;
};

tcp_wait::tcp_wait() : watched_(std::make_unique<watched>()) {
  clear();
}

tcp_wait::~tcp_wait() {
  close(watched_->signal);
}

void tcp_wait::clear() {
  watched_->entries.assign(1, {watched_->signal, POLLIN, 0});
}

std::size_t tcp_wait::add(const tcp_socket& socket, bool to_read, bool to_write) {
  watched_->entries.push_back(
      {socket.number(), static_cast<short>((to_read ? POLLIN : 0) | (to_write ? POLLOUT : 0)), 0});
  return watched_->entries.size() - 1;
}

void tcp_wait::wait(int milliseconds) {
  std::vector<pollfd>& entries = watched_->entries;
  if (::poll(entries.data(), entries.size(), milliseconds) < 0) {
    for (pollfd& entry : entries) entry.revents = 0;
  }
  if (entries[0].revents) {
    std::uint64_t count;
    [[maybe_unused]] const ssize_t bytes = read(watched_->signal, &count, sizeof count);
  }
}

bool tcp_wait::ready(std::size_t index) const {
  return watched_->entries[index].revents != 0;
}

void tcp_wait::wake() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t bytes = write(watched_->signal, &one, sizeof one);
}

}  // namespace platform
