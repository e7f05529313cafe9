// SMPTE time codes (SMPTE ST 12-1 BCD fields) and film key codes (SMPTE ST 254) as values.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace img {

// Bits of `code`: 0-3 frame units, 4-5 frame tens, 6 drop frame, 8-11 second units, 12-14 second tens, 15 second field
// (rates 30.01 to 60 but 50), 16-19 minute units, 20-22 minute tens, 24-27 hour units, 28-29 hour tens, 31 second field
// at rate 50. `num`/`den` is the sub-frame, 0/1 when the rate needs none. The default is the null time code.
struct timecode {
  std::uint32_t code = 0xFFFFFFFFu;
  std::uint32_t user = 0xFFFFFFFFu;
  std::uint32_t num = 0;
  std::uint32_t den = 1;

  bool operator==(const timecode&) const = default;
  bool is_valid() const;

  int hours() const;
  int minutes() const;
  int seconds() const;
  int frames() const;
  bool drop_frame() const { return (code & 0x40u) != 0; }
};

// The null time code when a part is out of range: hours below 24, minutes and seconds below 60, frames below 30,
// 0 <= num < den.
timecode make_timecode(int hours, int minutes, int seconds, int frames, int num, int den, bool drop_frame);
// `rate` is frames per second times 100; a negative frame gives the null code. 2997 and 5994 count drop-frame.
timecode timecode_of_frame(int frame, int rate);
// Sets the sub-frame of `value` for a rate from its field mark.
void set_timecode_rate(timecode& value, int rate);
// "hh:mm:ss:ff", with `;` before the frames for drop frame and "+num/den" for sub-frames; empty for a null code.
std::string to_text(const timecode& value);
timecode parse_timecode(std::string_view text);

struct keycode {
  int manufacturer = -1;    // 0 to 99
  int film_type = 0;        // 0 to 99
  int prefix = 0;           // 0 to 999999
  int count = 0;            // 0 to 9999
  int offset = 0;           // perforations, 0 to 119
  int perfs_per_frame = 0;  // 1 to 15
  int perfs_per_count = 0;  // 20 to 120

  bool operator==(const keycode&) const = default;
  bool is_valid() const;
};

// "mm tt pppppp cccc oo"; empty for a null key code.
std::string to_text(const keycode& value);
// The null key code unless all five parts are there; sets 4 perforations a frame and 64 a count.
keycode parse_keycode(std::string_view text);

}  // namespace img
