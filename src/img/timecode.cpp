#include "img/timecode.h"

#include <cstdio>

namespace img {
namespace {

constexpr std::uint32_t drop_frame_bit = 0x40u;

// The highest frame rate that is counted frame by frame; above it, 2, 4, ... pictures share a frame number.
constexpr int counted_rate = 3000;

int bcd(std::uint32_t code, int shift, std::uint32_t tens_mask) {
  return static_cast<int>(((code >> shift) & 15u) + 10u * ((code >> (shift + 4)) & tens_mask));
}

std::uint32_t to_bcd(int value) {
  return static_cast<std::uint32_t>(value / 10 * 16 + value % 10);
}

long long sub_frames(int rate) {
  long long count = 1;
  while (rate > counted_rate * count) count *= 2;
  return count;
}

// The bit that marks the second picture of a frame number; 0 for a rate that has none.
std::uint32_t field_mark(int rate) {
  if (rate <= counted_rate || rate > 2 * counted_rate) return 0;
  return rate == 5000 ? 0x80000000u : 0x8000u;
}

timecode with_field_mark(timecode value, int rate) {
  const std::uint32_t mask = field_mark(rate);
  if (mask && value.code != timecode().code) {
    value.code = value.num % 2 ? value.code | mask : value.code & ~mask;
  }
  return value;
}

// Drop-frame counting leaves out frame numbers 0 and 1 of every minute that 10 does not divide.
timecode drop_frame_code(int frame, int num, int den) {
  constexpr int block = 17982;  // frames in ten minutes
  constexpr int minute = 1798;  // frames in a minute that drops two numbers
  const int blocks = frame / block;
  int minutes = blocks % 6 * 10;
  int rest = frame - blocks * block;
  if (rest >= 1800) {
    const int x = (rest - 1800) / minute;
    minutes += x + 1;
    rest = rest - 1800 + 2 - x * minute;
  }
  return make_timecode(blocks / 6, minutes, rest / 30, rest % 30, num, den, true);
}

bool is_separator(char c) {
  return c == ':' || c == ';' || c == '.';
}

}  // namespace

int timecode::hours() const {
  return bcd(code, 24, 3);
}

int timecode::minutes() const {
  return bcd(code, 16, 7);
}

int timecode::seconds() const {
  return bcd(code, 8, 7);
}

int timecode::frames() const {
  return bcd(code, 0, 3);
}

bool timecode::is_valid() const {
  return code < 0xFFFFFFFEu && hours() < 24 && minutes() < 60 && seconds() < 60 && frames() < 30 && num < den;
}

timecode make_timecode(int hours, int minutes, int seconds, int frames, int num, int den, bool drop_frame) {
  auto below = [](int value, int limit) { return value >= 0 && value < limit; };
  if (!below(hours, 24) || !below(minutes, 60) || !below(seconds, 60) || !below(frames, 30) || !below(num, den)) {
    return {};
  }
  timecode value;
  value.code = to_bcd(hours) << 24 | to_bcd(minutes) << 16 | to_bcd(seconds) << 8 | to_bcd(frames);
  if (drop_frame) value.code |= drop_frame_bit;
  value.user = 0;
  value.num = static_cast<std::uint32_t>(num);
  value.den = static_cast<std::uint32_t>(den);
  return value;
}

timecode timecode_of_frame(int frame, int rate) {
  if (frame < 0 || rate < 1) return {};
  if (rate == 2398) rate = 2400;
  if (rate == 2997) return drop_frame_code(frame, 0, 1);
  if (rate == 5994) return with_field_mark(drop_frame_code(frame / 2, frame % 2, 2), rate);
  const long long seconds = static_cast<long long>(frame) * 100 / rate;
  const long long first = (seconds * rate + 99) / 100;  // the frame with which that second begins
  const int den = static_cast<int>(sub_frames(rate));
  const int offset = static_cast<int>(frame - first);
  return with_field_mark(make_timecode(static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60 % 60),
                                       static_cast<int>(seconds % 60), offset / den, offset % den, den, false),
                         rate);
}

void set_timecode_rate(timecode& value, int rate) {
  value.den = static_cast<std::uint32_t>(sub_frames(rate));
  value.num = value.den == 2 && (value.code & field_mark(rate)) ? 1 : 0;
}

std::string to_text(const timecode& value) {
  if (value.code >= 0xFFFFFFFEu) return {};
  const int digits = value.den < 10 ? 1 : value.den < 100 ? 2 : value.den < 1000 ? 3 : 4;
  char text[64];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d+%0*u/%u", value.hours(), value.minutes(), value.seconds(),
                value.frames(), digits, value.num, value.den);
  if (value.drop_frame()) text[8] = ';';
  return value.den == 1 ? std::string(text, 11) : std::string(text);
}

timecode parse_timecode(std::string_view text) {
  int part[4] = {};
  char separator[3] = {};
  int num = 0;
  int den = 1;
  const int items = std::sscanf(std::string(text).c_str(), "%2d%c%2d%c%2d%c%2d+%d/%d", &part[0], &separator[0],
                                &part[1], &separator[1], &part[2], &separator[2], &part[3], &num, &den);
  if (items < 2 || !is_separator(separator[0])) return {};
  if (items < 4) {
    if (separator[0] == ':') return make_timecode(0, part[0], part[1], 0, 0, 1, false);
    return make_timecode(0, 0, part[0], part[1], 0, 1, separator[0] == ';');
  }
  if (!is_separator(separator[1])) return {};
  if (items < 6) {
    if (separator[1] == ':') return make_timecode(part[0], part[1], part[2], 0, 0, 1, false);
    return make_timecode(0, part[0], part[1], part[2], 0, 1, separator[1] == ';');
  }
  if (!is_separator(separator[2])) return {};
  if (items < 9 || num < 0 || den < 1 || num >= den) {
    num = 0;
    den = 1;
  }
  return make_timecode(part[0], part[1], part[2], part[3], num, den, separator[2] == ';');
}

bool keycode::is_valid() const {
  auto within = [](int value, int low, int high) { return value >= low && value <= high; };
  return within(manufacturer, 0, 99) && within(film_type, 0, 99) && within(prefix, 0, 999999) &&
         within(count, 0, 9999) && within(offset, 0, 119) && within(perfs_per_frame, 1, 15) &&
         within(perfs_per_count, 20, 120);
}

std::string to_text(const keycode& value) {
  if (value.manufacturer == keycode().manufacturer) return {};
  char text[80];
  std::snprintf(text, sizeof text, "%02d %02d %06d %04d %02d", value.manufacturer, value.film_type, value.prefix,
                value.count, value.offset);
  return text;
}

keycode parse_keycode(std::string_view text) {
  keycode value;
  if (std::sscanf(std::string(text).c_str(), "%2d %2d %6d %4d %2d", &value.manufacturer, &value.film_type,
                  &value.prefix, &value.count, &value.offset) != 5) {
    return {};
  }
  value.perfs_per_frame = 4;
  value.perfs_per_count = 64;
  return value;
}

}  // namespace img
