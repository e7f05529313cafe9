// The latest news of the program, from a feed in the Atom format (RFC 4287).
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace services {

struct news_item {
  std::string title;  // one line, with the date in front where the feed has one
  std::string link;   // http or https; empty for none
  bool operator==(const news_item&) const = default;
};

// Fetches the feed once. Whatever fails leaves the item empty without a word.
class news {
 public:
  // `user_agent` tells the server what the program is.
  explicit news(std::string user_agent) : user_agent_(std::move(user_agent)) {}
  // Gives up a fetch that is still under way; takes a twentieth of a second at most.
  ~news();
  news(const news&) = delete;
  news& operator=(const news&) = delete;

  // Starts the thread with the first address that is not empty; does nothing after that. Main thread.
  void fetch(const std::string& address);
  // Any thread.
  news_item latest() const;

 private:
  std::string user_agent_;
  std::thread thread_;
  std::atomic<bool> stop_ = false;
  mutable std::mutex lock_;
  news_item item_;  // lock_
};

// The functions "kestrin_fetch_news" and "kestrin_parse_news" of the module `news`. Both return false, with `item`
// untouched, where there is no news to have. The first blocks; a `stop` that becomes true ends it.
using fetch_news_function = bool (*)(const std::string& address, const std::string& user_agent,
                                     const std::atomic<bool>& stop, news_item& item);
using parse_news_function = bool (*)(std::string_view feed, news_item& item);

}  // namespace services
