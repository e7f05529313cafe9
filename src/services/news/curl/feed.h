// What a feed says.
#pragma once

#include <string_view>

#include "services/news/news.h"

namespace services {

// Takes the first `entry` of the first element: its title, after its date in the form of the user's locale, and its
// link. False without an entry or a title.
bool parse_news(std::string_view feed, news_item& item);

}  // namespace services
