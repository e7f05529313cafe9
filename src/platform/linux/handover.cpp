#include "platform/handover.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <new>
#include <utility>
#include <vector>

#include "platform/linux/handover_server.h"
#include "platform/linux/handover_socket.h"

namespace platform {
namespace {

constexpr int retry_milliseconds = 1000;    // between two tries to take over from an instance that ended
constexpr int owner_milliseconds = 2000;    // for an instance that has the claim to come to listen
constexpr int most_broken_lines = 3;        // of instances that ended before they answered
constexpr int answer_milliseconds = 10000;  // for an instance that listens to take a message

enum class exchange_end { carried_out, refused, broken, silent };

// One message, and the answer to its last record. Lines are shown as they come.
exchange_end exchange(int socket, const std::string& bytes, const std::function<void(const answer_record&)>& show) {
  // A receiver that does not want all of it says so, and closes.
  if (!send_all(socket, bytes) && errno == EAGAIN) return exchange_end::silent;
  limit_reading(socket, answer_milliseconds);
  answer_parser parser;
  std::vector<answer_record> records;
  char block[65536];
  parse_state state = parse_state::incomplete;
  bool any = false;
  while (state == parse_state::incomplete) {
    const ssize_t count = recv(socket, block, sizeof block, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) return exchange_end::silent;
    if (count <= 0) break;
    records.clear();
    state = parser.take({block, static_cast<std::size_t>(count)}, records);
    for (const answer_record& record : records) {
      if (record.kind == answer_kind::output || record.kind == answer_kind::error) show(record);
      if (record.kind == answer_kind::refused) return exchange_end::refused;
      any = any || record.kind != answer_kind::taken;
    }
    // It is there and has the message: from now on it takes what the line takes.
    if (!records.empty()) limit_reading(socket, 0);
  }
  return any ? exchange_end::carried_out : exchange_end::broken;
}

// An answer that takes no memory.
void end_without_memory(int peer) {
  constexpr char bytes[] = "e\x11\0\0\0Not enough memoryd\0\0\0";  // the last 0 is that of the text
  ::send(peer, bytes, sizeof bytes, MSG_NOSIGNAL | MSG_DONTWAIT);
}

}  // namespace

struct handover::held_answer {
  descriptor peer;
  std::string answer;
  rest_of_answer rest;
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
  if (connect_to(address_, answer_milliseconds)) {
    lock_.reset();
    return false;
  }
  socket_ = listen_at(address_).release();
  if (socket_ < 0) lock_.reset();
  return socket_ >= 0;
}

handover_result handover::send(const handover_message& message, bool claim_if_alone,
                               const std::function<void(const answer_record&)>& show) {
  if (address_.empty()) return handover_result::nobody;
  const std::string bytes = encode_handover(message);
  if (bytes.size() > longest_handover) return handover_result::refused;
  const long long give_up = steady_milliseconds() + owner_milliseconds;
  for (int broken_lines = 0; broken_lines < most_broken_lines;) {
    errno = 0;
    const descriptor socket = connect_to(address_, answer_milliseconds);
    if (!socket && errno == EAGAIN) return handover_result::no_answer;
    if (!socket) {
      if (claim_if_alone ? claim() : file_lock(address_ + ".lock", 0).held()) return handover_result::nobody;
      // An instance has just claimed the line and comes to listen in a moment, or the last one is about to end.
      if (steady_milliseconds() >= give_up) return handover_result::nobody;
      usleep(5000);
      continue;
    }
    if (!is_same_user(socket.get())) return handover_result::nobody;
    switch (const exchange_end end = exchange(socket.get(), bytes, show)) {
      case exchange_end::broken:
        ++broken_lines;  // it ended before it came to this message
        break;
      case exchange_end::silent:
        return handover_result::no_answer;
      default:
        return end == exchange_end::refused ? handover_result::refused : handover_result::carried_out;
    }
  }
  return handover_result::nobody;
}

void handover::serve(std::function<void()> wake) {
  wake_ = std::move(wake);
  wants_to_serve_ = true;
  try_to_serve();
}

void handover::try_to_serve() {
  next_try_ = steady_milliseconds() + retry_milliseconds;
  try {
    if (claim()) server_ = std::make_unique<handover_server>(socket_, wake_);
  } catch (const std::exception&) {
    // Without memory or a thread now; the next try may find some.
  }
}

void handover::poll(const carry_out_function& carry_out) {
  if (polling_) return;
  if (!server_) {
    if (wants_to_serve_ && steady_milliseconds() >= next_try_) try_to_serve();
    return;
  }
  polling_ = true;
  answer_held(false);
  handover_server::request request;
  while (server_ && server_->next(request)) answer(request.message, request.peer, carry_out);
  polling_ = false;
}

// Whatever memory there is, the sender hears that its line was taken: a line without an answer would be sent again.
void handover::answer(const handover_message& message, descriptor& peer, const carry_out_function& carry_out) {
  try {
    std::string lines;
    rest_ = nullptr;
    const bool done = carry_out(message, lines);
    if (rest_) {
      held_answer& held = held_.emplace_back();
      held.peer = std::move(peer);
      held.answer = std::move(lines);
      held.rest = std::exchange(rest_, nullptr);
      return;
    }
    lines += encode_answer(done ? answer_kind::done : answer_kind::refused, {});
    if (server_) server_->answer(peer, lines);
  } catch (const std::bad_alloc&) {
    end_without_memory(peer.get());
  }
}

void handover::answer_held(bool at_once) {
  std::erase_if(held_, [&](held_answer& held) {
    try {
      if (!held.rest(held.answer) && !at_once) return false;
      held.answer += encode_answer(answer_kind::done, {});
      server_->answer(held.peer, held.answer);
    } catch (const std::bad_alloc&) {
      end_without_memory(held.peer.get());
    }
    return true;
  });
}

void handover::stop() {
  wants_to_serve_ = false;
  if (server_) answer_held(true);
  server_.reset();
  if (socket_ >= 0) {
    remove_socket(address_);
    close(socket_);
  }
  socket_ = -1;
  lock_.reset();
}

}  // namespace platform
