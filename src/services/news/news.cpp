#include "services/news/news.h"

#include <system_error>

#include "platform/module.h"

namespace services {

news::~news() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
}

void news::fetch(const std::string& address) {
  if (address.empty() || thread_.joinable()) return;
  const auto work = [this, address] {
    std::string error;
    const auto fetch =
        reinterpret_cast<fetch_news_function>(platform::module_function("news", "kestrin_fetch_news", error));
    news_item item;
    if (!fetch || !fetch(address, user_agent_, stop_, item)) return;
    const std::lock_guard guard(lock_);
    item_ = std::move(item);
  };
  try {
    thread_ = std::thread(work);
  } catch (const std::system_error&) {
    // Without a thread there is no news.
  }
}

news_item news::latest() const {
  const std::lock_guard guard(lock_);
  return item_;
}

}  // namespace services
