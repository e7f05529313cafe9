// The module `news`: the feed comes by libcurl.
#include <curl/curl.h>

#include <memory>

#include "services/news/curl/feed.h"

namespace {

constexpr std::size_t longest_feed = std::size_t{1} << 20;  // bytes
constexpr long block = 8192;                                // bytes of a read
constexpr long connect_seconds = 20;
constexpr long all_seconds = 60;
constexpr int stop_milliseconds = 50;  // until a fetch notices that it is to end

std::size_t keep(char* bytes, std::size_t, std::size_t count, void* into) {
  auto& feed = *static_cast<std::string*>(into);
  if (feed.size() + count > longest_feed) return 0;
  feed.append(bytes, count);
  return count;
}

// The whole answer; false for a status outside of 200 to 299 and for one that was cut.
bool receive(const std::string& address, const std::string& user_agent, const std::atomic<bool>& stop,
             std::string& feed) {
  static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
  const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> all(curl_multi_init(), curl_multi_cleanup);
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> one(curl_easy_init(), curl_easy_cleanup);
  if (ready != CURLE_OK || !all || !one) return false;
  CURL* const handle = one.get();
  curl_easy_setopt(handle, CURLOPT_URL, address.c_str());
  curl_easy_setopt(handle, CURLOPT_USERAGENT, user_agent.c_str());
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(handle, CURLOPT_MAXREDIRS, 5L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, connect_seconds);
  curl_easy_setopt(handle, CURLOPT_TIMEOUT, all_seconds);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);  // does not wait for a name that is still looked up
  curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, block);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, keep);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &feed);
  curl_multi_add_handle(all.get(), handle);
  int running = 1;
  bool failed = false;
  while (running > 0 && !failed && !stop) {
    failed = curl_multi_perform(all.get(), &running) != CURLM_OK ||
             (running > 0 && curl_multi_poll(all.get(), nullptr, 0, stop_milliseconds, nullptr) != CURLM_OK);
  }
  CURLcode result = CURLE_FAILED_INIT;
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(all.get(), &left)) {
    if (message->msg == CURLMSG_DONE) result = message->data.result;
  }
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  curl_multi_remove_handle(all.get(), handle);
  return !failed && result == CURLE_OK && status >= 200 && status <= 299;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) bool kestrin_fetch_news(const std::string& address,
                                                                          const std::string& user_agent,
                                                                          const std::atomic<bool>& stop,
                                                                          services::news_item& item) {
  try {
    std::string feed;
    return receive(address, user_agent, stop, feed) && services::parse_news(feed, item);
  } catch (const std::exception&) {
    return false;
  }
}

extern "C" __attribute__((visibility("default"))) bool kestrin_parse_news(std::string_view feed,
                                                                          services::news_item& item) {
  return services::parse_news(feed, item);
}
