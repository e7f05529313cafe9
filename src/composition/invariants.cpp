#include "composition/invariants.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "composition/time/frame_numbers.h"

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
  if (c.doc.tm_n < 10 || c.doc.tm_n > frame_limit) return joined("timeline of ", c.doc.tm_n, " frames");
  if (c.doc.tm_f < 0 || c.doc.tm_f >= c.doc.tm_l || c.doc.tm_l > c.doc.tm_n) {
    return joined("work area ", c.doc.tm_f, " to ", c.doc.tm_l, " on ", c.doc.tm_n, " frames");
  }
  if (!(c.doc.tm_t >= 0.0 && c.doc.tm_t <= c.doc.tm_n))
    return joined("current time ", c.doc.tm_t, " on ", c.doc.tm_n, " frames");
  if (c.doc.fpcs < 1) return joined("frame rate ", c.doc.fpcs);
  return {};
}

std::string broken_view(const state& c) {
  if (c.view.zoom_factor2 < 1) return joined("zoom ", c.view.zoom_factor2);
  if (c.workspace.pp_tab < 0 || c.workspace.pp_tab > 7) return joined("property tab ", c.workspace.pp_tab);
  if (c.workspace.track_max < 0 || c.workspace.prev_track_max < 0)
    return joined("rows shown ", c.workspace.track_max, ", ", c.workspace.prev_track_max);
  if (word_of(c.view.channels).empty() || word_of(c.doc.repeat).empty()) return "view or repeat without a word";
  return {};
}

std::string broken_layer(const track_info& track) {
  const std::string name = joined("layer ", track.id, ": ");
  if (std::abs(static_cast<long long>(track.timing.begin)) > frame_limit)
    return joined(name, "begin ", track.timing.begin);
  if (!std::isfinite(track.timing.retime) || !std::isfinite(track.timing.sbegin_f) ||
      !std::isfinite(track.timing.send_f)) {
    return name + "times that are no numbers";
  }
  const int length = track.length();
  const int in = track.in();
  const int out = track.out();
  if (length < 1 || in < 0 || in >= length || out <= in) {
    return joined(name, "length ", length, ", in ", in, ", out ", out);
  }
  if (track.source.type == source_type::sequence &&
      track.source.frames != static_cast<int>(track.source.names.size())) {
    return joined(name, track.source.frames, " frames and ", track.source.names.size(), " names");
  }
  if (track.source.frame_states.size() > static_cast<std::size_t>(std::max(track.source.frames, 0))) {
    return joined(name, track.source.frames, " frames and ", track.source.frame_states.size(), " states");
  }
  if (!track.source.brush_seq.empty() &&
      (track.source.brush_seq.begin()->first < 0 || track.source.brush_seq.rbegin()->first >= track.source.frames)) {
    return name + "canvas outside its frames";
  }
  if (track.placement.scale_x < 1 || track.placement.scale_y < 1 || !(track.placement.aspect >= 0.001))
    return name + "scale or aspect below its least";
  if (track.source.is_clip() && track.source.clip &&
      static_cast<int>(track.source.clip->kind()) != static_cast<int>(track.source.type)) {
    return name + "clip of another kind";
  }
  return {};
}

}  // namespace

std::string broken_invariant(const state& composition) {
  if (std::string broken = broken_timeline(composition); !broken.empty()) return broken;
  if (std::string broken = broken_view(composition); !broken.empty()) return broken;
  std::set<int> ids;
  for (const track_info& track : composition.doc.tracks) {
    if (track.id <= 0 || !ids.insert(track.id).second) return joined("id ", track.id, " twice or not above 0");
    if (std::string broken = broken_layer(track); !broken.empty()) return broken;
  }
  for (const track_info& track : composition.doc.tracks) {
    if (track.look.alpha_source_id != 0 && !ids.contains(track.look.alpha_source_id)) {
      return joined("layer ", track.id, ": alpha source ", track.look.alpha_source_id, " is no layer");
    }
  }
  for (const int index : composition.doc.selection) {
    if (index < 0 || index >= composition.doc.track_count()) {
      return joined("selected index ", index, " of ", composition.doc.track_count(), " layers");
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
