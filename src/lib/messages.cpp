#include "lib/messages.h"

#include <algorithm>

#include "lib/paths.h"
#include "lib/text_file.h"

namespace lib {

void catalogue::load_text(std::string_view lines) {
  while (!lines.empty()) {
    std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || lower_char(line[0]) < 'a' || lower_char(line[0]) > 'z') continue;
    const std::size_t equals = line.find('=');
    if (equals != line.npos) texts_.insert_or_assign(std::string(line.substr(0, equals)), line.substr(equals + 1));
  }
}

bool catalogue::load_file(const std::string& path) {
  std::string lines;
  if (!read_text_file(path, lines)) return false;
  load_text(lines);
  return true;
}

std::string catalogue::text(std::string_view key) const {
  const auto found = texts_.find(key);
  return found == texts_.end() ? std::string(key) : found->second;
}

}  // namespace lib
