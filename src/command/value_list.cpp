#include "command/value_list.h"

namespace command {

namespace {

// Length of the braced element at the start of `text`, braces included, or 0 when it never closes.
std::size_t braced_length(std::string_view text) {
  int level = 1;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '{' && text[i - 1] == ',') ++level;
    if (text[i] == '}' && (i + 1 == text.size() || text[i + 1] == ',') && --level == 0) return i + 1;
  }
  return 0;
}

}  // namespace

bool take_value(std::string_view& text, bool& more, std::string_view& element) {
  if (!more) return false;
  std::size_t length = 0;
  if (!text.empty() && text[0] == '{' && (length = braced_length(text)) > 0) {
    element = text.substr(1, length - 2);
  } else {
    const bool unclosed = !text.empty() && text[0] == '{';
    length = unclosed ? text.size() : std::min(text.find(','), text.size());
    element = text.substr(0, length);
  }
  more = length < text.size();
  text.remove_prefix(more ? length + 1 : length);
  return true;
}

std::size_t count_values(std::string_view text) {
  std::size_t count = 0;
  std::string_view element;
  for (bool more = !text.empty(); take_value(text, more, element);) ++count;
  return count;
}

void append_value(std::string& list, bool first, std::string_view element) {
  if (!first) list += ',';
  const bool braces = element.find(',') != element.npos || (!element.empty() && element[0] == '{');
  if (braces) list += '{';
  list += element;
  if (braces) list += '}';
}

}  // namespace command
