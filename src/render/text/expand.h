// The fields of a text layer: what stands between braces is filled in again for every frame.
#pragma once

#include <ctime>
#include <functional>
#include <string>
#include <string_view>

#include "composition/state.h"
#include "img/image.h"

namespace render {

constexpr std::size_t longest_expansion = 1 << 20;  // bytes; what goes beyond is left out

// Where fields take their values from.
struct field_sources {
  const ksn::state& composition;
  double time = 0;        // timeline position
  std::time_t clock = 0;  // shown as local time
  // A layer's picture at the time, for what files say of themselves; null where there is none. May be empty.
  std::function<img::const_image_ptr(const ksn::track_info& track)> picture;
};

// The UTF-8 text with each field {SOURCE:KEY} in place of its value. `{{` is one brace; a field that makes no sense
// stays as it is.
//
//   composition:name                    file name without folder and extension, or "untitled"
//   timeline:frame timeline:timecode    with a number form
//   clock:date clock:time clock:longdate clock:PATTERN   by the patterns of strftime
//   mask:width mask:height
//   SET:KEY, *SET:KEY                   the first active layer of a layer set, or all of them, one on each line; keys
//   are
//     name path path[a] path[a:b] version timecode timecode2 keycode edgecode width height, and with a number form
//     length frame fnframe emframe
//
// A number form is +N or -N, added to the value, and ,W, the least number of digits.
std::string expand_text(std::string_view text, const field_sources& from);

}  // namespace render
