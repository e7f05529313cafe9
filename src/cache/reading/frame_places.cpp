#include "cache/reading/frame_places.h"

#include <algorithm>
#include <charconv>

namespace cache {
namespace {

struct span_of_digits {
  std::size_t begin;
  std::size_t end;
};

// The digits that tell the frames of one source apart: those after the comma that ends the name of a clip's frame, else
// the last ones before the extension. Empty, at the end, where there are none.
span_of_digits digits_of(std::string_view path) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  const auto begin_of = [&](std::size_t end, std::size_t least) {
    while (end > least && is_digit(path[end - 1])) --end;
    return end;
  };
  const std::size_t slash = path.rfind('/');
  const std::size_t name = slash == path.npos ? 0 : slash + 1;
  if (const std::size_t begin = begin_of(path.size(), name);
      begin < path.size() && begin > name && path[begin - 1] == ',')
    return {begin, path.size()};
  std::size_t end = path.size();
  if (const std::size_t dot = path.rfind('.'); dot != path.npos && dot > name) end = dot;
  while (end > name && !is_digit(path[end - 1])) --end;
  if (end == name) return {path.size(), path.size()};
  return {begin_of(end, name), end};
}

long long number_in(std::string_view path, const span_of_digits& digits) {
  long long number = -1;
  std::from_chars(path.data() + digits.begin, path.data() + digits.end, number);
  return number;
}

}  // namespace

std::pair<std::string, long long> frame_places::kind_of(std::string_view path) {
  const span_of_digits digits = digits_of(path);
  std::string kind(path.substr(0, digits.begin));
  kind += '\0';
  kind += path.substr(digits.end);
  return {std::move(kind), number_in(path, digits)};
}

void frame_places::add(std::uint64_t id, const ksn::layer_source& source) {
  const auto [made, is_new] = sources_.try_emplace(id);
  if (!is_new) return;
  std::vector<std::string>& kinds = made->second.kinds;
  if (source.type != ksn::source_type::sequence) {
    if (source.frames > 0) kinds.push_back(kind_of(source.frame_path(0)).first);
  } else {
    // Names of one sequence are alike but for their number, as a rule, and tell that without a copy.
    std::string_view last;
    span_of_digits of_last{};
    for (const std::string_view name : source.names) {
      const span_of_digits digits = digits_of(name);
      const bool alike = !last.empty() && name.substr(0, digits.begin) == last.substr(0, of_last.begin) &&
                         name.substr(digits.end) == last.substr(of_last.end);
      if (!alike) kinds.push_back(kind_of(source.path + std::string(name)).first);
      last = name;
      of_last = digits;
    }
    std::sort(kinds.begin(), kinds.end());
    kinds.erase(std::unique(kinds.begin(), kinds.end()), kinds.end());
  }
  for (const std::string& kind : kinds) by_kind_[kind].push_back(id);
}

void frame_places::remove(std::uint64_t id) {
  const auto found = sources_.find(id);
  if (found == sources_.end()) return;
  for (const std::string& kind : found->second.kinds) {
    const auto here = by_kind_.find(kind);
    std::erase(here->second, id);
    if (here->second.empty()) by_kind_.erase(here);
  }
  sources_.erase(found);
}

void frame_places::add_frames(std::uint64_t id, const ksn::layer_source& source, const std::string& path,
                              long long number, std::vector<place>& found) {
  const auto is_it = [&](int frame) { return source.frame_path(frame) == path; };
  if (source.type == ksn::source_type::sequence && source.range.empty() && !source.names.empty()) {
    // No two frames of a search have one name, and most follow each other.
    const long long frame = number - number_in(source.names.front(), digits_of(source.names.front()));
    if (frame >= 0 && frame < static_cast<long long>(source.names.size()) && is_it(static_cast<int>(frame)))
      return found.push_back({id, static_cast<int>(frame)});
  }
  std::vector<numbered_frame>& frames = sources_.at(id).frames;
  if (frames.empty()) {
    for (int i = 0; i < source.frames; ++i) {
      const std::string name = source.frame_path(i);
      frames.emplace_back(number_in(name, digits_of(name)), i);
    }
    std::sort(frames.begin(), frames.end());
  }
  const auto first = std::lower_bound(frames.begin(), frames.end(), numbered_frame{number, 0});
  for (auto i = first; i != frames.end() && i->first == number; ++i) {
    if (is_it(i->second)) found.push_back({id, i->second});
  }
}

}  // namespace cache
