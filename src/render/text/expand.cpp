#include "render/text/expand.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

#include "command/layer_set.h"
#include "img/timecode.h"
#include "lib/paths.h"
#include "render/text/clock_text.h"

namespace render {
namespace {

constexpr long long largest_number = 1'000'000'000;
constexpr int largest_width = 16;

using value = std::optional<std::string>;

bool take(std::string_view& text, std::string_view word) {
  if (!text.starts_with(word)) return false;
  text.remove_prefix(word.size());
  return true;
}

// Digits at the start of the text; false without any. Larger ones than can matter are all the same.
bool take_number(std::string_view& text, long long& number) {
  std::size_t count = 0;
  number = 0;
  for (; count < text.size() && text[count] >= '0' && text[count] <= '9'; ++count) {
    number = std::min(number * 10 + (text[count] - '0'), largest_number);
  }
  text.remove_prefix(count);
  return count > 0;
}

struct number_form {
  long long add = 0;
  long long width = 0;
};

// The text that may follow a key of numbers, up to its end.
std::optional<number_form> parse_form(std::string_view text) {
  number_form form{};
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
    const bool minus = text[0] == '-';
    text.remove_prefix(1);
    if (!take_number(text, form.add)) return std::nullopt;
    if (minus) form.add = -form.add;
  }
  if (take(text, ",") && !take_number(text, form.width)) return std::nullopt;
  return text.empty() ? std::optional(form) : std::nullopt;
}

std::string print(long long number, const number_form& form) {
  number += form.add;
  char text[40];
  if (form.width >= 2 && number >= 0) {
    std::snprintf(text, sizeof text, "%0*lld", static_cast<int>(std::min<long long>(form.width, largest_width)),
                  number);
  } else {
    std::snprintf(text, sizeof text, "%lld", number);
  }
  return text;
}

value composition_value(const field_sources& from, std::string_view key) {
  if (key != "name") return std::nullopt;
  std::string name = lib::file_name(from.composition.file_name);
  if (const std::size_t dot = name.rfind('.'); dot != name.npos && dot > 0) name.resize(dot);
  return name.empty() ? "untitled" : name;
}

value timeline_value(const field_sources& from, std::string_view key) {
  const bool timecode = take(key, "timecode");
  if (!timecode && !take(key, "frame")) return std::nullopt;
  const std::optional<number_form> form = parse_form(key);
  if (!form) return std::nullopt;
  const auto frame = static_cast<long long>(std::floor(from.time));
  if (!timecode) return print(frame, *form);
  const long long moved = std::clamp(frame + form->add, 0LL, largest_number);
  return to_text(img::timecode_of_frame(static_cast<int>(moved), from.composition.doc.fpcs));
}

value mask_value(const field_sources& from, std::string_view key) {
  if (key == "width") return std::to_string(from.composition.doc.mask_size.x);
  if (key == "height") return std::to_string(from.composition.doc.mask_size.y);
  return std::nullopt;
}

// A layer key, read once for all layers that it is asked of.
struct layer_key {
  enum class kind {
    name,
    path,
    length,
    frame,
    fnframe,
    emframe,
    version,
    timecode,
    timecode2,
    keycode,
    edgecode,
    width,
    height
  };
  kind what = kind::name;
  number_form form{};
  bool in_parts = false;  // path[first:last]
  long long first = 0;
  long long last = 0;
  bool single = true;
};

bool take_part(std::string_view& text, long long& number) {
  const bool minus = take(text, "-");
  if (!take_number(text, number)) return false;
  if (minus) number = -number;
  return true;
}

std::optional<layer_key> parse_layer_key(std::string_view text) {
  using kind = layer_key::kind;
  layer_key key;
  if (take(text, "path")) {
    key.what = kind::path;
    if (text.empty()) return key;
    key.in_parts = true;
    if (!take(text, "[") || !take_part(text, key.first)) return std::nullopt;
    key.last = key.first;
    if (take(text, ":")) {
      key.single = false;
      if (!take_part(text, key.last)) return std::nullopt;
    }
    return text == "]" ? std::optional(key) : std::nullopt;
  }
  struct row {
    std::string_view word;
    kind what;
  };
  for (const row& plain : {row{"name", kind::name}, row{"version", kind::version}, row{"timecode", kind::timecode},
                           row{"timecode2", kind::timecode2}, row{"keycode", kind::keycode},
                           row{"edgecode", kind::edgecode}, row{"width", kind::width}, row{"height", kind::height}}) {
    if (text == plain.word) return layer_key{.what = plain.what};
  }
  for (const row& number : {row{"length", kind::length}, row{"frame", kind::frame}, row{"fnframe", kind::fnframe},
                            row{"emframe", kind::emframe}}) {
    std::string_view rest = text;
    if (!take(rest, number.word)) continue;
    const std::optional<number_form> form = parse_form(rest);
    if (!form) return std::nullopt;
    return layer_key{.what = number.what, .form = *form};
  }
  return std::nullopt;
}

std::string parts_of(const std::string& path, const layer_key& key) {
  std::vector<std::string_view> parts;
  for (std::string_view rest = path; !rest.empty();) {
    const std::size_t end = std::min(rest.find('/'), rest.size());
    if (end > 0) parts.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  const auto count = static_cast<long long>(parts.size());
  const auto from_start = [&](long long n) { return n < 0 ? count + 1 + n : n; };
  long long first = from_start(key.first);
  long long last = from_start(key.last);
  if (key.single && (first < 1 || first > count)) return {};
  if (count == 0) return {};
  first = std::clamp(first, 1LL, count);
  last = std::clamp(last, 1LL, count);
  std::string result;
  for (long long i = first; i <= last; ++i) {
    if (i > first) result += '/';
    result += parts[static_cast<std::size_t>(i - 1)];
  }
  return result;
}

// The digits in front of the last dot of a file's name.
std::optional<long long> number_in_name(const std::string& path) {
  const std::string name = lib::file_name(path);
  const std::size_t dot = name.rfind('.');
  if (dot == name.npos) return std::nullopt;
  std::size_t begin = dot;
  while (begin > 0 && name[begin - 1] >= '0' && name[begin - 1] <= '9') --begin;
  std::string_view digits = std::string_view(name).substr(begin, dot - begin);
  long long number = 0;
  return take_number(digits, number) ? std::optional(number) : std::nullopt;
}

// "mm tt pp pppp cccc+oo", grouped as along the edge of the film.
std::string edge_text(const img::keycode& key) {
  if (!key.is_valid()) return {};
  char text[48];
  std::snprintf(text, sizeof text, "%02d %02d %02d %04d %04d+%02d", key.manufacturer, key.film_type, key.prefix / 10000,
                key.prefix % 10000, key.count, key.offset);
  return text;
}

// Empty for what the layer does not have at the time.
std::string layer_value(const field_sources& from, const ksn::track_info& track, const layer_key& key) {
  using kind = layer_key::kind;
  const double position = track.source_position(from.time);
  const int frame = position < 0 ? -1 : static_cast<int>(position);
  const auto picture = [&] { return from.picture && frame >= 0 ? from.picture(track) : nullptr; };
  switch (key.what) {
    case kind::name:
      return track.name;
    case kind::version:
      return track.source.version;
    case kind::width:
      return std::to_string(track.source.width);
    case kind::height:
      return std::to_string(track.source.height);
    case kind::length:
      return print(track.length(), key.form);
    case kind::frame:
      return frame < 0 ? std::string() : print(frame, key.form);
    case kind::path: {
      const std::string path = track.source.frame_path(std::max(frame, 0));
      return key.in_parts ? parts_of(path, key) : path;
    }
    case kind::fnframe: {
      const std::optional<long long> number = frame < 0 ? std::nullopt : number_in_name(track.source.frame_path(frame));
      return number ? print(*number, key.form) : std::string();
    }
    case kind::emframe: {
      const img::const_image_ptr image = picture();
      return image && image->frame >= 0 ? print(image->frame, key.form) : std::string();
    }
    case kind::timecode:
    case kind::timecode2: {
      const img::const_image_ptr image = picture();
      return image ? to_text(key.what == kind::timecode ? image->timecode : image->timecode2) : std::string();
    }
    case kind::keycode:
    case kind::edgecode: {
      const img::const_image_ptr image = picture();
      if (!image) return {};
      return key.what == kind::keycode ? to_text(image->keycode) : edge_text(image->keycode);
    }
  }
  return {};
}

value layers_value(const field_sources& from, std::string_view source, std::string_view text) {
  const bool all = take(source, "*");
  const std::optional<layer_key> key = parse_layer_key(text);
  command::layer_set set;
  if (!key || !command::parse_layer_set(from.composition, source, set)) return std::nullopt;
  std::string result;
  bool first = true;
  for (const int index : set.members) {
    if (index < 0 || index >= from.composition.doc.track_count()) continue;
    const ksn::track_info& track = from.composition.doc.track_at(index);
    if (!all) {
      if (track.source_position(from.time) >= 0) return layer_value(from, track, *key);
      continue;
    }
    if (!first) result += '\n';
    first = false;
    result += layer_value(from, track, *key);
    if (result.size() > longest_expansion) break;
  }
  return result;
}

value field_value(const field_sources& from, std::string_view field) {
  const std::size_t colon = field.find(':');
  const std::string_view source = field.substr(0, colon);
  const std::string_view key = colon == field.npos ? std::string_view() : field.substr(colon + 1);
  value found;
  if (source == "composition") found = composition_value(from, key);
  if (source == "timeline") found = timeline_value(from, key);
  if (source == "clock") found = clock_text(key, from.clock);
  if (source == "mask") found = mask_value(from, key);
  return found ? found : layers_value(from, source, key);
}

}  // namespace

std::string expand_text(std::string_view text, const field_sources& from) {
  std::string result;
  while (!text.empty() && result.size() < longest_expansion) {
    const std::size_t open = std::min(text.find('{'), text.size());
    result.append(text.substr(0, open));
    text.remove_prefix(open);
    if (text.empty()) break;
    if (take(text, "{{")) {
      result += '{';
      continue;
    }
    const std::size_t close = text.find('}');
    if (close == text.npos) {
      result.append(text);
      break;
    }
    const value found = field_value(from, text.substr(1, close - 1));
    result.append(found ? std::string_view(*found) : text.substr(0, close + 1));
    text.remove_prefix(close + 1);
  }
  if (result.size() > longest_expansion) {
    result.resize(longest_expansion);
  }
  return result;
}

}  // namespace render
