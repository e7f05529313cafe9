// The feed of news against a server on this computer that answers whatever the test wants.
#include <gtest/gtest.h>

#include <chrono>

#include "platform/module.h"
#include "platform/tcp.h"
#include "services/news/news.h"
#include "support/variable.h"
#include "support/wait.h"

namespace {

using services::news;
using services::news_item;

// Answers each connection with the same bytes once a whole request has come, and closes it.
class feed_server {
 public:
  explicit feed_server(std::string answer) : answer_(std::move(answer)) {
    std::string error;
    int number = 0;
    listener_ = platform::listen_tcp("localhost", 0, error, number);
    EXPECT_TRUE(listener_) << error;
    thread_ = std::thread([this] { run(); });
  }
  ~feed_server() {
    stop_ = true;
    wait_.wake();
    thread_.join();
  }
  std::string address() const { return "http://127.0.0.1:" + std::to_string(port_of(listener_)) + "/feed"; }
  int requests() const { return requests_; }
  std::string request() {
    const std::lock_guard guard(lock_);
    return request_;
  }

 private:
  std::string answer_;
  platform::tcp_socket listener_;
  platform::tcp_wait wait_;
  std::atomic<bool> stop_ = false;
  std::atomic<int> requests_ = 0;
  std::mutex lock_;
  std::string request_;  // lock_
  std::thread thread_;

  void wait_for(const platform::tcp_socket& socket, bool to_read, bool to_write) {
    wait_.clear();
    wait_.add(socket, to_read, to_write);
    wait_.wait(-1);
  }
  void run() {
    while (!stop_) {
      wait_for(listener_, true, false);
      bool crowded = false;
      if (platform::tcp_socket client = platform::accept_tcp(listener_, crowded); client && !stop_) serve(client);
    }
  }
  void serve(platform::tcp_socket& client) {
    using result = platform::tcp_socket::result;
    std::string request;
    char block[1024];
    std::size_t moved = 0;
    while (!stop_ && request.find("\r\n\r\n") == request.npos) {
      const result got = client.receive(block, sizeof block, moved);
      if (got == result::ended) return;
      if (got == result::moved) request.append(block, moved);
      if (got == result::not_now) wait_for(client, true, false);
    }
    {
      const std::lock_guard guard(lock_);
      request_ = request;
    }
    ++requests_;
    for (std::size_t sent = 0; !stop_ && sent < answer_.size();) {
      const result got = client.send(answer_.data() + sent, answer_.size() - sent, moved);
      if (got == result::ended) return;
      if (got == result::moved) sent += moved;
      if (got == result::not_now) wait_for(client, false, true);
    }
    // One that says nothing keeps its client.
    if (answer_.empty()) wait_for(client, false, false);
  }
};

std::string answered(const std::string& status, const std::string& body, int more = 0) {
  return "HTTP/1.0 " + status + "\r\nContent-Length: " + std::to_string(static_cast<int>(body.size()) + more) +
         "\r\nConnection: close\r\n\r\n" + body;
}

std::string entry(const std::string& content) {
  return "<?xml version=\"1.0\"?><!-- a --><feed><title>all</title><entry>" + content +
         "</entry><entry><title>old</title></entry></feed>";
}

class news_feed : public testing::Test {
 protected:
  support::variable locale{"LC_ALL", "C"};
  void SetUp() override {
    std::string error;
    if (!platform::module_function("news", "kestrin_fetch_news", error)) GTEST_SKIP() << error;
  }
};

TEST_F(news_feed, what_a_server_answers) {
  const std::string good = entry("<title>One</title><link href=\"http://a.invalid/1\"/>");
  std::string bomb = "<!DOCTYPE f [<!ENTITY a \"aaaaaaaaaa\">";
  for (char c = 'b'; c < 'm'; ++c) {
    bomb += std::string("<!ENTITY ") + c + " \"";
    for (int i = 0; i < 10; ++i) bomb += std::string("&") + static_cast<char>(c - 1) + ";";
    bomb += "\">";
  }
  std::string deep = "<feed>";
  for (int i = 0; i < 100000; ++i) deep += "<a>";
  struct row {
    const char* what;
    std::string answer;
    news_item item;
  };
  const row rows[] = {
      {"a feed", answered("200 OK", good), {"One", "http://a.invalid/1"}},
      {"another good status", answered("203 Other", good), {"One", "http://a.invalid/1"}},
      {"not changed", answered("304 Not Modified", ""), {}},
      {"not found", answered("404 Not Found", good), {}},
      {"broken server", answered("500 Oops", good), {}},
      {"cut", answered("200 OK", good, 10), {}},
      {"cut inside of the document", answered("200 OK", good.substr(0, good.size() - 20)), {}},
      {"no HTTP", "hello\r\n\r\n", {}},
      {"a date",
       answered("200 OK", entry("<title>One</title><updated>2009-06-15T10:00:00Z</updated>")),
       {"06/15/09: One", ""}},
      {"no date", answered("200 OK", entry("<updated>soon</updated><title>One</title>")), {"One", ""}},
      {"a thirteenth month", answered("200 OK", entry("<updated>2009-13-01</updated><title>One</title>")), {"One", ""}},
      {"no entry", answered("200 OK", "<feed><title>all</title></feed>"), {}},
      {"no title", answered("200 OK", entry("<link href=\"http://a.invalid\"/>")), {}},
      {"an empty title", answered("200 OK", entry("<title/>")), {}},
      {"text after an element", answered("200 OK", entry("<title><b>x</b>One\ntwo</title>")), {"One two", ""}},
      {"a link that is none",
       answered("200 OK", entry("<title>One</title><link href=\"file:///bin/sh\"/>")),
       {"One", ""}},
      {"entities in entities",
       answered("200 OK", bomb + "]><feed><entry><title>&l;</title></entry></feed>"),
       {"&l;", ""}},
      {"depth", answered("200 OK", deep), {}},
      {"more than any feed", answered("200 OK", "<feed>" + std::string(2 << 20, ' ') + "</feed>"), {}},
      {"somewhere else", "HTTP/1.0 302 Found\r\nLocation: file:///etc/hostname\r\n\r\n", {}},
  };
  std::string error;
  const auto fetch =
      reinterpret_cast<services::fetch_news_function>(platform::module_function("news", "kestrin_fetch_news", error));
  for (const row& r : rows) {
    const feed_server server(r.answer);
    news_item item;
    const std::atomic<bool> stop = false;
    EXPECT_EQ(fetch(server.address(), "Name 1.2", stop, item), r.item != news_item{}) << r.what;
    EXPECT_EQ(item.title, r.item.title) << r.what;
    EXPECT_EQ(item.link, r.item.link) << r.what;
  }
}

TEST_F(news_feed, is_fetched_once_and_without_an_address_never) {
  feed_server server(answered("200 OK", entry("<title>One</title>")));
  news feed("Name 1.2");
  feed.fetch("");
  feed.fetch(server.address());
  feed.fetch(server.address());
  ASSERT_TRUE(support::wait_until([&] { return !feed.latest().title.empty(); }));
  feed.fetch(server.address());
  EXPECT_EQ(feed.latest(), (news_item{"One", ""}));
  EXPECT_EQ(server.requests(), 1);
  EXPECT_NE(server.request().find("User-Agent: Name 1.2\r\n"), std::string::npos) << server.request();
  EXPECT_EQ(server.request().find("Cookie"), std::string::npos);
}

TEST_F(news_feed, a_silent_server_keeps_nobody) {
  feed_server server("");
  {
    news feed("Name 1.2");
    feed.fetch(server.address());
    ASSERT_TRUE(support::wait_until([&] { return server.requests() == 1; }));
  }
  EXPECT_EQ(server.requests(), 1);
}

}  // namespace
