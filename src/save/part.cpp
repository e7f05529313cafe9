#include "save/part.h"

#include <algorithm>
#include <charconv>

namespace save {
namespace {

// The integer that `text` begins with, and what follows it.
bool take_number(std::string_view& text, int& number) {
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

}  // namespace

frame_range frames_of(const part& part, frame_range whole, int frame_base) {
  if (part.last >= part.first) {
    const auto inside = [&](long long frame) {
      return static_cast<int>(std::clamp<long long>(frame, whole.first, whole.end));
    };
    whole = {inside(0LL + part.first - frame_base), inside(1LL + part.last - frame_base)};
  }
  const long long count = whole.end - whole.first;
  const auto begin_of = [&](long long chunk) { return whole.first + static_cast<int>(count * chunk / part.chunks); };
  return {begin_of(part.chunk - 1), begin_of(part.chunk)};
}

bool parse_frames(const std::string& text, part& part) {
  if (text == "all") {
    part.first = 0, part.last = -1;
    return true;
  }
  std::string_view left = text;
  int first = 0;
  if (!take_number(left, first)) return false;
  int last = first;
  if (!left.empty()) {
    if (left.front() != '-') return false;
    left.remove_prefix(1);
    if (!take_number(left, last) || !left.empty() || last < first) return false;
  }
  part.first = first, part.last = last;
  return true;
}

bool parse_chunk(const std::string& text, part& part) {
  std::string_view left = text;
  int chunk = 0;
  int chunks = 0;
  if (!take_number(left, chunk) || left.empty() || left.front() != '/') return false;
  left.remove_prefix(1);
  if (!take_number(left, chunks) || !left.empty() || chunk < 1 || chunk > chunks) return false;
  part.chunk = chunk, part.chunks = chunks;
  return true;
}

}  // namespace save
