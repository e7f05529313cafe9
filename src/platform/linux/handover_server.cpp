#include "platform/linux/handover_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "platform/linux/handover_socket.h"

namespace platform {
namespace {

constexpr std::size_t most_peers = 32;       // that are read or written to; the others wait in the backlog
constexpr std::size_t most_requests = 256;   // that wait for the main thread
constexpr int farewell_milliseconds = 500;   // for the last answers, each, when serving ends
constexpr int peer_milliseconds = 5000;      // for a peer to send its message, and to take each piece of its answer
constexpr int crowded_microseconds = 50000;  // between two tries without a free descriptor, or without memory

}  // namespace

handover_server::handover_server(int socket, std::function<void()> wake)
    : socket_(socket),
      wake_(std::move(wake)),
      signal_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      thread_([this] { run(); }) {}

handover_server::~handover_server() {
  {
    const std::lock_guard guard(lock_);
    stop_ = true;
  }
  signal();
  thread_.join();
}

bool handover_server::next(request& taken) {
  const std::lock_guard guard(lock_);
  if (requests_.empty()) return false;
  taken = std::move(requests_.front());
  requests_.pop_front();
  return true;
}

void handover_server::answer(descriptor& peer, std::string& bytes) {
  {
    const std::lock_guard guard(lock_);
    written& fresh = answers_.emplace_back();
    fresh.peer = std::move(peer);
    fresh.bytes = std::move(bytes);
  }
  signal();
}

void handover_server::signal() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t count = write(signal_.get(), &one, sizeof one);
}

void handover_server::run() {
  serve();
  for (peer& p : peers_) {
    const long long deadline = steady_milliseconds() + farewell_milliseconds;
    while (!p.answer.empty() && steady_milliseconds() < deadline && transmit(p)) {
      pollfd writable{p.socket.get(), POLLOUT, 0};
      ::poll(&writable, 1, farewell_milliseconds);
    }
  }
}

// Until it is told to stop. What there is no memory for is tried again: all that waits is still there.
void handover_server::serve() {
  for (bool goes_on = true; goes_on;) {
    try {
      goes_on = take_answers();
      if (goes_on) wait();
    } catch (const std::bad_alloc&) {
      usleep(crowded_microseconds);
    }
  }
}

// The answers of the main thread become peers that are written to; false when there will be no more.
bool handover_server::take_answers() {
  const std::lock_guard guard(lock_);
  for (; !answers_.empty(); answers_.pop_front()) {
    peer& fresh = peers_.emplace_back();
    fresh.socket = std::move(answers_.front().peer);
    fresh.answer = std::move(answers_.front().bytes);
    fresh.deadline = steady_milliseconds() + peer_milliseconds;
  }
  return !stop_;
}

bool handover_server::has_room() {
  const std::lock_guard guard(lock_);
  return requests_.size() < most_requests;
}

void handover_server::wait() {
  std::vector<pollfd> watched;
  watched.push_back({signal_.get(), POLLIN, 0});
  watched.push_back({has_room() ? socket_ : -1, POLLIN, 0});
  long long first_deadline = steady_milliseconds() + 3600 * 1000;
  for (const peer& p : peers_) {
    watched.push_back({p.socket.get(), static_cast<short>(p.answer.empty() ? POLLIN : POLLOUT), 0});
    first_deadline = std::min(first_deadline, p.deadline);
  }
  ::poll(watched.data(), watched.size(), static_cast<int>(std::max(first_deadline - steady_milliseconds(), 0LL)));

  if (watched[0].revents) {
    std::uint64_t count;
    [[maybe_unused]] const ssize_t read_bytes = read(signal_.get(), &count, sizeof count);
  }
  std::size_t at = 2;
  for (auto it = peers_.begin(); it != peers_.end(); ++at) {
    const bool ready = watched[at].revents != 0;
    const bool in_time = it->deadline > steady_milliseconds();
    const bool keep = it->answer.empty() ? in_time && (!ready || receive(*it)) : ready ? transmit(*it) : in_time;
    it = keep ? std::next(it) : peers_.erase(it);
  }
  if (watched[1].revents) accept_peer();
}

// Makes room for a peer. False when all that there are wait for an answer.
bool handover_server::drop_half_message() {
  const auto oldest = std::find_if(peers_.begin(), peers_.end(), [](const peer& p) { return p.answer.empty(); });
  if (oldest == peers_.end()) return false;
  peers_.erase(oldest);
  return true;
}

void handover_server::accept_peer() {
  if (peers_.size() >= most_peers && !drop_half_message()) {
    usleep(crowded_microseconds);
    return;
  }
  descriptor accepted(accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  // Out of descriptors: the peer stays in the backlog, and is asked for again all the time.
  if (!accepted && (errno == EMFILE || errno == ENFILE)) usleep(crowded_microseconds);
  if (!accepted || !is_same_user(accepted.get())) return;
  peer& fresh = peers_.emplace_back();
  fresh.socket = std::move(accepted);
  fresh.deadline = steady_milliseconds() + peer_milliseconds;
}

// The next piece of a message; false when the peer is done with, or its message waits for the main thread.
bool handover_server::receive(peer& p) {
  char block[65536];
  const ssize_t count = recv(p.socket.get(), block, sizeof block, 0);
  if (count < 0) return errno == EAGAIN || errno == EINTR;
  if (count == 0) return false;
  try {
    const parse_state state = p.parser.take({block, static_cast<std::size_t>(count)});
    if (state != parse_state::complete) return state == parse_state::incomplete;
    const std::lock_guard guard(lock_);
    requests_.push_back({p.parser.message(), std::move(p.socket)});
    // The first bytes on this way: the socket takes them at once.
    const std::string taken = encode_answer(answer_kind::taken, {});
    ::send(requests_.back().peer.get(), taken.data(), taken.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  } catch (const std::bad_alloc&) {
    return false;
  }
  wake_();
  return false;
}

bool handover_server::transmit(peer& p) {
  const ssize_t count =
      ::send(p.socket.get(), p.answer.data() + p.sent, p.answer.size() - p.sent, MSG_NOSIGNAL | MSG_DONTWAIT);
  if (count < 0) return errno == EAGAIN || errno == EINTR;
  p.sent += static_cast<std::size_t>(count);
  p.deadline = steady_milliseconds() + peer_milliseconds;
  return p.sent < p.answer.size();
}

}  // namespace platform
