#include "lib/paths.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace lib {
namespace {

bool is_separator(char c) {
  return c == '/' || c == '\\';
}

bool is_letter(char c) {
  return lower_char(c) >= 'a' && lower_char(c) <= 'z';
}

std::string working_folder() {
  std::string buffer(256, '\0');
  while (!getcwd(buffer.data(), buffer.size())) {
    if (errno != ERANGE) return {};
    buffer.resize(buffer.size() * 2);
  }
  buffer.resize(buffer.find('\0'));
  return buffer;
}

}  // namespace

std::string add_separator(std::string path, char separator) {
  if (!path.empty() && !is_separator(path.back())) path += separator;
  return path;
}

std::string remove_separator(std::string path) {
  if (!path.empty() && is_separator(path.back())) path.pop_back();
  return path;
}

std::string to_backslashes(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

std::string full_path(const std::string& path) {
  if (path.empty()) return path;
  std::string whole = path;
  const char* home = std::getenv("HOME");
  if (path.front() == '~' && (path.size() == 1 || path[1] == '/') && home && home[0] == '/') {
    whole.replace(0, 1, home);
  } else if (path.front() != '/') {
    const std::string folder = working_folder();
    if (folder.empty() || folder.front() != '/') return path;
    whole = folder + '/' + path;
  }
  std::string result;
  for (std::size_t from = 0; from < whole.size();) {
    const std::size_t end = std::min(whole.find('/', from), whole.size());
    const std::string_view part(whole.data() + from, end - from);
    if (part == "..") {
      result.erase(std::min(result.rfind('/'), result.size()));
    } else if (!part.empty() && part != ".") {
      result += '/';
      result += part;
    }
    from = end + 1;
  }
  if (result.empty() || whole.back() == '/') result += '/';
  return result;
}

folder_and_name split_path(std::string_view path) {
  const std::size_t at = path.find_last_of("/\\");
  std::size_t length = at == path.npos ? 0 : at + 1;
  if (at == path.npos && path.size() >= 2 && is_letter(path[0]) && path[1] == ':') length = 2;
  return {std::string(path.substr(0, length)), std::string(path.substr(length))};
}

std::string file_name(std::string_view path) {
  return std::string(path.substr(path.rfind('/') + 1));
}

std::string folder_of(std::string_view path) {
  return std::string(path.substr(0, path.rfind('/') + 1));
}

stem_and_extension split_extension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == name.npos || dot == 0 || name == "..") return {std::string(name), {}};
  return {std::string(name.substr(0, dot)), std::string(name.substr(dot))};
}

std::string lower_extension(std::string_view path) {
  const std::string_view name = path.substr(path.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  if (dot == name.npos || dot == 0) return {};
  return to_lower(name.substr(dot + 1));
}

char lower_char(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::string to_lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = lower_char(c);
  return result;
}

bool match_wildcard(std::string_view pattern, std::string_view text) {
  // Only the last `*` is ever tried again, longer by one character: an earlier one could match nothing that this one
  // can't, and so the time stays below pattern times text.
  std::size_t p = 0, t = 0, star = pattern.npos, resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || lower_char(pattern[p]) == lower_char(text[t]))) {
      ++p;
      ++t;
    } else if (star != pattern.npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == pattern.npos;
}

}  // namespace lib
