#include "app/news_line.h"

#include "command/messages.h"
#include "platform/shell.h"

namespace app {

std::string news_line::shown(bool has_window) {
  if (has_window) {
    constexpr std::string_view key = "news_address";
    const std::string own = text_(key);
    const std::string address = own.empty() || own == key ? KESTRIN_NEWS_ADDRESS : own;
    if (address != "none") news_.fetch(address);
  }
  return news_.latest().title;
}

void news_line::register_actions(command::engine& engine) {
  engine.add({.group = command::action_group::desktop,
              .name = "open_news",
              .help = "open the latest news of the program in the browser",
              .execute =
                  [this, &engine] {
                    const std::string link = news_.latest().link;
                    std::string error;
                    if (!platform::open_address(link, error)) engine.report(command::about(link, error));
                  },
              .enabled = [this] { return !news_.latest().link.empty(); }});
}

}  // namespace app
