#include <algorithm>
#include <charconv>

#include "composition/opening/sequence_pattern.h"
#include "lib/paths.h"
#include "save/save.h"
#include "sources/movie_codec.h"

namespace save {
namespace {

std::string with_digits(int number, std::size_t digits) {
  std::string text = std::to_string(number);
  if (text.size() < digits) text.insert(0, digits - text.size(), '0');
  return text;
}

bool read_number(std::string_view text, int low, int high, int& number) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < low || value > high) return false;
  number = value;
  return true;
}

bool read_flag(std::string_view text, bool& flag) {
  int number = 0;
  if (!read_number(text, 0, 1, number)) return false;
  flag = number == 1;
  return true;
}

bool read_item(std::string_view item, save_options& options) {
  const std::size_t equals = item.find('=');
  if (equals == item.npos) return false;
  const std::string_view name = item.substr(0, equals);
  const std::string_view value = item.substr(equals + 1);
  if (name == "quality") return read_number(value, 1, 100, options.quality);
  if (name == "ignore_alpha") return read_flag(value, options.ignore_alpha);
  if (name == "audio") return read_flag(value, options.audio);
  if (name == "codec") {
    options.codec = value;
    return sources::find_movie_codec(value) != nullptr;
  }
  if (name == "bits") return read_number(value, 8, 16, options.bits) && (options.bits == 8 || options.bits == 16);
  if (name != "compression") return false;
  constexpr std::pair<std::string_view, int> words[] = {{"uncompressed", 1}, {"none", 1}, {"rle", 2},
                                                        {"packbits", 2},     {"zip", 3},  {"deflate", 3},
                                                        {"b44a", 4},         {"lzw", 5}};
  for (const auto& [word, number] : words) {
    if (word == value) {
      options.compression = number;
      return true;
    }
  }
  return false;
}

}  // namespace

std::string numbered_name(const std::string& path, int number) {
  const lib::folder_and_name parts = lib::split_path(ksn::with_number_signs(path));
  const std::size_t end = parts.name.rfind('#');
  if (end != std::string::npos) {
    const std::size_t before = parts.name.find_last_not_of('#', end);
    const std::size_t first = before == std::string::npos ? 0 : before + 1;
    return parts.folder + parts.name.substr(0, first) + with_digits(number, end + 1 - first) +
           parts.name.substr(end + 1);
  }
  const std::size_t dot = std::min(parts.name.rfind('.'), parts.name.size());  // in first place too, as for formats
  return parts.folder + parts.name.substr(0, dot) + '_' + with_digits(number, 4) + parts.name.substr(dot);
}

bool parse_save_options(const std::string& text, save_options& options) {
  save_options result;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t comma = rest.find(',');
    if (!read_item(rest.substr(0, comma), result)) return false;
    if (comma == rest.npos) break;
    rest.remove_prefix(comma + 1);
    if (rest.empty()) return false;
  }
  options = result;
  return true;
}

}  // namespace save
