// A feed from the network: whatever it says, the line stays one bounded line and the link one for a browser.
#include "services/news/news.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/module.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto parse = [] {
    std::string error;
    void* function = platform::module_function("news", "kestrin_parse_news", error);
    if (!function) {
      std::fprintf(stderr, "%s\n", error.c_str());
      std::abort();
    }
    return reinterpret_cast<services::parse_news_function>(function);
  }();
  services::news_item item;
  if (!parse({reinterpret_cast<const char*>(data), size}, item)) {
    if (item != services::news_item{}) std::abort();
    return 0;
  }
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; };
  if (item.title.size() > 300 || std::any_of(item.title.begin(), item.title.end(), is_control)) std::abort();
  if (std::any_of(item.link.begin(), item.link.end(), is_control)) std::abort();
  if (!item.link.empty() && !item.link.starts_with("http://") && !item.link.starts_with("https://")) std::abort();
  return 0;
}
