#include "services/news/news.h"

#include "platform/module.h"

namespace services {

news::~news() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
}

void news::fetch(const std::string& address) {
  if (address.empty() || thread_.joinable()) return;
  thread_ = std::thread([this, address] {
    std::string error;
    const auto fetch =
        reinterpret_cast<fetch_news_function>(platform::module_function("news", "kestrin_fetch_news", error));
    news_item item;
    if (!fetch || !fetch(address, user_agent_, stop_, item)) return;
    const std::lock_guard guard(lock_);
    item_ = std::move(item);
  });
}

news_item news::latest() const {
  const std::lock_guard guard(lock_);
  return item_;
}

}  // namespace services
