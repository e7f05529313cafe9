#include "services/http/server.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <system_error>
#include <tuple>
#include <utility>

#include "services/http/picture.h"

namespace services::http {
namespace {

constexpr std::size_t block_bytes = 65536;
constexpr int blocks_at_once = 16;      // then the others have their turn
constexpr int retry_milliseconds = 50;  // without room or a free descriptor

long long milliseconds() {
  using namespace std::chrono;
  return duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

void server::set_wake(std::function<void()> wake) {
  const std::lock_guard guard(wake_lock_);
  wake_ = std::move(wake);
}

bool server::start(const std::string& host, int port, site site, std::string& error, int& error_number) {
  stop();
  platform::tcp_socket listener = platform::listen_tcp(host, port, error, error_number);
  if (!listener) return false;
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { run(); });
    } catch (const std::system_error& failure) {
      error_number = failure.code().value();
      error = failure.code().message();
      return false;
    }
  }
  port_ = platform::port_of(listener);
  {
    const std::lock_guard guard(lock_);
    next_listener_ = std::move(listener);
    next_site_ = std::move(site);
  }
  wait_.wake();
  return true;
}

void server::stop() {
  if (!listening()) return;
  port_ = 0;
  std::unique_lock guard(lock_);
  next_listener_.emplace();
  wait_.wake();
  // The address is free when this returns.
  changed_.wait(guard, [this] { return !next_listener_; });
}

bool server::poll(const draw_function& draw) {
  std::vector<wanted_picture> list;
  {
    const std::lock_guard guard(lock_);
    list.swap(wanted_);
  }
  if (list.empty()) return false;
  std::sort(list.begin(), list.end(), [](const wanted_picture& a, const wanted_picture& b) {
    return std::tie(a.width, a.height, a.id) < std::tie(b.width, b.height, b.id);
  });
  for (auto first = list.begin(); first != list.end();) {
    drawn_picture drawn;
    auto last = first;
    for (; last != list.end() && last->width == first->width && last->height == first->height; ++last) {
      drawn.ids.push_back(last->id);
    }
    try {
      drawn.image = draw(first->width, first->height);
    } catch (const std::exception&) {
      // Without memory there is no picture, and the answer says so.
    }
    {
      const std::lock_guard guard(lock_);
      drawn_.push_back(std::move(drawn));
    }
    wait_.wake();
    first = last;
  }
  return true;
}

void server::end() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard guard(lock_);
    quit_ = true;
  }
  wait_.wake();
  thread_.join();
  port_ = 0;
  quit_ = false;
  next_listener_.reset();
  wanted_.clear();
  drawn_.clear();
}

// What there is no memory for is tried again: all that waits is still there.
void server::run() {
  for (bool goes_on = true; goes_on;) {
    try {
      goes_on = take_orders();
      if (goes_on) wait();
    } catch (const std::bad_alloc&) {
      std::this_thread::sleep_for(std::chrono::milliseconds(retry_milliseconds));
    }
  }
  try {
    say_farewell();
  } catch (const std::bad_alloc&) {
    connections_.clear();
  }
}

// False when the thread is to end.
bool server::take_orders() {
  std::vector<drawn_picture> drawn;
  {
    const std::lock_guard guard(lock_);
    if (quit_) return false;
    if (next_listener_) {
      site_ = next_site_;
      listener_ = std::move(*next_listener_);
      next_listener_.reset();
      changed_.notify_all();
    }
    drawn.swap(drawn_);
  }
  for (const drawn_picture& picture : drawn) give(picture);
  return true;
}

void server::give(const drawn_picture& picture) {
  std::shared_ptr<const std::string> bytes;
  bool tried = false;
  for (connection& c : connections_) {
    if (c.now != phase::waiting || std::find(picture.ids.begin(), picture.ids.end(), c.id) == picture.ids.end()) {
      continue;
    }
    // Made once for all, when the first of them is still there.
    if (!std::exchange(tried, true)) bytes = file_of(picture.image);
    try {
      begin_answer(c, bytes ? text_answer(bytes, "image/jpeg", c.refresh) : error_answer(no_image, c.refresh));
    } catch (const std::bad_alloc&) {
      end_answer(c);  // an empty one
    }
  }
}

// Null without a picture, or without memory for its file.
std::shared_ptr<const std::string> server::file_of(const img::const_image_ptr& image) {
  std::erase_if(files_, [](const made_file& file) { return file.image.expired(); });
  if (!image) return nullptr;
  for (const made_file& file : files_) {
    if (file.image.lock() == image) return file.bytes;
  }
  try {
    files_.push_back({image, std::make_shared<const std::string>(jpeg_of(*image))});
    return files_.back().bytes;
  } catch (const std::exception&) {
    return nullptr;
  }
}

void server::begin_answer(connection& c, answer out) {
  c.out = std::move(out);
  c.sent = 0;
  c.now = phase::writing;
  c.since = milliseconds();
}

// Closed at once, what the peer still sends would take the answer from it.
void server::end_answer(connection& c) {
  c.socket.end_sending();
  c.out = {};
  c.now = phase::closing;
  c.since = milliseconds();
}

bool server::in_time(const connection& c, long long now) const {
  switch (c.now) {
    case phase::reading:
      return now - c.since < limits_.request;
    case phase::writing:
      return now - c.since < limits_.progress;
    case phase::closing:
      return now - c.since < limits_.farewell;
    case phase::waiting:
      return true;
  }
  return false;
}

int server::milliseconds_to_wait(long long now) const {
  long long until = now + 3600 * 1000;
  for (const connection& c : connections_) {
    if (c.now == phase::reading) until = std::min(until, c.since + limits_.request);
    if (c.now == phase::writing) until = std::min(until, c.since + limits_.progress);
    if (c.now == phase::closing) until = std::min(until, c.since + limits_.farewell);
  }
  return connections_.empty() ? -1 : static_cast<int>(std::max(until - now, 1LL));
}

void server::wait() {
  const long long now = milliseconds();
  wait_.clear();
  const bool room = listener_ && now >= crowded_until_ && room_for_another(now);
  const std::size_t knock = room ? wait_.add(listener_, true, false) : 0;
  for (connection& c : connections_) {
    c.index = wait_.add(c.socket, c.now == phase::reading || c.now == phase::closing, c.now == phase::writing);
  }
  const int longest = milliseconds_to_wait(now);
  const bool soon = listener_ && !room;
  wait_.wait(soon && (longest < 0 || longest > retry_milliseconds) ? retry_milliseconds : longest);

  const long long then = milliseconds();
  for (auto c = connections_.begin(); c != connections_.end();) {
    bool keep = true;
    if (wait_.ready(c->index)) {
      try {
        keep = step(*c);
      } catch (const std::bad_alloc&) {
        keep = false;
      }
    }
    // What has come is heard, however late this thread is.
    keep = keep && in_time(*c, then);
    c = keep ? std::next(c) : connections_.erase(c);
  }
  if (room && wait_.ready(knock)) accept();
}

// Where all places are taken, the one who has said nothing for the longest time gives way, or one who takes no bytes.
bool server::may_give_way(const connection& c, long long now) const {
  return c.now == phase::reading || c.now == phase::closing ||
         (c.now == phase::writing && now - c.since > limits_.crowded);
}

bool server::room_for_another(long long now) const {
  return static_cast<int>(connections_.size()) < limits_.connections ||
         std::any_of(connections_.begin(), connections_.end(),
                     [&](const connection& c) { return may_give_way(c, now); });
}

void server::accept() {
  bool crowded = false;
  platform::tcp_socket socket = platform::accept_tcp(listener_, crowded);
  const long long now = milliseconds();
  if (crowded) crowded_until_ = now + retry_milliseconds;
  if (!socket) return;
  if (static_cast<int>(connections_.size()) >= limits_.connections) {
    auto oldest = connections_.end();
    for (auto c = connections_.begin(); c != connections_.end(); ++c) {
      if (may_give_way(*c, now) && (oldest == connections_.end() || c->since < oldest->since)) oldest = c;
    }
    // Those who could have gone may have begun to move meanwhile.
    if (oldest == connections_.end()) return;
    connections_.erase(oldest);
  }
  connection& c = connections_.emplace_back();
  c.socket = std::move(socket);
  c.id = ++next_id_;
  c.since = now;
}

bool server::step(connection& c) {
  switch (c.now) {
    case phase::reading:
      return read(c);
    case phase::writing:
      return write(c);
    case phase::closing:
      return close_gently(c);
    case phase::waiting:
      return false;  // only a peer that is gone is ready here
  }
  return false;
}

bool server::read(connection& c) {
  char block[4096];
  std::size_t count = 0;
  switch (c.socket.receive(block, sizeof block, count)) {
    case platform::tcp_socket::result::not_now:
      return true;
    case platform::tcp_socket::result::ended:
      return false;
    case platform::tcp_socket::result::moved:
      break;
  }
  switch (c.parser.take({block, count})) {
    case request_parser::state::incomplete:
      return true;
    case request_parser::state::bad:
      begin_answer(c, error_answer(bad_request));
      break;
    case request_parser::state::complete:
      dispatch(c);
      break;
  }
  return c.now != phase::writing || write(c);
}

void server::dispatch(connection& c) {
  const request& asked = c.parser.parsed();
  if (!site_.people.admit(asked.user, asked.password)) return begin_answer(c, error_answer(not_authorized));
  const target wanted = find_target(asked.path);
  c.refresh = wanted.refresh;
  switch (wanted.what) {
    case target::kind::error:
      return begin_answer(c, error_answer(wanted.error, wanted.refresh));
    case target::kind::file:
      return begin_answer(c, file_answer(site_.root, wanted.name, wanted.refresh));
    case target::kind::picture:
      break;
  }
  c.now = phase::waiting;
  {
    const std::lock_guard guard(lock_);
    wanted_.push_back({wanted.width, wanted.height, c.id});
  }
  const std::lock_guard guard(wake_lock_);
  if (wake_) wake_();
}

bool server::write(connection& c) {
  const auto head = static_cast<std::int64_t>(c.out.head.size());
  std::string block;
  // A file that is read more slowly than the peer takes it never fills the socket.
  for (int blocks = 0; c.sent < head + c.out.length; ++blocks) {
    if (blocks == blocks_at_once) return true;
    std::string_view bytes;
    if (c.sent < head) {
      bytes = std::string_view(c.out.head).substr(static_cast<std::size_t>(c.sent));
    } else if (c.out.text) {
      bytes = std::string_view(*c.out.text).substr(static_cast<std::size_t>(c.sent - head));
    } else {
      const std::int64_t left = head + c.out.length - c.sent;
      block.resize(static_cast<std::size_t>(std::min<std::int64_t>(block_bytes, left)));
      const std::int64_t count = c.out.file->read(block.data(), block.size(), c.sent - head);
      if (count <= 0) return false;  // the file has become shorter: the peer sees it by the length
      bytes = std::string_view(block).substr(0, static_cast<std::size_t>(count));
    }
    std::size_t moved = 0;
    switch (c.socket.send(bytes.data(), bytes.size(), moved)) {
      case platform::tcp_socket::result::not_now:
        return true;
      case platform::tcp_socket::result::ended:
        return false;
      case platform::tcp_socket::result::moved:
        c.sent += static_cast<std::int64_t>(moved);
        c.since = milliseconds();
        break;
    }
  }
  end_answer(c);
  return true;
}

bool server::close_gently(connection& c) {
  char block[4096];
  std::size_t count = 0;
  return c.socket.receive(block, sizeof block, count) != platform::tcp_socket::result::ended;
}

void server::say_farewell() {
  listener_ = {};
  for (connection& c : connections_) {
    if (c.now == phase::waiting) begin_answer(c, error_answer(no_image, c.refresh));
  }
  const auto is_done = [](const connection& c) { return c.now == phase::reading || c.now == phase::closing; };
  connections_.remove_if(is_done);
  const long long deadline = milliseconds() + limits_.farewell;
  while (!connections_.empty() && milliseconds() < deadline) {
    wait_.clear();
    for (connection& c : connections_) c.index = wait_.add(c.socket, false, true);
    wait_.wait(static_cast<int>(std::max(deadline - milliseconds(), 1LL)));
    connections_.remove_if([&](connection& c) { return wait_.ready(c.index) && (!step(c) || is_done(c)); });
  }
  connections_.clear();
}

}  // namespace services::http
