#include "composition/invariants.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "composition/frame_numbers.h"

namespace ksn {
namespace {

template <class... Parts>
std::string joined(const Parts&... parts) {
  std::string text;
  const auto add = [&](const auto& part) {
    if constexpr (std::is_arithmetic_v<std::decay_t<decltype(part)>>) {
      text += std::to_string(part);
    } else {
      text += part;
    }
  };
  (add(parts), ...);
  return text;
}

std::string broken_timeline(const state& c) {
  if (c.tm_n < 10 || c.tm_n > frame_limit) return joined("timeline of ", c.tm_n, " frames");
  if (c.tm_f < 0 || c.tm_f >= c.tm_l || c.tm_l > c.tm_n) {
    return joined("work area ", c.tm_f, " to ", c.tm_l, " on ", c.tm_n, " frames");
  }
  if (!(c.tm_t >= 0.0 && c.tm_t <= c.tm_n)) return joined("current time ", c.tm_t, " on ", c.tm_n, " frames");
  if (c.fpcs < 1) return joined("frame rate ", c.fpcs);
  return {};
}

std::string broken_view(const state& c) {
  if (c.zoom_factor2 < 1) return joined("zoom ", c.zoom_factor2);
  if (c.pp_tab < 0 || c.pp_tab > 7) return joined("property tab ", c.pp_tab);
  if (c.track_max < 0 || c.prev_track_max < 0) return joined("rows shown ", c.track_max, ", ", c.prev_track_max);
  if (word_of(c.view).empty() || word_of(c.repeat).empty()) return "view or repeat without a word";
  return {};
}

std::string broken_layer(const track_info& track) {
  const std::string name = joined("layer ", track.id, ": ");
  if (std::abs(static_cast<long long>(track.begin)) > frame_limit) return joined(name, "begin ", track.begin);
  if (!std::isfinite(track.retime) || !std::isfinite(track.sbegin_f) || !std::isfinite(track.send_f)) {
    return name + "times that are no numbers";
  }
  const int length = track.length();
  const int in = track.in();
  const int out = track.out();
  if (length < 1 || in < 0 || in >= length || out <= in) {
    return joined(name, "length ", length, ", in ", in, ", out ", out);
  }
  if (track.source_type == source_type::sequence && track.frames != static_cast<int>(track.names.size())) {
    return joined(name, track.frames, " frames and ", track.names.size(), " names");
  }
  if (track.frame_states.size() > static_cast<std::size_t>(std::max(track.frames, 0))) {
    return joined(name, track.frames, " frames and ", track.frame_states.size(), " states");
  }
  if (!track.brush_seq.empty() &&
      (track.brush_seq.begin()->first < 0 || track.brush_seq.rbegin()->first >= track.frames)) {
    return name + "canvas outside its frames";
  }
  if (track.scale_x < 1 || track.scale_y < 1 || !(track.aspect >= 0.001))
    return name + "scale or aspect below its least";
  if (track.is_clip() && track.clip && static_cast<int>(track.clip->kind()) != static_cast<int>(track.source_type)) {
    return name + "clip of another kind";
  }
  return {};
}

}  // namespace

std::string broken_invariant(const state& composition) {
  if (std::string broken = broken_timeline(composition); !broken.empty()) return broken;
  if (std::string broken = broken_view(composition); !broken.empty()) return broken;
  std::set<int> ids;
  for (const track_info& track : composition.tracks) {
    if (track.id <= 0 || !ids.insert(track.id).second) return joined("id ", track.id, " twice or not above 0");
    if (std::string broken = broken_layer(track); !broken.empty()) return broken;
  }
  for (const track_info& track : composition.tracks) {
    if (track.alpha_source_id != 0 && !ids.contains(track.alpha_source_id)) {
      return joined("layer ", track.id, ": alpha source ", track.alpha_source_id, " is no layer");
    }
  }
  for (const int index : composition.selection) {
    if (index < 0 || index >= composition.track_count()) {
      return joined("selected index ", index, " of ", composition.track_count(), " layers");
    }
  }
  return {};
}

void check_invariants([[maybe_unused]] const state& composition, [[maybe_unused]] const char* operation) {
#ifndef NDEBUG
  const std::string broken = broken_invariant(composition);
  if (broken.empty()) return;
  std::fprintf(stderr, "after %s: %s\n", operation, broken.c_str());
  std::abort();
#endif
}

}  // namespace ksn
