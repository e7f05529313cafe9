#include "services/http/users.h"

#include <algorithm>

#include "services/http/md5.h"

namespace services::http {
namespace {

// In the time of the longer text.
bool same(std::string_view a, std::string_view b) {
  unsigned difference = a.size() != b.size();
  for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    const int left = i < a.size() ? a[i] : 0;
    const int right = i < b.size() ? b[i] : 0;
    difference |= static_cast<unsigned>(left ^ right);
  }
  return difference == 0;
}

}  // namespace

users users::parse(std::string_view text) {
  users result;
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    const std::size_t colon = line.find(':');
    if (line.empty() || line[0] == '#' || line[0] == ';' || colon == line.npos) continue;
    result.passwords_[std::string(line.substr(0, colon))] = line.substr(colon + 1);
  }
  return result;
}

bool users::admit(const std::string& name, std::string_view password) const {
  if (empty()) return true;
  const auto found = passwords_.find(name);
  const std::string& stored = found == passwords_.end() ? name : found->second;
  const bool right = stored.starts_with(':')
                         ? same(std::string_view(stored).substr(1), md5_text(name + "::" + std::string(password)))
                         : same(stored, password);
  return right && found != passwords_.end();
}

}  // namespace services::http
