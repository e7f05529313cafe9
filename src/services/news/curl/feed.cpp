#include "services/news/curl/feed.h"

#include <locale.h>
#include <tinyxml2.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

namespace services {
namespace {

constexpr std::size_t longest_title = 300;  // bytes; no window shows more
constexpr std::size_t longest_link = 2000;

// The first text inside of an element; null for none.
const char* text_of(const tinyxml2::XMLElement* element) {
  if (!element) return nullptr;
  for (const tinyxml2::XMLNode* child = element->FirstChild(); child; child = child->NextSibling()) {
    if (const tinyxml2::XMLText* text = child->ToText()) return text->Value();
  }
  return nullptr;
}

int number_at(const std::string& date, std::size_t first, std::size_t count) {
  return first < date.size() ? std::atoi(date.substr(first, count).c_str()) : 0;
}

// "2009-06-15T10:00:00Z" as a date of the user's locale; empty for what is none.
std::string local_date(const std::string& updated) {
  std::tm date{};
  const int year = number_at(updated, 0, 4);
  const int month = number_at(updated, 5, 2);
  const int day = number_at(updated, 8, 2);
  if (year <= 0 || month <= 0 || month > 12 || day <= 0 || day > 31) return {};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  // The locale of the process is that of the toolkit, and only while there is one.
  const std::unique_ptr<std::remove_pointer_t<locale_t>, decltype(&freelocale)> user(
      newlocale(LC_TIME_MASK, "", nullptr), freelocale);
  char text[32];
  const std::size_t length =
      user ? strftime_l(text, sizeof text, "%x", &date, user.get()) : std::strftime(text, sizeof text, "%x", &date);
  return {text, length};
}

// At most so many bytes of UTF-8 in one line.
std::string one_line(std::string text, std::size_t most) {
  if (text.size() > most) {
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) --most;
    text.resize(most);
  }
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == 127) c = ' ';
  }
  return text;
}

// Of the schemes that a browser is asked for; anything else could start any program of the desktop.
bool is_web_address(const std::string& link) {
  return (link.starts_with("https://") || link.starts_with("http://")) && link.size() <= longest_link &&
         link == one_line(link, longest_link);
}

}  // namespace

bool parse_news(std::string_view feed, news_item& item) {
  // The parser expands no entities of a document's own and limits the depth of elements, so that its memory and its
  // stack are bounded by the length of the text.
  tinyxml2::XMLDocument document;
  if (document.Parse(feed.data(), feed.size()) != tinyxml2::XML_SUCCESS) return false;
  const tinyxml2::XMLElement* root = document.RootElement();
  const tinyxml2::XMLElement* entry = root ? root->FirstChildElement("entry") : nullptr;
  if (!entry) return false;
  const char* title = text_of(entry->FirstChildElement("title"));
  if (!title) return false;
  const char* updated = text_of(entry->FirstChildElement("updated"));
  const std::string date = updated ? local_date(updated) : std::string();
  item.title = one_line(date.empty() ? title : date + ": " + title, longest_title);
  item.link.clear();
  const tinyxml2::XMLElement* link = entry->FirstChildElement("link");
  const char* address = link ? link->Attribute("href") : nullptr;
  if (address && is_web_address(address)) item.link = address;
  return true;
}

}  // namespace services
