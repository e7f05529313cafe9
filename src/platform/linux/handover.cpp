#include "platform/handover.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/folders.h"

namespace platform {
namespace {

constexpr int backlog = 64;
constexpr std::size_t most_peers = 32;       // the others wait in the backlog
constexpr int farewell_milliseconds = 500;   // for the last answers, each, when serving ends
constexpr int peer_milliseconds = 5000;      // for a peer to send its message, and to take each piece of its answer
constexpr int retry_milliseconds = 1000;     // between two tries to take over from an instance that ended
constexpr int owner_milliseconds = 2000;     // for an instance that has the claim to come to listen
constexpr int crowded_microseconds = 50000;  // between two tries to accept a peer without a free descriptor
constexpr int most_broken_lines = 3;         // of instances that ended before they answered

class descriptor {
 public:
  explicit descriptor(int number = -1) : number_(number) {}
  ~descriptor() { reset(); }
  descriptor(descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  descriptor& operator=(descriptor&& other) noexcept {
    reset();
    number_ = std::exchange(other.number_, -1);
    return *this;
  }
  void reset() {
    if (number_ >= 0) close(number_);
    number_ = -1;
  }
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }
  explicit operator bool() const { return number_ >= 0; }

 private:
  int number_;
};

long long now() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// Whether only this user can make files in a folder.
bool is_private(const std::string& folder) {
  struct stat info {};
  return lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
         (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool to_address(const std::string& path, sockaddr_un& address) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return true;
}

bool is_same_user(int socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}

// One name for one display: an X display whatever its screen, else a Wayland one.
std::string display_name() {
  const char* x = std::getenv("DISPLAY");
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  std::string name = x && *x ? x : wayland ? wayland : "";
  const std::size_t colon = name.rfind(':');
  if (colon != std::string::npos) name = name.substr(0, name.find('.', colon));
  for (char& c : name) {
    const bool plain =
        (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-';
    if (!plain) c = '_';
  }
  return name;
}

std::string socket_path(const std::string& address) {
  return address + ".socket";
}

// A connection to whoever listens.
descriptor connect_to(const std::string& address) {
  sockaddr_un name;
  descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const bool connected = socket && to_address(socket_path(address), name) &&
                         connect(socket.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
  return connected ? std::move(socket) : descriptor();
}

bool send_all(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

std::string handover_address() {
  const std::string display = display_name();
  if (display.empty()) return {};
  const auto usable = [&](const std::string& folder) {
    sockaddr_un address;
    return is_private(folder) && to_address(socket_path(folder + "/kestrin-" + display), address);
  };
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  std::string folder = runtime && runtime[0] == '/' ? runtime : "";
  if (folder.empty() || !usable(folder)) {
    if (!get_folder(folder_kind::temporary, false, folder)) return {};
    folder += "/kestrin-" + std::to_string(geteuid());
    mkdir(folder.c_str(), 0700);
    if (!usable(folder)) return {};
  }
  return folder + "/kestrin-" + display;
}

// The thread that reads and writes.
class handover::server {
 public:
  struct request {
    handover_message message;
    descriptor peer;
  };

  server(int socket, std::function<void()> wake)
      : socket_(socket),
        wake_(std::move(wake)),
        signal_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        thread_([this] { run(); }) {}
  ~server() {
    {
      const std::lock_guard guard(lock_);
      stop_ = true;
    }
    signal();
    thread_.join();
  }

  bool next(request& taken) {
    const std::lock_guard guard(lock_);
    if (requests_.empty()) return false;
    taken = std::move(requests_.front());
    requests_.pop_front();
    return true;
  }
  void answer(descriptor peer, std::string bytes) {
    {
      const std::lock_guard guard(lock_);
      answers_.push_back({std::move(peer), std::move(bytes)});
    }
    signal();
  }

 private:
  struct written {
    descriptor peer;
    std::string bytes;
  };
  struct peer {
    descriptor socket;
    handover_parser parser;
    std::string answer;  // while it is not empty the peer is written to
    std::size_t sent = 0;
    long long deadline = 0;
  };

  void signal() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t count = write(signal_.get(), &one, sizeof one);
  }

  void run() {
    serve();
    for (peer& p : peers_) {
      const long long deadline = now() + farewell_milliseconds;
      while (!p.answer.empty() && now() < deadline && transmit(p)) {
        pollfd writable{p.socket.get(), POLLOUT, 0};
        ::poll(&writable, 1, farewell_milliseconds);
      }
    }
  }

  // Until it is told to stop.
  void serve() {
    for (;;) {
      {
        const std::lock_guard guard(lock_);
        for (; !answers_.empty(); answers_.pop_front()) {
          peer& fresh = peers_.emplace_back();
          fresh.socket = std::move(answers_.front().peer);
          fresh.answer = std::move(answers_.front().bytes);
          fresh.deadline = now() + peer_milliseconds;
        }
        if (stop_) break;
      }
      wait();
    }
  }

  bool has_room() {
    const std::lock_guard guard(lock_);
    return peers_.size() + requests_.size() < most_peers;
  }

  void wait() {
    std::vector<pollfd> watched;
    watched.push_back({signal_.get(), POLLIN, 0});
    watched.push_back({has_room() ? socket_ : -1, POLLIN, 0});
    long long first_deadline = now() + 3600 * 1000;
    for (const peer& p : peers_) {
      watched.push_back({p.socket.get(), static_cast<short>(p.answer.empty() ? POLLIN : POLLOUT), 0});
      first_deadline = std::min(first_deadline, p.deadline);
    }
    ::poll(watched.data(), watched.size(), static_cast<int>(std::max(first_deadline - now(), 0LL)));

    if (watched[0].revents) {
      std::uint64_t count;
      [[maybe_unused]] const ssize_t read_bytes = read(signal_.get(), &count, sizeof count);
    }
    std::size_t at = 2;
    for (auto it = peers_.begin(); it != peers_.end(); ++at) {
      const bool ready = watched[at].revents != 0;
      const bool keep = ready ? (it->answer.empty() ? receive(*it) : transmit(*it)) : it->deadline > now();
      it = keep ? std::next(it) : peers_.erase(it);
    }
    if (watched[1].revents) accept_peer();
  }

  void accept_peer() {
    descriptor accepted(accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    // Out of descriptors: the peer stays in the backlog, and is asked for again all the time.
    if (!accepted && (errno == EMFILE || errno == ENFILE)) usleep(crowded_microseconds);
    if (!accepted || !is_same_user(accepted.get())) return;
    peer& fresh = peers_.emplace_back();
    fresh.socket = std::move(accepted);
    fresh.deadline = now() + peer_milliseconds;
  }

  // The next piece of a message; false when the peer is done with, or its message waits for the main thread.
  bool receive(peer& p) {
    char block[65536];
    const ssize_t count = recv(p.socket.get(), block, sizeof block, 0);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    if (count == 0) return false;
    try {
      const parse_state state = p.parser.take({block, static_cast<std::size_t>(count)});
      if (state != parse_state::complete) return state == parse_state::incomplete;
      const std::lock_guard guard(lock_);
      requests_.push_back({p.parser.message(), std::move(p.socket)});
    } catch (const std::bad_alloc&) {
      return false;
    }
    wake_();
    return false;
  }

  bool transmit(peer& p) {
    const ssize_t count =
        ::send(p.socket.get(), p.answer.data() + p.sent, p.answer.size() - p.sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    p.sent += static_cast<std::size_t>(count);
    p.deadline = now() + peer_milliseconds;
    return p.sent < p.answer.size();
  }

  const int socket_;
  const std::function<void()> wake_;
  const descriptor signal_;  // readable when the thread is to look at the shared fields
  std::list<peer> peers_;    // of the thread
  std::mutex lock_;
  std::deque<request> requests_;  // lock_
  std::deque<written> answers_;   // lock_
  bool stop_ = false;             // lock_
  std::thread thread_;            // last: it uses all of the above
};

handover::handover(std::string address) : address_(std::move(address)) {}

handover::~handover() {
  stop();
}

bool handover::claim() {
  if (address_.empty()) return false;
  if (!lock_) {
    auto lock = std::make_unique<file_lock>(address_ + ".lock", 0);
    if (!lock->held()) return false;
    lock_ = std::move(lock);
  }
  if (socket_ >= 0) return true;
  // A file system without locks gives the lock to everybody.
  if (connect_to(address_)) {
    lock_.reset();
    return false;
  }
  // Whoever left this socket behind is gone.
  const std::string path = socket_path(address_);
  unlink(path.c_str());
  sockaddr_un address;
  descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket || !to_address(path, address) ||
      bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      chmod(path.c_str(), 0600) != 0 || listen(socket.get(), backlog) != 0) {
    lock_.reset();
    return false;
  }
  socket_ = socket.release();
  return true;
}

bool handover::send(const handover_message& message, bool claim_if_alone,
                    const std::function<void(const answer_record&)>& show) {
  if (address_.empty()) return false;
  const std::string bytes = encode_handover(message);
  if (bytes.size() > longest_handover) return false;
  const long long give_up = now() + owner_milliseconds;
  for (int broken_lines = 0; broken_lines < most_broken_lines;) {
    const descriptor socket = connect_to(address_);
    if (!socket) {
      if (claim_if_alone ? claim() : file_lock(address_ + ".lock", 0).held()) return false;
      // An instance has just claimed the line and comes to listen in a moment, or the last one is about to end.
      if (now() >= give_up) return false;
      usleep(5000);
      continue;
    }
    if (!is_same_user(socket.get())) return false;
    // A receiver that does not want all of it says so, and closes.
    send_all(socket.get(), bytes);
    answer_parser parser;
    std::vector<answer_record> records;
    char block[65536];
    for (parse_state state = parse_state::incomplete; state == parse_state::incomplete;) {
      const ssize_t count = recv(socket.get(), block, sizeof block, 0);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) break;
      state = parser.take({block, static_cast<std::size_t>(count)}, records);
    }
    if (records.empty()) {
      // It ended before it came to this message.
      ++broken_lines;
      continue;
    }
    for (const answer_record& record : records) {
      if (record.kind == answer_kind::output || record.kind == answer_kind::error) show(record);
    }
    return records.back().kind != answer_kind::refused;
  }
  return false;
}

void handover::serve(std::function<void()> wake) {
  wake_ = std::move(wake);
  wants_to_serve_ = true;
  try_to_serve();
}

void handover::try_to_serve() {
  next_try_ = now() + retry_milliseconds;
  if (claim()) server_ = std::make_unique<server>(socket_, wake_);
}

void handover::poll(const carry_out_function& carry_out) {
  if (polling_) return;
  if (!server_) {
    if (wants_to_serve_ && now() >= next_try_) try_to_serve();
    return;
  }
  polling_ = true;
  server::request request;
  while (server_ && server_->next(request)) {
    std::string answer;
    const bool done = carry_out(request.message, answer);
    answer += encode_answer(done ? answer_kind::done : answer_kind::refused, {});
    if (server_) server_->answer(std::move(request.peer), std::move(answer));
  }
  polling_ = false;
}

void handover::stop() {
  wants_to_serve_ = false;
  server_.reset();
  if (socket_ >= 0) {
    unlink(socket_path(address_).c_str());
    close(socket_);
  }
  socket_ = -1;
  lock_.reset();
}

}  // namespace platform
