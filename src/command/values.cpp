#include "command/values.h"

#include <charconv>
#include <cmath>
#include <vector>

#include "lib/from_string.h"

namespace command {

namespace {

// The items of `text` between commas, at most `most`; more give an empty list.
std::vector<std::string_view> split(std::string_view text, std::size_t most) {
  std::vector<std::string_view> items;
  while (items.size() < most) {
    const std::size_t comma = text.find(',');
    items.push_back(text.substr(0, comma));
    if (comma == text.npos) return items;
    text.remove_prefix(comma + 1);
  }
  return {};
}

template <class T, class Read>
bool read_all(std::string_view text, std::span<T> values, Read read) {
  const std::vector<std::string_view> items = split(text, values.size());
  if (items.size() != values.size()) return false;
  std::vector<T> found(values.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!read(items[i], found[i])) return false;
  }
  std::copy(found.begin(), found.end(), values.begin());
  return true;
}

}  // namespace

bool read_int(std::string_view text, int& value, int least, int most) {
  int found = 0;
  if (!lib::parse_value(text, found) || found < least || found > most) return false;
  value = found;
  return true;
}

bool read_bool(std::string_view text, bool& value) {
  return lib::parse_value(text, value);
}

bool read_double(std::string_view text, double& value) {
  double found = 0;
  if (!lib::parse_value(text, found) || !std::isfinite(found)) return false;
  value = found;
  return true;
}

bool read_ints(std::string_view text, std::span<int> values) {
  return read_all(text, values, [](std::string_view item, int& value) { return read_int(item, value); });
}

bool read_doubles(std::string_view text, std::span<double> values) {
  return read_all(text, values, [](std::string_view item, double& value) { return read_double(item, value); });
}

bool read_color(std::string_view text, lib::color& value) {
  std::array<int, 4> parts{0, 0, 0, 255};
  if (!read_ints(text, std::span(parts).first(3)) && !read_ints(text, parts)) return false;
  for (const int part : parts) {
    if (part < 0 || part > 255) return false;
  }
  const auto byte = [&](int i) { return static_cast<std::uint8_t>(parts[static_cast<std::size_t>(i)]); };
  value = {byte(3), byte(0), byte(1), byte(2)};
  return true;
}

std::string write_bool(bool value) {
  return value ? "1" : "0";
}

std::string write_double(double value) {
  char text[40];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 10).ptr;
  return std::string(text, end);
}

std::string write_exact_double(double value) {
  char text[40];
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  return std::string(text, end);
}

std::string write_color(lib::color value) {
  std::string text = std::to_string(value.r) + "," + std::to_string(value.g) + "," + std::to_string(value.b);
  if (value.a != 255) text += "," + std::to_string(value.a);
  return text;
}

std::string escape_text(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '\n':
        out += "\\n";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '"':
        out += "\\q";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string unescape_text(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char next = text[i] == '\\' && i + 1 < text.size() ? text[i + 1] : '\0';
    if (next == 'n' || next == '\\' || next == 'q') {
      out += next == 'n' ? '\n' : next == 'q' ? '"' : '\\';
      ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

}  // namespace command
