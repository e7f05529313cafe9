// The server on a socket: what comes back, who is dropped, and that nobody waits for anybody else.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <semaphore>
#include <thread>

#include "services/http/server.h"
#include "support/http_client.h"
#include "support/http_requests.h"
#include "support/no_threads.h"
#include "support/pictures.h"
#include "support/temp_folder.h"
#include "support/wait.h"

namespace {

using namespace services::http;
using support::http_client;
using support::http_get;

class http_server : public testing::Test {
 protected:
  support::temp_folder folder;
  patience limits;
  std::unique_ptr<server> running;
  std::atomic<int> wakes = 0;
  int draws = 0;

  void SetUp() override { support::write_file(folder / "index.html", "first page"); }
  void start(const std::string& people = {}, int port = 0) {
    if (!running) running = std::make_unique<server>(limits);
    running->set_wake([this] { ++wakes; });
    std::string error;
    int number = 0;
    ASSERT_TRUE(running->start("localhost", port, {folder.path(), users::parse(people)}, error, number)) << error;
  }
  int port() const { return running->port(); }
  server::draw_function draw() {
    return [this](int width, int height) {
      ++draws;
      return std::make_shared<const img::image>(support::picture("BGRA", width, height, {10, 100, 200, 255}));
    };
  }
  // A picture as a browser gets it while the main thread polls.
  std::string get_picture(std::string_view path) {
    std::string answer;
    std::atomic<bool> done = false;
    std::thread browser([&] {
      answer = http_get(port(), path);
      done = true;
    });
    support::wait_until([&] {
      running->poll(draw());
      return done.load();
    });
    browser.join();
    return answer;
  }
};

const std::string first_page = header(ok, 10, "text/html", 0) + "first page";

std::string error_text(status what, int refresh = 0) {
  const answer out = error_answer(what, refresh);
  return out.head + *out.text;
}

TEST_F(http_server, answers_to_the_byte_in_pieces_of_any_size) {
  start("ann:secret\n");
  const std::string key = "Authorization: Basic YW5uOnNlY3JldA==\r\n";
  struct row {
    std::string bytes;
    std::string answer;
  };
  const row rows[] = {{"GET / HTTP/1.0\r\n" + key + "\r\n", first_page},
                      {"GET /index.html?refresh=3 HTTP/1.1\r\nHost: a\r\n" + key + "\r\n",
                       header(ok, 10, "text/html", 3) + "first page"},
                      {"GET / HTTP/1.0\r\n\r\n", error_text(not_authorized)},
                      {"GET / HTTP/1.0\r\nAuthorization: Basic YW5uOnNlY3JlAA==\r\n\r\n", error_text(not_authorized)},
                      {"HEAD / HTTP/1.0\r\n" + key + "\r\n", error_text(bad_request)},
                      {"GET index.html HTTP/1.0\r\n" + key + "\r\n", error_text(bad_path)},
                      {"GET /%2ehtpasswd HTTP/1.0\r\n" + key + "\r\n", error_text(not_found)},
                      {"GET /2049,1?refresh=2 HTTP/1.0\r\n" + key + "\r\n", error_text(bad_size, 2)},
                      {"GET /" + std::string(70000, 'x'), error_text(bad_request)}};
  for (const row& r : rows) {
    for (const std::size_t piece : {r.bytes.size(), std::size_t{1}, std::size_t{2}, std::size_t{3}}) {
      if (r.bytes.size() > 1000 && piece < 1000) continue;
      const http_client client(port());
      for (std::string_view rest = r.bytes; !rest.empty(); rest.remove_prefix(std::min(piece, rest.size()))) {
        client.send(rest.substr(0, piece));
      }
      EXPECT_EQ(client.receive(), r.answer) << r.bytes.substr(0, 80) << ", pieces of " << piece;
    }
  }
}

TEST_F(http_server, a_size_is_drawn_once_for_all_who_want_it) {
  start();
  std::vector<http_client> clients;
  for (const char* path : {"/64,36", "/32,18?refresh=2", "/64,36?refresh=5", "/64,36"}) {
    clients.emplace_back(port());
    clients.back().send("GET " + std::string(path) + " HTTP/1.0\r\n\r\n");
  }
  ASSERT_TRUE(support::wait_until([&] { return wakes == 4; }));
  EXPECT_TRUE(running->poll(draw()));
  EXPECT_EQ(draws, 2);
  EXPECT_FALSE(running->poll(draw()));
  std::vector<std::string> answers;
  for (const http_client& client : clients) answers.push_back(client.receive());
  const std::string picture = support::http_body(answers[0]);
  ASSERT_GT(picture.size(), 100u);
  EXPECT_EQ(picture.substr(0, 3), "\xFF\xD8\xFF");
  EXPECT_EQ(answers[0], header(ok, static_cast<long long>(picture.size()), "image/jpeg", 0) + picture);
  EXPECT_EQ(answers[2], header(ok, static_cast<long long>(picture.size()), "image/jpeg", 5) + picture);
  EXPECT_EQ(answers[3], answers[0]);
  EXPECT_NE(support::http_body(answers[1]), picture);

  // Without a picture, and without an end of the wait.
  for (const int way : {0, 1, 2}) {
    const http_client client(port());
    const int before = wakes;
    client.send("GET /8,8?refresh=1 HTTP/1.0\r\n\r\n");
    ASSERT_TRUE(support::wait_until([&] { return wakes > before; }));
    if (way == 0) running->poll([](int, int) { return nullptr; });
    if (way == 1) running->poll([](int, int) -> img::const_image_ptr { throw std::bad_alloc(); });
    if (way == 2) running->end();
    EXPECT_EQ(client.receive(), error_text(no_image, 1)) << way;
  }
  EXPECT_FALSE(http_client(port()).connected());
}

TEST_F(http_server, who_is_slow_is_dropped_and_nobody_waits_for_it) {
  support::write_file(folder / "large.txt", std::string(64 << 20, 'x'));
  // More than there are places for, silent or without reading: who comes last is answered all the same.
  limits = {.request = 600000, .progress = 600000, .farewell = 100, .crowded = 50, .connections = 8};
  start();
  std::vector<http_client> crowd;
  for (int i = 0; i < 40; ++i) {
    crowd.emplace_back(port());
    if (i % 4 == 0) crowd.back().send("GET /large.txt HTTP/1.0\r\n\r\n");
  }
  EXPECT_EQ(http_get(port(), "/"), first_page);
  EXPECT_EQ(get_picture("/16,16").substr(0, 15), "HTTP/1.0 200 OK");
  crowd.clear();
  running.reset();

  limits = {.request = 150, .progress = 200, .farewell = 100};
  start();
  const http_client silent(port());
  const http_client half(port());
  half.send("GET / HT");
  const http_client deaf(port());
  deaf.send("GET /large.txt HTTP/1.0\r\n\r\n");
  EXPECT_EQ(silent.receive(), "");
  EXPECT_EQ(half.receive(), "");
  // Nothing was read for longer than the server waits, so the end is missing.
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  EXPECT_LT(deaf.receive().size(), 64u << 20);
  // Who reads gets all of it, however slowly on a busy machine.
  running.reset();
  limits = {};
  start();
  EXPECT_EQ(support::http_body(http_get(port(), "/large.txt")).size(), 64u << 20);
}

TEST_F(http_server, a_request_that_came_in_time_is_heard_by_a_late_server) {
  limits.request = 150;
  start();
  std::string answer;
  ASSERT_TRUE(support::wait_until([&] {
    std::binary_semaphore called(0);
    std::binary_semaphore goes_on(0);
    running->set_wake([&] {
      called.release();
      goes_on.acquire();
    });
    const http_client early(port());
    const http_client other(port());
    other.send("GET /8,8 HTTP/1.0\r\n\r\n");
    called.acquire();
    const bool dropped = early.heard(0);  // by a busy machine, before the server was held up
    early.send("GET / HTTP/1.0\r\n\r\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(limits.request + 50));
    goes_on.release();
    running->set_wake(nullptr);
    if (!dropped) answer = early.receive();
    return !dropped;
  }));
  EXPECT_EQ(answer, first_page);
}

TEST_F(http_server, a_peer_that_takes_all_at_once_holds_up_nobody) {
  std::ofstream(folder / "endless.txt");
  std::filesystem::resize_file(folder / "endless.txt", std::uintmax_t{1} << 40);
  limits.farewell = 50;
  start();
  const http_client greedy(port());
  greedy.send("GET /endless.txt HTTP/1.0\r\n\r\n");
  std::atomic<long long> taken = 0;
  std::thread reader([&] {
    // Thrown away unread, which is faster than any file.
    std::vector<char> block(1 << 20);
    for (ssize_t count = 0; (count = recv(greedy.socket_number(), block.data(), block.size(), MSG_TRUNC)) > 0;) {
      taken += count;
    }
  });
  ASSERT_TRUE(support::wait_until([&] { return taken > 64 << 20; }));
  EXPECT_EQ(http_get(port(), "/"), first_page);
  running->stop();
  running->end();
  reader.join();
  EXPECT_LT(taken, 1LL << 40);
}

TEST_F(http_server, without_a_thread_it_says_so_and_starts_later) {
  running = std::make_unique<server>();
  std::string error;
  int number = 0;
  {
    const support::no_threads none;
    EXPECT_FALSE(running->start("localhost", 0, {folder.path(), {}}, error, number));
  }
  EXPECT_EQ(number, EAGAIN);
  EXPECT_EQ(error, "Resource temporarily unavailable");
  EXPECT_FALSE(running->listening());
  running->stop();
  start();
  EXPECT_EQ(http_get(port(), "/"), first_page);
}

TEST_F(http_server, pictures_among_hostile_and_slow_clients) {
  start();
  std::vector<http_client> slow;
  for (int i = 0; i < 200; ++i) {
    slow.emplace_back(port());
    if (i % 3 == 1) slow.back().send("GET /640,360 HTT");
  }
  std::atomic<bool> done = false;
  std::thread attacker([&] {
    std::mt19937 random(7);
    const std::vector<support::http_row> rows = support::http_rows();
    for (int i = 0; i < 10000; ++i) {
      std::string bytes = rows[random() % rows.size()].bytes;
      for (int flips = static_cast<int>(random() % 4); flips > 0 && !bytes.empty(); --flips) {
        bytes[random() % bytes.size()] = static_cast<char>(random());
      }
      const http_client client(port());
      client.send(bytes);
      if (i % 50 == 0) client.heard(5);
    }
    done = true;
  });
  int pictures = 0;
  while (!done || pictures < 20) {
    const std::string answer = get_picture("/32,32");
    ASSERT_EQ(answer.substr(0, 15), "HTTP/1.0 200 OK") << pictures;
    ++pictures;
  }
  attacker.join();
}

TEST_F(http_server, starts_and_stops_a_hundred_times) {
  start();
  const int first = port();
  for (int i = 0; i < 100; ++i) {
    const http_client waiting(port());
    const int before = wakes;
    waiting.send("GET /8,8 HTTP/1.0\r\nAuthorization: Basic YTpi\r\n\r\n");
    ASSERT_TRUE(support::wait_until([&] { return wakes > before; }));
    running->stop();
    EXPECT_FALSE(running->listening());
    EXPECT_FALSE(http_client(first).connected());
    // Who was let in gets its answer.
    running->poll(draw());
    ASSERT_EQ(waiting.receive().substr(0, 15), "HTTP/1.0 200 OK") << i;
    start(i % 2 == 0 ? "a:b\n" : "", first);
    ASSERT_EQ(http_get(first, "/"), i % 2 == 0 ? error_text(not_authorized) : first_page);
    if (i % 10 == 0) running->end();
    if (i % 10 == 0) start({}, first);
  }
  // A port that is taken is told, and the old one is given up.
  server other;
  std::string error;
  int number = 0;
  EXPECT_FALSE(other.start("localhost", first, {}, error, number));
  EXPECT_EQ(number, EADDRINUSE);
  EXPECT_EQ(error, "Address already in use");
  EXPECT_FALSE(other.start("no.such.host", 0, {}, error, number));
  EXPECT_EQ(number, 0);
  EXPECT_FALSE(other.listening());
}

}  // namespace
