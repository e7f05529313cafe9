#include "composition/document.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "composition/time/frame_numbers.h"

namespace ksn {
namespace {

constexpr int shortest_timeline = 10;

constexpr lib::color named_back_colors[] = {{255, 0, 0, 0},   {255, 50, 50, 50},  {255, 0, 255, 0},
                                            {255, 0, 0, 255}, {255, 255, 0, 255}, {255, 255, 255, 255}};

void clamp_to_timeline(document& doc) {
  doc.tm_l = std::min(doc.tm_l, doc.tm_n);
  doc.tm_t = std::min(doc.tm_t, static_cast<double>(doc.tm_n));
  if (doc.tm_f >= doc.tm_l) doc.tm_f = doc.tm_l - 1;
}

// Moves everything on the timeline to the left by `amount`, but never by so much that fewer than ten frames remain.
void shift_timeline(document& doc, int amount) {
  amount = std::min(amount, doc.tm_n - shortest_timeline);
  doc.tm_f = std::max(0, clamped_frame(static_cast<long long>(doc.tm_f) - amount));
  doc.tm_l = std::max(1, clamped_frame(static_cast<long long>(doc.tm_l) - amount));
  doc.tm_t = std::max(0.0, doc.tm_t - amount);
  for (track_info& track : doc.tracks)
    track.timing.begin = clamped_frame(static_cast<long long>(track.timing.begin) - amount);
}

}  // namespace

bool document::shows_live() const {
  return std::ranges::any_of(tracks, [](const track_info& t) { return t.look.visible && t.source.is_live(); });
}

bool document::shows_text() const {
  return std::ranges::any_of(tracks, [](const track_info& t) { return t.look.visible && t.source.is_text(); });
}

int document::selected_index() const {
  if (selection.size() != 1) return track_count();
  const int index = *selection.begin();
  return index >= 0 && index < track_count() ? index : track_count();
}

track_info* document::selected_track() {
  const int index = selected_index();
  return index == track_count() ? nullptr : &track_at(index);
}

const track_info* document::selected_track() const {
  return const_cast<document*>(this)->selected_track();
}

int document::index_of_id(int id) const {
  const auto found =
      std::find_if(tracks.begin(), tracks.end(), [id](const track_info& track) { return track.id == id; });
  return found == tracks.end() ? -1 : static_cast<int>(found - tracks.begin());
}

void document::set_frame_rate(int new_fpcs) {
  fpcs = std::max(new_fpcs, 1);
}

void document::set_timeline_length(int n, bool forced) {
  tm_n = std::clamp(n, shortest_timeline, frame_limit);
  if (!forced && tracks.empty()) timeline_user_set = true;
  clamp_to_timeline(*this);
}

void document::extend_timeline_to(int layer_end) {
  if (layer_end <= tm_n) return;
  tm_n = std::max(shortest_timeline, layer_end);
  timeline_user_set = false;
  clamp_to_timeline(*this);
}

void document::set_workarea_begin(int n) {
  if (n >= tm_n - 1) {
    tm_f = tm_n - 1;
    tm_l = tm_n;
    return;
  }
  tm_f = std::max(n, 0);
  tm_l = std::max(tm_l, tm_f + 1);
}

void document::set_workarea_end(int n) {
  if (n < 2) {
    tm_f = 0;
    tm_l = 1;
    return;
  }
  tm_l = std::min(n, tm_n);
  tm_f = std::min(tm_f, tm_l - 1);
}

void document::set_current_time(double t) {
  playing = false;
  // Also takes what is not a number to 0.
  tm_t = t > 0.0 ? std::min(t, static_cast<double>(tm_n)) : 0.0;
}

lib::color document::resolved_back_color() const {
  if (back_color == back_color_type::custom) {
    return {255, back_custom_color.r, back_custom_color.g, back_custom_color.b};
  }
  if (back_color == back_color_type::transparent) return named_back_colors[0];
  return named_back_colors[static_cast<int>(back_color)];
}

void document::set_back_color(lib::color color) {
  color.a = 255;
  const auto* found = std::find(std::begin(named_back_colors), std::end(named_back_colors), color);
  if (found != std::end(named_back_colors)) {
    back_color = static_cast<back_color_type>(found - named_back_colors);
    return;
  }
  back_color = back_color_type::custom;
  back_custom_color = color;
}

void document::timeline_fit_all_layers() {
  if (tracks.empty()) return;
  int first = tracks.front().timing.begin;
  for (const track_info& track : tracks) first = std::min(first, track.timing.begin);
  shift_timeline(*this, first);
  int end = shortest_timeline;
  for (const track_info& track : tracks) end = std::max(end, track.layer_end());
  tm_n = end;
  timeline_user_set = false;
  clamp_to_timeline(*this);
}

void document::timeline_trim_to_workarea() {
  shift_timeline(*this, tm_f);
  set_timeline_length(tm_l, true);
}

void document::cut_timeline_begin(int frames) {
  frames = std::min(frames, tm_n - shortest_timeline);
  if (frames == 0) return;
  const int length = clamped_frame(static_cast<long long>(tm_n) - frames);
  shift_timeline(*this, frames);
  set_timeline_length(length, false);
}

// The broadcast rates lie between the whole ones and are reached from their neighbours.
void document::increase_fps() {
  switch (fpcs) {
    case 2900:
      return set_frame_rate(2997);
    case 2300:
      return set_frame_rate(2398);
    case 5900:
      return set_frame_rate(5994);
    default:
      if (fpcs <= std::numeric_limits<int>::max() - 100) set_frame_rate((fpcs / 100 + 1) * 100);
  }
}

void document::decrease_fps() {
  switch (fpcs) {
    case 3000:
      return set_frame_rate(2997);
    case 2400:
      return set_frame_rate(2398);
    case 6000:
      return set_frame_rate(5994);
    default: {
      const int whole = fpcs / 100 + (fpcs % 100 != 0);
      if (whole >= 2) set_frame_rate(whole * 100 - 100);
    }
  }
}

void document::toggle_repeat() {
  repeat = static_cast<repeat_type>((static_cast<int>(repeat) + 1) % 3);
}

}  // namespace ksn
