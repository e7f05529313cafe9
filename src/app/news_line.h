// The news on the first screen of the window.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "command/engine.h"
#include "services/news/news.h"

namespace app {

// The feed's address is `news_address` of the message catalogue, or without such a text the build's; "none" is none.
// Without an address there is no thread and no network.
class news_line {
 public:
  news_line(std::string user_agent, std::function<std::string(std::string_view key)> text)
      : news_(std::move(user_agent)), text_(std::move(text)) {}

  // The text to show. The first call with a window starts the fetch. Main thread.
  std::string shown(bool has_window);
  void register_actions(command::engine& engine);

 private:
  services::news news_;
  std::function<std::string(std::string_view key)> text_;
};

}  // namespace app
