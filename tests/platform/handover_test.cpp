// Instances that hand their command lines over, in threads and in processes of their own.
#include "platform/handover.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <future>
#include <thread>

#include "support/temp_folder.h"
#include "support/variable.h"
#include "support/wait.h"

namespace {

using platform::answer_kind;
using platform::answer_record;
using platform::handover;
using platform::handover_message;
using platform::parse_state;

const handover_message sample{"/shots/a b", {"kestrin", "--attach", "", "x.####.exr", std::string("\0\xFF\n", 3)}};

// Gives the bytes to a fresh taker in pieces of each size; it must be complete with the last one and not before.
template <class Fresh>
void in_pieces(const std::string& bytes, Fresh&& fresh) {
  for (std::size_t size = 1; size <= bytes.size(); ++size) {
    auto take = fresh();
    parse_state state = parse_state::incomplete;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
      ASSERT_EQ(state, parse_state::incomplete) << size << " at " << at;
      state = take(std::string_view(bytes).substr(at, size));
    }
    ASSERT_EQ(state, parse_state::complete) << size;
  }
}

TEST(handover_message, arrives_in_pieces_of_any_size) {
  platform::handover_parser message;
  in_pieces(platform::encode_handover(sample), [&] {
    message = {};
    return [&](std::string_view bytes) { return message.take(bytes); };
  });
  EXPECT_EQ(message.message(), sample);

  platform::answer_parser answer;
  std::vector<answer_record> records;
  in_pieces(platform::encode_answer(answer_kind::output, "global:time=5") +
                platform::encode_answer(answer_kind::error, "") + platform::encode_answer(answer_kind::done, ""),
            [&] {
              answer = {};
              records.clear();
              return [&](std::string_view bytes) { return answer.take(bytes, records); };
            });
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].text, "global:time=5");
}

TEST(handover_message, lies) {
  const std::string good = platform::encode_handover({"/", {"a"}});  // 8 magic, 4 length, 4 + 1 folder, 4 + 1 argument
  ASSERT_EQ(good.size(), 22u);
  const auto with = [&](std::size_t at, unsigned char byte) {
    std::string changed = good;
    changed[at] = static_cast<char>(byte);
    return changed;
  };
  struct row {
    const char* what;
    std::string bytes;
    parse_state expected;
  };
  const row rows[] = {
      {"as it is", good, parse_state::complete},
      {"an empty argument at the end", platform::encode_handover({"/", {"a", ""}}), parse_state::complete},
      {"nothing", "", parse_state::incomplete},
      {"the first byte is wrong", "K", parse_state::broken},
      {"another protocol", "GET / HTTP/1.1\r\n\r\n", parse_state::broken},
      {"half", good.substr(0, 15), parse_state::incomplete},
      {"a byte too many", good + "x", parse_state::broken},
      {"an argument after the last", good + std::string(4, '\0'), parse_state::broken},
      {"a length of 4 GB", with(11, 0xFF), parse_state::broken},
      {"a length of 17 MB", with(11, 1) + std::string(5, 'x'), parse_state::broken},
      {"a head that says 17 MB, before anything follows it", with(11, 1).substr(0, 12), parse_state::broken},
      {"the whole is longer than its texts", with(8, 11) + "x", parse_state::broken},
      {"a folder longer than the whole", with(12, 200), parse_state::broken},
      {"a folder of 4 GB", with(15, 0xFF), parse_state::broken},
      {"an argument longer than the rest", with(17, 2), parse_state::broken},
      {"an argument shorter than the rest", with(17, 0), parse_state::broken},
  };
  for (const row& r : rows) {
    platform::handover_parser parser;
    EXPECT_EQ(parser.take(r.bytes), r.expected) << r.what;
    if (r.expected == parse_state::broken) {
      EXPECT_EQ(parser.take(good), parse_state::broken) << r.what;
    }
  }
  std::vector<answer_record> records;
  EXPECT_EQ(platform::answer_parser().take("x....", records), parse_state::broken);
  EXPECT_EQ(platform::answer_parser().take("o\xFF\xFF\xFF\xFF", records), parse_state::broken);
}

void no_lines(const answer_record&) {}

bool sent(handover& line, const handover_message& message, bool claim,
          const std::function<void(const answer_record&)>& show) {
  return line.send(message, claim, show) == platform::handover_result::carried_out;
}

// An instance that serves in a thread of its own until the end of the test.
class instance {
 public:
  explicit instance(const std::string& address) : line_(address) {
    line_.serve([this] { woken_ = true; });
    serves_at_once = line_.serving();
    thread_ = std::thread([this] {
      while (!stop_) {
        if (!woken_.exchange(false) && line_.serving()) {
          usleep(1000);
          continue;
        }
        line_.poll([this](const handover_message& message, std::string& answer) {
          received.push_back(message);
          if (message.arguments.size() > 1) answer = platform::encode_answer(answer_kind::output, message.arguments[1]);
          return message.folder != "/refused";
        });
      }
    });
  }
  ~instance() { end(); }
  void end() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    line_.stop();
  }

  bool serves_at_once = false;
  std::vector<handover_message> received;  // after end()

 private:
  handover line_;
  std::atomic<bool> woken_ = false;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

int raw_connection(const std::string& address) {
  const std::string path = address + ".socket";
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::memcpy(name.sun_path, path.c_str(), path.size());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(socket, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0) return socket;
  close(socket);
  return -1;
}

TEST(handover, one_line_and_its_answer) {
  const support::temp_folder folder;
  instance first(folder / "line");
  handover second(folder / "line");
  std::string shown;
  EXPECT_TRUE(sent(second, sample, true, [&](const answer_record& record) { shown += record.text; }));
  EXPECT_EQ(shown, "--attach");
  handover_message megabyte{"/", {"kestrin", std::string(1 << 20, 'x'), "behind"}};
  EXPECT_TRUE(sent(second, megabyte, true, [&](const answer_record& record) { shown = record.text; }));
  EXPECT_EQ(shown.size(), std::size_t{1} << 20);
  EXPECT_FALSE(sent(second, {"/refused", {"kestrin"}}, false, no_lines));
  handover_message absurd{"/", {std::string(20 << 20, 'x')}};
  EXPECT_FALSE(sent(second, absurd, false, no_lines)) << "longer than any command line";
  first.end();
  ASSERT_EQ(first.received.size(), 3u);
  EXPECT_EQ(first.received[0], sample);
  EXPECT_EQ(first.received[1], megabyte);
  EXPECT_FALSE(sent(second, sample, false, no_lines)) << "nobody is there any more";
}

TEST(handover, nonsense_on_the_socket_does_no_harm) {
  const support::temp_folder folder;
  instance first(folder / "line");
  const std::string good = platform::encode_handover(sample);
  std::vector<int> open;
  for (const std::string& bytes :
       {std::string(), std::string("garbage"), std::string(100000, '\xFF'), good.substr(0, 10), good + "more",
        std::string("ksnhand1\xFF\xFF\xFF\xFF", 12), good.substr(0, good.size() - 1)}) {
    for (int i = 0; i < 3; ++i) {
      const int socket = raw_connection(folder / "line");
      ASSERT_GE(socket, 0);
      ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (i == 0) {
        close(socket);
      } else {
        open.push_back(socket);
      }
    }
  }
  handover second(folder / "line");
  EXPECT_TRUE(sent(second, sample, false, no_lines)) << "the silent ones still hold their connections";
  // One that sends its line and does not wait for the answer.
  const int hasty = raw_connection(folder / "line");
  ASSERT_EQ(::send(hasty, good.data(), good.size(), MSG_NOSIGNAL), static_cast<ssize_t>(good.size()));
  close(hasty);
  EXPECT_TRUE(sent(second, sample, false, no_lines));
  for (const int socket : open) close(socket);
  first.end();
  EXPECT_EQ(first.received.size(), 3u);
}

TEST(handover, half_messages_keep_nobody_out) {
  const support::temp_folder folder;
  instance first(folder / "line");
  const std::string half = platform::encode_handover(sample).substr(0, 20);
  std::vector<int> open;
  for (int i = 0; i < 60; ++i) {
    open.push_back(raw_connection(folder / "line"));
    ASSERT_GE(open.back(), 0);
    ::send(open.back(), half.data(), half.size(), MSG_NOSIGNAL);
  }
  handover second(folder / "line");
  EXPECT_TRUE(sent(second, sample, false, no_lines));
  char byte = 0;
  EXPECT_EQ(recv(open.back(), &byte, 1, MSG_DONTWAIT), -1) << "answered before the last of them ran out of time";
  EXPECT_EQ(errno, EAGAIN);
  for (const int socket : open) close(socket);
}

TEST(handover, a_socket_left_by_a_crash_is_no_obstacle) {
  const support::temp_folder folder;
  const std::string address = folder / "line";
  const pid_t crashed = fork();
  if (crashed == 0) {
    handover line(address);
    sent(line, sample, true, no_lines);
    _exit(0);  // nothing is cleaned up
  }
  waitpid(crashed, nullptr, 0);
  struct stat info {};
  ASSERT_EQ(stat((address + ".socket").c_str(), &info), 0) << "the dead socket is there";
  handover second(address);
  EXPECT_FALSE(sent(second, sample, false, no_lines));
  instance first(address);
  EXPECT_TRUE(first.serves_at_once);
  EXPECT_TRUE(sent(second, sample, false, no_lines));
}

TEST(handover, of_several_first_ones_one_stays) {
  constexpr int processes = 8;
  const support::temp_folder folder;
  std::vector<pid_t> children;
  int start[2];
  ASSERT_EQ(pipe(start), 0);
  for (int i = 0; i < processes; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      close(start[1]);
      char byte;
      [[maybe_unused]] const ssize_t count = read(start[0], &byte, 1);
      handover line(folder / "line");
      if (sent(line, {"/", {"kestrin", std::to_string(i)}}, true, no_lines)) _exit(100);
      int received = 0;
      // Starting takes a while; the others wait for it.
      usleep(100000);
      line.serve([] {});
      while (received < processes - 1) {
        line.poll([&](const handover_message&, std::string&) { return ++received > 0; });
        usleep(1000);
      }
      line.stop();
      _exit(received);
    }
    children.push_back(child);
  }
  close(start[0]);
  close(start[1]);
  int stayed = 0;
  for (const pid_t child : children) {
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 100) continue;
    ++stayed;
    EXPECT_EQ(WEXITSTATUS(status), processes - 1);
  }
  EXPECT_EQ(stayed, 1);
}

TEST(handover, who_waits_is_not_forgotten_when_the_first_ends) {
  const support::temp_folder folder;
  auto first = std::make_unique<handover>(folder / "line");
  ASSERT_FALSE(sent(*first, sample, true, no_lines)) << "it has the line now, and never comes to serve";
  std::future<bool> waiting = std::async(std::launch::async, [&] {
    handover second(folder / "line");
    return sent(second, sample, false, no_lines);
  });
  usleep(50000);
  first.reset();
  EXPECT_FALSE(waiting.get()) << "it goes on by itself";

  // One that was there beside the first takes over when that ends.
  instance owner(folder / "line");
  instance other(folder / "line");
  EXPECT_TRUE(owner.serves_at_once);
  EXPECT_FALSE(other.serves_at_once);
  owner.end();
  handover third(folder / "line");
  EXPECT_TRUE(support::wait_until([&] { return sent(third, sample, false, no_lines); }));
}

TEST(handover, the_last_answer_is_told) {
  const support::temp_folder folder;
  handover line(folder / "line");
  std::atomic<bool> woken = false;
  line.serve([&] { woken = true; });
  std::future<bool> sender = std::async(std::launch::async, [&] {
    handover second(folder / "line");
    return sent(second, sample, false, no_lines);
  });
  while (!woken) usleep(1000);
  line.poll([](const handover_message&, std::string&) { return true; });
  line.stop();
  EXPECT_TRUE(sender.get());
}

TEST(handover, other_users_get_no_answer) {
  if (geteuid() != 0) GTEST_SKIP() << "needs to become another user";
  const support::temp_folder folder;
  const std::string address = folder / "line";
  instance first(address);
  // Even where the files are open to all.
  chmod(folder.path().c_str(), 0777);
  chmod((address + ".socket").c_str(), 0777);
  const pid_t stranger = fork();
  if (stranger == 0) {
    if (setuid(65534) != 0) _exit(3);
    const int socket = raw_connection(address);
    if (socket < 0) _exit(2);
    const std::string bytes = platform::encode_handover(sample);
    ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    char answer;
    _exit(recv(socket, &answer, 1, 0) <= 0 ? 0 : 1);
  }
  int status = 0;
  waitpid(stranger, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  first.end();
  EXPECT_TRUE(first.received.empty());
}

TEST(handover, address) {
  const support::temp_folder folder;
  struct row {
    const char* display;
    const char* wayland;
    const char* name;
  };
  const row rows[] = {
      {":0", "", "kestrin-_0"},
      {":0.1", "", "kestrin-_0"},
      {":10", "wayland-0", "kestrin-_10"},
      {"host.domain:10.0", "", "kestrin-host.domain_10"},
      {"", "wayland-1", "kestrin-wayland-1"},
      {"../../x:1", "", "kestrin-.._.._x_1"},
      {"", "", ""},  // no display, no line
  };
  const support::variable in_runtime("XDG_RUNTIME_DIR", folder.path());
  for (const row& r : rows) {
    const support::variable display("DISPLAY", r.display), wayland("WAYLAND_DISPLAY", r.wayland);
    EXPECT_EQ(platform::handover_address(), *r.name ? folder / r.name : "") << r.display << r.wayland;
  }

  const support::variable display("DISPLAY", ":7"), temporary("TMPDIR", folder / "tmp");
  ASSERT_EQ(mkdir((folder / "tmp").c_str(), 0700), 0);
  const std::string own = folder / "tmp/kestrin-" + std::to_string(geteuid());
  for (const std::string& runtime : {std::string(), std::string("relative"), folder / "missing"}) {
    const support::variable other("XDG_RUNTIME_DIR", runtime);
    EXPECT_EQ(platform::handover_address(), own + "/kestrin-_7") << runtime;
  }
  struct stat info {};
  ASSERT_EQ(stat(own.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  // A folder that others may write to, or that is somewhere else, is not trusted.
  const support::variable none("XDG_RUNTIME_DIR", "");
  chmod(own.c_str(), 0777);
  EXPECT_EQ(platform::handover_address(), "");
  rmdir(own.c_str());
  ASSERT_EQ(symlink(folder.path().c_str(), own.c_str()), 0);
  EXPECT_EQ(platform::handover_address(), "");
}

}  // namespace
